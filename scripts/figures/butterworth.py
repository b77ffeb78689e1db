#!/usr/bin/python3
"""Draws the responses of the Butterworth unit.

    scripts/figures/butterworth.py [BUILD_FOLDER]

The responses are spectra of what the unit makes of a single 1 in a line of zeros.
"""

import pathlib
import tempfile

import h5py
import numpy
from matplotlib import pyplot

from drawing import save
from host import host

SAMPLE_RATE, SAMPLE_COUNT = 1000, 20000
FREQUENCIES = numpy.geomspace(2, 490, 120)

# label, line style, parameters
RESPONSE_TABLE = [
    ("low pass, 50", "-", ["CutoffFrequency=50"]),
    ("high pass, 50", "-", ["CutoffFrequency=50", "Bandform=ZeroLagHighPass"]),
    ("band stop, 50, width 20", "-",
     ["CutoffFrequency=50", "BandWidth=20", "Bandform=ZeroLagBandStop"]),
    ("band pass, 50, width 20", "-",
     ["CutoffFrequency=50", "BandWidth=20", "Bandform=ZeroLagBandPass"]),
    ("band pass, 90.581, width 165.934", "--",
     ["CutoffFrequency=90.581", "BandWidth=165.934", "Bandform=ZeroLagBandPass"]),
]


def make_impulse(path):
    with h5py.File(path, "w") as file:
        samples = numpy.zeros(SAMPLE_COUNT, numpy.float32)
        samples[SAMPLE_COUNT // 2] = 1
        impulse = file.create_dataset("Impulse", data=samples)
        impulse.attrs["SampleRate"] = numpy.float32(SAMPLE_RATE)


def find_gains(source, parameters):
    result = source.with_name("response.h5")
    host("run", "apply-set-butterworth", "SourceSets=Impulse", "Order=4", *parameters, source,
         "-o", result, "--force")
    with h5py.File(result) as file:
        response = file["Impulse"][:].astype(float)
    times = numpy.arange(SAMPLE_COUNT) / SAMPLE_RATE
    return [abs(numpy.exp(-2j * numpy.pi * frequency * times) @ response)
            for frequency in FREQUENCIES]


def draw_responses(folder):
    make_impulse(folder / "impulse.h5")
    figure, axes = pyplot.subplots(figsize=(5, 3.2), layout="constrained")
    for label, style, parameters in RESPONSE_TABLE:
        decibels = 20 * numpy.log10(find_gains(folder / "impulse.h5", parameters))
        axes.plot(FREQUENCIES, decibels, style, linewidth=1, label=label)
    axes.axhline(-3, color="0.7", linewidth=0.5)
    axes.set(xscale="log", ylim=(-40, 2))
    axes.set_xticks([2, 5, 10, 20, 50, 100, 200, 490], [2, 5, 10, 20, 50, 100, 200, 490])
    axes.minorticks_off()
    axes.tick_params(labelsize=7)
    axes.set_xlabel("frequency (Hz)", fontsize=8)
    axes.set_ylabel("gain of both passes (dB)", fontsize=8)
    axes.legend(fontsize=6, ncols=2, loc="lower center", bbox_to_anchor=(0.5, 1), frameon=False)
    save(figure, "butterworth-responses")


def main():
    with tempfile.TemporaryDirectory() as folder:
        draw_responses(pathlib.Path(folder))


main()
