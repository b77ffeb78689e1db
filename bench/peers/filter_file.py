"""Low-passes every data set in the group Signals of HDF5 files, as a script would.

    /usr/bin/python3 bench/peers/filter_file.py INPUT ... OUTPUT

Order 4 at 10 Hz, forward and backward, along the last dimension. The output, a folder when
there are several inputs, is built beside its place, synced and renamed, as the program does it.
"""

import os
import shutil
import sys

import h5py
from scipy import signal


def filter_file(source, destination):
    temporary = destination + ".tmp"
    shutil.copyfile(source, temporary)
    with h5py.File(temporary, "r+") as file:
        for data in file["Signals"].values():
            b, a = signal.butter(4, 10, fs=data.attrs["SampleRate"])
            data[...] = signal.filtfilt(b, a, data[...])
    with open(temporary, "rb") as file:
        os.fsync(file)
    os.replace(temporary, destination)


def main():
    *sources, output = sys.argv[1:]
    for source in sources:
        is_one = len(sources) == 1
        filter_file(source, output if is_one else os.path.join(output, os.path.basename(source)))


main()
