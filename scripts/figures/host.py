"""What the scripts that draw docs/units/figures share: paths, recordings, the host."""

import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = pathlib.Path(sys.argv[1]).resolve() if len(sys.argv) > 1 else ROOT / "build" / "release"
FIGURES = ROOT / "docs" / "units" / "figures"

IMU = ["imu_excerpt.csv", "--group", "Imu",
       "--set", "AngularRate=Gyroscope X (deg/s),Gyroscope Y (deg/s),Gyroscope Z (deg/s)",
       "--set", "Acceleration=Accelerometer X (g),Accelerometer Y (g),Accelerometer Z (g)"]
ECG = ["ecg_excerpt.csv", "--group", "Ecg", "--rate", "360", "--set", "Voltage=ECG (mV)"]


def host(*arguments):
    subprocess.run([BUILD / "talvora-host", *arguments], cwd=ROOT / "examples", check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
