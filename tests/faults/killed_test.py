"""Kills a worker right behind the rename that puts its result in place.

    killed_test.py TALVORA_HOST PLUGIN FAILING_CALLS

The result is there, so the file is not one that is yet to be done: done once more, in place, its
steps would be applied twice.
"""

import os
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest

import h5py
import numpy

HOST = PLUGIN = FAILING_CALLS = None
KIND_COUNT = 10


class KilledBehindTheRename(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name).resolve() / "work"
        self.folder.mkdir()
        for name in ("one.h5", "two.h5"):
            with h5py.File(self.folder / name, "w") as file:
                made = file.create_dataset("Imu/X", data=numpy.float32([[[1, -2, 3]]]))
                made.attrs["SampleRate"] = numpy.float32(100)

    def rectify(self, *words, plan):
        counts = self.folder.parent / "counts"
        counts.write_bytes(bytes(8 * (KIND_COUNT + 1)))
        self.addCleanup(counts.unlink, missing_ok=True)
        environment = {**os.environ, "LD_PRELOAD": FAILING_CALLS, "FAILING_CALL": plan,
                       "FAILING_BELOW": str(self.folder), "FAILING_COUNTS": str(counts),
                       "TALVORA_PLUGIN_PATH": PLUGIN}
        done = subprocess.run([HOST, "run", "apply-set-rectify", "SourceGroup=Imu", *words],
                              cwd=self.folder, env=environment, capture_output=True, text=True,
                              timeout=60, check=False)
        self.assertEqual(struct.unpack(f"{KIND_COUNT + 1}Q", counts.read_bytes())[-1], 1)
        return done

    def samples(self, name):
        with h5py.File(self.folder / name, "r") as file:
            return file["Imu/X"][0, 0].tolist()

    def test_the_result_counts_as_written(self):
        done = self.rectify("one.h5", "two.h5", "--in-place", "--failed-to", "failed.txt",
                            plan="rename:1:0:kill")
        self.assertEqual(done.returncode, 4, done.stderr)
        self.assertIn("error: one.h5: its worker was killed (SIGKILL); the output is written and "
                      "complete\n", done.stderr)
        self.assertEqual((self.folder / "failed.txt").read_text(), "")
        self.assertEqual(self.samples("one.h5"), [1, 2, 3])
        self.assertEqual(self.samples("two.h5"), [1, 2, 3])

    def test_with_nothing_in_place_the_file_is_yet_to_be_done(self):
        done = self.rectify("one.h5", "--in-place", "--backup", "--failed-to", "failed.txt",
                            plan="rename:1:0:kill")
        self.assertEqual(done.returncode, 4, done.stderr)
        self.assertIn("; the output is as it was\n", done.stderr)
        self.assertEqual((self.folder / "failed.txt").read_text(), "one.h5\n")
        self.assertEqual(self.samples("one.h5"), [1, -2, 3])


if __name__ == "__main__":
    HOST, PLUGIN, FAILING_CALLS = map(os.path.abspath, sys.argv[1:4])
    unittest.main(argv=sys.argv[:1])
