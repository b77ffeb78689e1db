"""Runs the sessions of a page: what stands behind `>>>` in its `pycon` blocks, one after the other
in one interpreter, in a copy of examples/. Each has to print what stands below it. Errors stand in
the section Errors alone: elsewhere one is a mistake that the page was made to agree with.

    run_page.py PAGE EXAMPLES
"""

import doctest
import os
import pathlib
import re
import shutil
import sys
import tempfile

SECTION = re.compile(r"^## (.*)$", re.M)
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


def find_section(text, line):
    """The section that a line of a text is in, counted from 0."""
    before = "\n".join(text.split("\n")[:line])
    return (SECTION.findall(before) or [""])[-1]


def check_errors(page, text, examples):
    for example in examples:
        if example.exc_msg is not None and find_section(text, example.lineno) != "Errors":
            sys.exit(f"{page}:{example.lineno + 1}: an error outside of the section Errors")


def main():
    page, recordings = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    text = page.read_text(encoding="utf-8")
    session = doctest.DocTest(read_examples(text), {}, page.name, str(page), 0, text)
    if not session.examples:
        sys.exit(f"{page}: no example")
    check_errors(page, text, session.examples)
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(shutil.copytree(recordings, pathlib.Path(folder) / "examples"))
        failed, tried = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS).run(session)
        os.chdir("/")
    print(f"{page.name}: {tried} examples, {failed} failed")
    sys.exit(failed > 0)


main()
