"""What is wrong on a page fails its run."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

RUN_PAGE = pathlib.Path(__file__).with_name("run_page.py")
SUM = ">>> 1 + 1\n2\n"
ERROR = """>>> int('two')
Traceback (most recent call last):
    ...
ValueError: invalid literal for int() with base 10: 'two'
"""


def make_page(section, session):
    return f"# A page\n\n## {section}\n\nText.\n\n```pycon\n{session}```\n"


class RunsPages(unittest.TestCase):
    def run_page(self, text):
        with tempfile.TemporaryDirectory() as folder:
            page = pathlib.Path(folder) / "page.md"
            page.write_text(text, encoding="utf-8")
            (page.parent / "examples").mkdir()
            done = subprocess.run([sys.executable, RUN_PAGE, page, page.parent / "examples"],
                                  text=True, capture_output=True)
        return done.returncode, done.stdout + done.stderr

    def test_that_print_what_they_say(self):
        self.assertEqual(self.run_page(make_page("Sums", SUM)),
                         (0, "page.md: 1 examples, 0 failed\n"))

    def test_that_print_something_else(self):
        self.assertEqual(self.run_page(make_page("Sums", SUM.replace("2", "3")))[0], 1)

    def test_without_examples(self):
        self.assertEqual(self.run_page("# A page\n")[0], 1)

    def test_that_show_an_error_where_they_tell_of_errors(self):
        self.assertEqual(self.run_page(make_page("Errors", ERROR))[0], 0)

    def test_that_show_an_error_elsewhere(self):
        code, told = self.run_page(make_page("Sums", SUM + ERROR))
        self.assertEqual(code, 1)
        self.assertIn("page.md:10: an error outside of the section Errors", told)


unittest.main()
