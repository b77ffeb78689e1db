"""Changes a file while a command reads it.

    changed_test.py TALVORA_HOST PLUGIN TROUBLED_READS

Another program turns the last byte of the file, one of a sample, before its n-th read; n = 0, 1, ...
until the command needs fewer. What was read before and behind it is of no one moment: exit code 3,
the file by its name, no result, and nothing left.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

import h5py

import fault_test

HOST = PLUGIN = TROUBLED_READS = None
WALK = "walk.h5"
TABLE = "table.csv"
SAMPLES = 60_000


class ChangedWhileRead(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name).resolve()
        fault_test.make_contiguous(SAMPLES)(self.folder / WALK)
        fault_test.make_contiguous(SAMPLES)(self.folder / "other.h5")
        (self.folder / TABLE).write_text(fault_test.TABLE)
        with h5py.File(self.folder / WALK) as file:
            last = file["Other/Kept"].id
            self.assertEqual(last.get_offset() + last.get_storage_size(),
                             (self.folder / WALK).stat().st_size)
        self.start = self.contents()

    def contents(self):
        return {path.name: path.read_bytes() for path in self.folder.iterdir()}

    def call(self, words, changed, after):
        """The result, and whether the file was changed; it is as before again then."""
        environment = {**os.environ, "LD_PRELOAD": TROUBLED_READS, "TROUBLE": "change",
                       "TROUBLED_FILE": changed, "TROUBLE_AFTER": str(after),
                       "TALVORA_PLUGIN_PATH": PLUGIN}
        done = subprocess.run([HOST, *words], cwd=self.folder, env=environment,
                              capture_output=True, text=True, timeout=60, check=False)
        was_changed = self.contents().get(changed) != self.start[changed]
        (self.folder / changed).write_bytes(self.start[changed])
        return done, was_changed

    def refuses(self, words, changed=WALK, prints=False):
        """At whichever read the file is changed. How often it was."""
        after = 0
        while True:
            done, was_changed = self.call(words, changed, after)
            if not was_changed:
                self.assertEqual(done.returncode, 0, done.stderr)
                return after
            with self.subTest(words=words, after=after):
                self.assertEqual(done.returncode, 3, done.stderr)
                self.assertEqual(done.stderr, f"error: {changed}: was changed while it was read\n")
                self.assertEqual(self.contents(), self.start)
                if not prints:
                    self.assertEqual(done.stdout, "")
            after += 1

    def test_commands_that_make_files_make_none(self):
        for words in (["export", WALK, "-o", "out.csv", "--quiet"],
                      ["export", WALK, "--tidy", "-o", "out.csv", "--quiet"],
                      ["export", "other.h5", WALK, "--tidy", "-o", "out.csv", "--quiet"],
                      ["plot", WALK, "-o", "out.html", "--quiet"],
                      ["plot", "other.h5", "--with", WALK, "-o", "out.svg", "--quiet"],
                      ["import", WALK, "-o", "out.h5", "--time-axis", "-1", "--rate", "100",
                       "--quiet"]):
            self.assertGreater(self.refuses(words), 1)
            for made in self.contents().keys() - self.start.keys():
                (self.folder / made).unlink()

    def test_a_table_may_not_change_either(self):
        for words in ([], ["--dry-run"]):
            self.assertGreater(self.refuses(["import", TABLE, "-o", "out.h5", "--time", "t",
                                             "--quiet", *words], TABLE), 0)
            (self.folder / "out.h5").unlink(missing_ok=True)

    def test_statistics_are_of_one_moment(self):
        for words in (["tree", WALK, "--statistics"], ["tree", WALK, "--statistics", "--json"]):
            self.assertGreater(self.refuses(words, prints="--json" in words), 1)

    def test_what_goes_to_standard_output_ends_with_the_exit_code(self):
        self.assertGreater(self.refuses(["export", WALK, "-o", "-"]), 1)
        self.assertGreater(self.refuses(["export", WALK, "--tidy", "-o", "-"], prints=True), 1)

    def test_what_reads_no_samples_may_be_asked_meanwhile(self):
        done, was_changed = self.call(["tree", WALK], WALK, 1)
        self.assertTrue(was_changed)
        self.assertEqual(done.returncode, 0, done.stderr)


if __name__ == "__main__":
    HOST, PLUGIN, TROUBLED_READS = map(os.path.abspath, sys.argv[1:4])
    unittest.main(argv=sys.argv[:1])
