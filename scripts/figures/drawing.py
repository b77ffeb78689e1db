"""What the scripts that draw docs/units/figures share: paths, the host, the style."""

import pathlib
import subprocess
import sys

import h5py
import matplotlib
import numpy

matplotlib.use("svg")
from matplotlib import pyplot

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = pathlib.Path(sys.argv[1]).resolve() if len(sys.argv) > 1 else ROOT / "build" / "release"
FIGURES = ROOT / "docs" / "units" / "figures"

IMU = ["imu_excerpt.csv", "--group", "Imu",
       "--set", "AngularRate=Gyroscope X (deg/s),Gyroscope Y (deg/s),Gyroscope Z (deg/s)",
       "--set", "Acceleration=Accelerometer X (g),Accelerometer Y (g),Accelerometer Z (g)"]
ECG = ["ecg_excerpt.csv", "--group", "Ecg", "--rate", "360", "--set", "Voltage=ECG (mV)"]

matplotlib.rcParams["svg.hashsalt"] = "talvora"
matplotlib.rcParams["svg.fonttype"] = "none"


def simplify_lines():
    """Half a point: what is left out cannot be seen."""
    matplotlib.rcParams["path.simplify_threshold"] = 0.5


def host(*arguments):
    subprocess.run([BUILD / "talvora-host", *arguments], cwd=ROOT / "examples", check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def read_line(path, name, component):
    """Times in seconds from the start, and samples, of one component."""
    with h5py.File(path) as file:
        samples = file[name][component, 0]
        rate = file[name].attrs["SampleRate"]
    return numpy.arange(samples.size) / rate, samples


def save(figure, name):
    FIGURES.mkdir(parents=True, exist_ok=True)
    figure.savefig(FIGURES / f"{name}.svg", metadata={"Date": None})
    pyplot.close(figure)


def draw_before_after(name, before, after, seconds, label, most_markers=0):
    """Two lines of (times, samples), one above the other, within a span of seconds."""
    figure, axes = pyplot.subplots(2, 1, sharex=True, sharey=True, figsize=(5, 2.8),
                                   layout="constrained")
    for axis, (times, samples), title in zip(axes, (before, after), ("before", "after")):
        shown = (times >= seconds[0]) & (times <= seconds[1])
        style = ".-" if shown.sum() <= most_markers else "-"
        axis.plot(times[shown], samples[shown], style, linewidth=0.8, markersize=3)
        axis.axhline(0, color="0.7", linewidth=0.5)
        axis.set_title(title, fontsize=8, loc="left")
        axis.tick_params(labelsize=7)
    axes[1].set_xlabel("time (s)", fontsize=8)
    figure.supylabel(label, fontsize=8)
    save(figure, name)
