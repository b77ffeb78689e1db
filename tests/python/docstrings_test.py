"""Every public function and class is described, in sections, and its examples print what they say."""

import doctest
import inspect
import unittest

import talvora

FUNCTIONS = [getattr(talvora, name) for name in talvora.__all__
             if inspect.isfunction(getattr(talvora, name))]


class Docstrings(unittest.TestCase):
    def test_examples_print_what_they_say(self):
        finder = doctest.DocTestFinder()
        tried = 0
        for subject in [talvora, *(getattr(talvora, name) for name in talvora.__all__)]:
            for session in finder.find(subject, module=False):
                failed, count = doctest.DocTestRunner().run(session)
                self.assertEqual(failed, 0, session.name)
                tried += count
        self.assertGreater(tried, 20)

    def test_tell_of_every_parameter(self):
        self.assertGreater(len(FUNCTIONS), 5)
        for function in FUNCTIONS:
            text = inspect.getdoc(function)
            for section in ("Parameters", "Raises"):
                self.assertIn(f"\n{section}\n" + "-" * len(section), text, function.__name__)
            for name in inspect.signature(function).parameters:
                self.assertRegex(text, rf"(?m)^([\w, ]*\b|\**){name}\b", function.__name__)

    def test_every_name_is_described(self):
        for name in talvora.__all__:
            self.assertTrue(getattr(talvora, name).__doc__, name)

    def test_every_parameter_has_a_type(self):
        for function in FUNCTIONS:
            signature = inspect.signature(function)
            self.assertIsNot(signature.return_annotation, inspect.Signature.empty)
            for parameter in signature.parameters.values():
                self.assertIsNot(parameter.annotation, inspect.Parameter.empty, parameter)


unittest.main()
