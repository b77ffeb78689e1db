"""Puts a link in the place of an unfinished file while a command writes it.

    swapped_test.py TALVORA_HOST PLUGIN SWAPPED_NAMES

Another user who may write to the folder does so at the n-th moment in which the command goes back
to that file; n = 0, 1, ... until the command has fewer. What the link leads to keeps its bytes and
its mode: exit code 5, no result, and the link stays.
"""

import os
import pathlib
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest

import fault_test

HOST = PLUGIN = SWAPPED_NAMES = None
RUN = ["run", "apply-set-butterworth", "SourceSets=Signals/X", "CutoffFrequency=10", "Order=4"]


def state_of(path):
    return stat.S_IMODE(path.stat().st_mode), path.read_bytes()


class SwappedNames(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name).resolve()
        self.shared = self.folder / "shared"
        self.shared.mkdir()
        (self.folder / "table.csv").write_text(fault_test.TABLE)
        self.assertEqual(self.call(["import", "table.csv", "-o", "walk.h5"], {}).returncode, 0)
        self.private = self.folder / "private.h5"
        self.restore_private()

    def restore_private(self):
        shutil.copy(self.folder / "walk.h5", self.private)
        self.private.chmod(0o600)

    def call(self, words, environment):
        return subprocess.run([HOST, *words], cwd=self.folder, capture_output=True, text=True,
                              timeout=60, check=False,
                              env={**os.environ, "TALVORA_PLUGIN_PATH": PLUGIN, **environment})

    def empty_shared(self, old):
        for path in self.shared.iterdir():
            path.unlink()
        if old:
            (self.shared / "out").write_bytes(old)

    def refuses(self, words, old=b""):
        """At whichever moment the name is swapped. How often it was."""
        private = state_of(self.private)
        for after in range(100):
            self.restore_private()
            self.empty_shared(old)
            done = self.call(words, {"LD_PRELOAD": SWAPPED_NAMES, "SWAP_AFTER": str(after),
                                     "SWAP_TARGET": str(self.private)})
            links = [path for path in self.shared.iterdir() if path.is_symlink()]
            if not links and state_of(self.private) == private:
                self.assertEqual(done.returncode, 0, done.stderr)
                return after
            with self.subTest(words=words, after=after):
                self.assertTrue(state_of(self.private) == private, "what the link leads to")
                self.assertEqual(done.returncode, 5, done.stderr)
                self.assertEqual([path.name for path in links if path.name == "out"], [])
                result = self.shared / "out"
                self.assertTrue((result.read_bytes() if result.exists() else b"") == old)
        self.fail("there is no end of moments")

    def test_no_command_follows_a_link_in_the_place_of_its_unfinished_file(self):
        for words in ([*RUN, "walk.h5"], ["import", "table.csv"], ["export", "walk.h5"],
                      ["attributes", "walk.h5::Signals/X", "SampleRate=50"]):
            count = self.refuses([*words, "-o", "shared/out"])
            self.assertGreater(count, 1, words)

    def test_nor_does_one_that_replaces_a_file(self):
        old = (self.folder / "walk.h5").read_bytes()
        for words in ([*RUN, "walk.h5", "--force"],
                      ["import", "table.csv", "--append", "--group", "More"]):
            count = self.refuses([*words, "-o", "shared/out"], old)
            self.assertGreater(count, 1, words)


if __name__ == "__main__":
    HOST, PLUGIN, SWAPPED_NAMES = map(os.path.abspath, sys.argv[1:4])
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])
