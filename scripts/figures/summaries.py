#!/usr/bin/python3
"""Draws the pictures of the units that summarise sets, gaps filled first.

    scripts/figures/summaries.py [BUILD_FOLDER]
"""

import pathlib
import tempfile

import h5py
import numpy
from matplotlib import pyplot

from drawing import save
from host import IMU, host

COMPONENTS = "XYZ"


def make_recording(folder):
    walk, filled = folder / "walk.h5", folder / "filled.h5"
    host("import", *IMU, "-o", walk)
    host("run", "apply-set-fill-gap", "SourceGroup=Imu", "MaxGapLength=5", walk, "-o", filled)
    return filled


def run_unit(source, name, *words):
    result = source.with_name(f"{name}.h5")
    host("run", name, "SourceGroup=Imu", *words, source, "-o", result)
    return h5py.File(result)


def start_figure():
    figure, axes = pyplot.subplots(figsize=(5, 2.4), layout="constrained")
    axes.tick_params(labelsize=7)
    return figure, axes


def draw_over_recording(name, source, values, label):
    """Each component's line, its one value across."""
    figure, axes = start_figure()
    lines = source["Imu/Acceleration"]
    times = numpy.arange(lines.shape[2]) / lines.attrs["SampleRate"]
    for component, value in enumerate(values):
        [line] = axes.plot(times, lines[component, 0], linewidth=0.5,
                           label=COMPONENTS[component])
        axes.axhline(value, color=line.get_color(), linestyle="--", linewidth=1)
    axes.set_xlabel(f"time (s); {label}", fontsize=8)
    axes.set_ylabel("acceleration (g)", fontsize=8)
    axes.legend(fontsize=7, ncols=3, loc="lower left")
    save(figure, name)


def draw_table(name, means):
    """The one set with its labels: a column per source, a row per component."""
    figure, axes = start_figure()
    values = means[:, :, 0]
    axes.imshow(numpy.ones_like(values), cmap="Greys", vmin=0, vmax=8, aspect="auto")
    for (row, column), value in numpy.ndenumerate(values):
        axes.text(column, row, f"{value:.4f}", ha="center", va="center", fontsize=9)
    labels = [label if isinstance(label, str) else label.decode()
              for label in means.attrs["Labels"]]
    axes.set_xticks(range(len(labels)), labels, fontsize=8)
    axes.set_yticks(range(len(values)), COMPONENTS[:len(values)], fontsize=8)
    axes.xaxis.tick_top()
    axes.set_ylabel("component", fontsize=8)
    save(figure, name)


def main():
    with tempfile.TemporaryDirectory() as folder:
        recording = make_recording(pathlib.Path(folder))
        source = h5py.File(recording)
        means = run_unit(recording, "average-set", "DestinationGroup=Mean")
        draw_over_recording("average-set", source, means["Mean/Acceleration"][:, 0, 0],
                            "dashed: mean")
        maxima = run_unit(recording, "extract-set-maximum-extrema", "DestinationGroup=Maxima")
        draw_over_recording("maximum-extrema", source, maxima["Maxima/Acceleration"][:, 0, 0],
                            "dashed: maximum")
        columns = run_unit(recording, "average-set-2", "DestinationSet=Means",
                           "TranslationMap=gyroscope", "TranslationMap=AngularRate",
                           "TranslationMap=accelerometer", "TranslationMap=Acceleration")
        draw_table("average-set-2", columns["Means"])


main()
