"""In one process with h5py, which brings the HDF5 library along as well: its own, that of the
system, or the same."""

import subprocess
import sys
import tempfile
import unittest

# Each writes a file and reads that of the other.
SESSION = """
import sys
import {first}
import {second}
import numpy as np

samples = np.arange(12, dtype=np.float32).reshape(2, 1, 6)
talvora.write("ours.h5", {{"Imu/Rate": talvora.Signal(samples, rate=50, attributes={{"Unit": "g"}})}})
with h5py.File("theirs.h5", "w") as file:
    written = file.create_dataset("Imu/Rate", data=samples, compression="gzip", shuffle=True)
    written.attrs["SampleRate"] = np.float32(50)
with h5py.File("ours.h5") as file:
    assert np.array_equal(file["Imu/Rate"], samples)
    assert file["Imu/Rate"].attrs["Unit"] in ("g", b"g")
    # While it is open there.
    read = talvora.read("theirs.h5")["Imu/Rate"]
assert np.array_equal(read.samples, samples) and read.rate == 50
try:
    talvora.read("none.h5")
except FileNotFoundError:
    pass
try:
    h5py.File("none.h5")
except OSError:
    print("done")
"""


class SharesAProcess(unittest.TestCase):
    def test_whichever_comes_first(self):
        try:
            import h5py  # noqa: F401
        except ImportError:
            sys.exit(77)
        for first, second in (("h5py", "talvora"), ("talvora", "h5py")):
            with self.subTest(first=first), tempfile.TemporaryDirectory() as folder:
                done = subprocess.run(
                    [sys.executable, "-c", SESSION.format(first=first, second=second)],
                    cwd=folder, text=True, capture_output=True)
                self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "done\n", ""))


unittest.main()
