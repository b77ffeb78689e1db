#!/usr/bin/python3
"""Draws part of a recording before and after a unit, for the in-place units.

    scripts/figures/before_after.py [BUILD_FOLDER]
"""

import pathlib
import tempfile

from host import ECG, FIGURES, IMU, host

# The recording of the inertial unit starts there, in seconds.
IMU_START = 15.008

# name, recording, unit and parameters, set, line, span in seconds, axis label
FIGURE_TABLE = [
    ("rectify", IMU, ["apply-set-rectify", "SourceSets=Imu/AngularRate"],
     "Imu/AngularRate", 0, (IMU_START + 12.0, IMU_START + 13.0), "angular rate (deg/s)"),
    ("opposite", IMU, ["apply-set-opposite", "SourceSets=Imu/Acceleration", "Axis=0",
                       "Components=2"],
     "Imu/Acceleration", 2, (IMU_START + 4.0, IMU_START + 6.0), "acceleration (g)"),
    ("baseline-offset", ECG, ["apply-set-baseline-offset", "SourceGroup=Ecg"],
     "Ecg/Voltage", 0, (0.0, 2.0), "voltage (mV)"),
    ("downsample", ECG, ["apply-set-downsample", "SourceGroup=Ecg", "HintGroup=Target"],
     "Ecg/Voltage", 0, (0.2, 0.7), "voltage (mV)"),
    ("fill-gap", IMU, ["apply-set-fill-gap", "SourceGroup=Imu", "MaxGapLength=5"],
     "Imu/Acceleration", 0, (IMU_START + 2.24, IMU_START + 2.49), "acceleration (g)"),
    ("butterworth", ECG, ["apply-set-butterworth", "SourceGroup=Ecg", "Bandform=ZeroLagHighPass",
                          "CutoffFrequency=0.3218", "Order=4"],
     "Ecg/Voltage", 0, (4.0, 18.0), "voltage (mV)"),
]


def make_figure(folder, name, recording, command, dataset, line, span, label):
    before, after = folder / "before.h5", folder / "after.h5"
    host("import", *recording, "-o", before, "--force")
    reference = folder / "reference.csv"
    reference.write_text("Tick\n0\n")
    host("import", reference, "-o", before, "--append", "--group", "Target", "--rate", "60")
    host("run", *command, before, "-o", after, "--force")
    host("plot", f"{before}::{dataset}", "--with", after, "--line", str(line),
         "--from", str(span[0]), "--to", str(span[1]), "--label", label, "--title", "",
         "-o", FIGURES / f"{name}.svg", "--force")


def main():
    FIGURES.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as folder:
        for row in FIGURE_TABLE:
            make_figure(pathlib.Path(folder), *row)


main()
