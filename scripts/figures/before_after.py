#!/usr/bin/python3
"""Draws part of a recording before and after a unit, for the in-place units.

    scripts/figures/before_after.py [BUILD_FOLDER]
"""

import pathlib
import tempfile

import h5py
import numpy

from drawing import ECG, IMU, draw_before_after, host, read_line

# Beyond these, single samples cannot be told apart and only make the file larger.
MOST_MARKERS = 110

# name, recording, unit and parameters, set, component, seconds shown, axis label
FIGURE_TABLE = [
    ("rectify", IMU, ["apply-set-rectify", "SourceSets=Imu/AngularRate"],
     "Imu/AngularRate", 0, (12.0, 13.0), "angular rate (deg/s)"),
    ("opposite", IMU, ["apply-set-opposite", "SourceSets=Imu/Acceleration", "Axis=0",
                       "Components=2"],
     "Imu/Acceleration", 2, (4.0, 6.0), "acceleration (g)"),
    ("baseline-offset", ECG, ["apply-set-baseline-offset", "SourceGroup=Ecg"],
     "Ecg/Voltage", 0, (0.0, 2.0), "voltage (mV)"),
    ("downsample", ECG, ["apply-set-downsample", "SourceGroup=Ecg", "HintGroup=Target"],
     "Ecg/Voltage", 0, (0.2, 0.7), "voltage (mV)"),
    ("fill-gap", IMU, ["apply-set-fill-gap", "SourceGroup=Imu", "MaxGapLength=5"],
     "Imu/Acceleration", 0, (2.24, 2.49), "acceleration (g)"),
]


def make_figure(folder, name, recording, command, dataset, component, seconds, label):
    source, result = folder / f"{name}-before.h5", folder / f"{name}-after.h5"
    host("import", *recording, "-o", source)
    with h5py.File(source, "a") as file:
        file.create_group("Target").attrs["SampleRate"] = numpy.float32(60)
    host("run", *command, source, "-o", result)
    draw_before_after(name, read_line(source, dataset, component),
                      read_line(result, dataset, component), seconds, label, MOST_MARKERS)


def main():
    with tempfile.TemporaryDirectory() as folder:
        for row in FIGURE_TABLE:
            make_figure(pathlib.Path(folder), *row)


main()
