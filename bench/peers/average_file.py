"""Averages every data set in the group Signals of an HDF5 file into the group Mean.

    /usr/bin/python3 bench/peers/average_file.py INPUT OUTPUT

Along the last dimension, leaving out missing samples. The output is built beside its
place, synced and renamed, as the program does it.
"""

import os
import shutil
import sys

import h5py
import numpy


def main():
    source, destination = sys.argv[1:]
    temporary = destination + ".tmp"
    shutil.copyfile(source, temporary)
    with h5py.File(temporary, "r+") as file:
        means = file.create_group("Mean")
        for name, data in file["Signals"].items():
            mean = means.create_dataset(name, data=numpy.nanmean(data[...], axis=-1, keepdims=True))
            for key, value in data.attrs.items():
                mean.attrs[key] = value
            mean.attrs["SampleRate"] = mean.attrs["StartTime"] = numpy.float32(numpy.nan)
    with open(temporary, "rb") as file:
        os.fsync(file)
    os.replace(temporary, destination)


main()
