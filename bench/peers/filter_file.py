"""Low-passes every data set in the group Signals of an HDF5 file, as a script would.

    /usr/bin/python3 bench/peers/filter_file.py INPUT OUTPUT

Order 4 at 10 Hz, forward and backward, along the last dimension. The output is built
beside its place, synced and renamed, as the program does it.
"""

import os
import shutil
import sys

import h5py
from scipy import signal


def main():
    source, destination = sys.argv[1:]
    temporary = destination + ".tmp"
    shutil.copyfile(source, temporary)
    with h5py.File(temporary, "r+") as file:
        for data in file["Signals"].values():
            b, a = signal.butter(4, 10, fs=data.attrs["SampleRate"])
            data[...] = signal.filtfilt(b, a, data[...])
    with open(temporary, "rb") as file:
        os.fsync(file)
    os.replace(temporary, destination)


main()
