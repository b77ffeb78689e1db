"""Runs the sessions of a page: what stands behind `>>>` in its `pycon` blocks, one after the other
in one interpreter, in a copy of examples/. Each has to print what stands below it.

    run_page.py PAGE EXAMPLES
"""

import doctest
import os
import pathlib
import re
import shutil
import sys
import tempfile

BLOCK = re.compile(r"^```pycon\n(.*?)^```$", re.S | re.M)


def read_examples(text):
    """All blocks as one session; each example knows the line of the page where it stands."""
    parser = doctest.DocTestParser()
    examples = []
    for block in BLOCK.finditer(text):
        first_line = text.count("\n", 0, block.start(1))
        for example in parser.get_examples(block.group(1)):
            example.lineno += first_line
            examples.append(example)
    return examples


def main():
    page, recordings = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    text = page.read_text(encoding="utf-8")
    session = doctest.DocTest(read_examples(text), {}, page.name, str(page), 0, text)
    if not session.examples:
        sys.exit(f"{page}: no example")
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(shutil.copytree(recordings, pathlib.Path(folder) / "examples"))
        failed, tried = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS).run(session)
        os.chdir("/")
    print(f"{page.name}: {tried} examples, {failed} failed")
    sys.exit(failed > 0)


main()
