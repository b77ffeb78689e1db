"""What the tests of talvora-host in Python share: calls of the program in a folder of their own.

Each ends in main(), which takes TALVORA_HOST PLUGIN and then what unittest takes.
"""

import ctypes
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import h5py

PROGRAMS = {}


def run_host(folder, *words):
    variables = {**os.environ, "TALVORA_PLUGIN_PATH": PROGRAMS["plugin"]}
    return subprocess.run([PROGRAMS["host"], *words], cwd=folder, env=variables, timeout=300,
                          capture_output=True, encoding="utf-8", errors="backslashreplace",
                          check=False)


def hdf5_library():
    """That of h5py, for what h5py has no name for."""
    with open("/proc/self/maps") as maps:
        return ctypes.CDLL(next(line.split()[-1] for line in maps
                                if re.search(r"libhdf5(_serial)?\.so", line)))


class HostTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)

    def call(self, *words, code=0):
        result = run_host(self.folder, *words)
        self.assertEqual(result.returncode, code, result.stderr)
        return result

    def make(self, name="in.h5", **options):
        return h5py.File(self.folder / name, "w", **options)

    def read(self, name="out.h5"):
        return h5py.File(self.folder / name, "r")


def main():
    PROGRAMS.update(host=os.path.abspath(sys.argv[1]), plugin=os.path.abspath(sys.argv[2]))
    unittest.main(module="__main__", argv=[sys.argv[0], *sys.argv[3:]])
