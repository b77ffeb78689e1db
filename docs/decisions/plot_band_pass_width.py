#!/usr/bin/env python3
"""Plots both band passes of decision 1 and prints their edges.

    /usr/bin/python3 docs/decisions/plot_band_pass_width.py docs/decisions/band-pass-width.svg

Works on the analogue filter in closed form, with none of this project's code.
"""

import sys

import matplotlib
import numpy
from numpy import arctan, pi, sqrt, tan

matplotlib.use("svg")
from matplotlib import pyplot

SAMPLE_RATE, CENTRE, WIDTH, ORDER = 1000.0, 50.0, 20.0, 4
CORRECTION = (sqrt(2) - 1) ** -0.25
THREE_DB = 1 / sqrt(2)


def warp(frequency):
    return 4 * tan(pi * frequency / SAMPLE_RATE)


def unwarp(analog):
    return SAMPLE_RATE / pi * arctan(analog / 4)


def corrected_band(width):
    lower, upper = (warp(CORRECTION * (CENTRE + sign * width / 2)) for sign in (-1, 1))
    return upper - lower, lower * upper


def two_pass_gain(frequency, analog_width, square):
    analog = warp(frequency)
    return 1 / (1 + ((analog**2 - square) / (analog_width * analog)) ** ORDER)


def edges(analog_width, square):
    distance = (sqrt(2) - 1) ** (1 / ORDER) * analog_width
    first = (sqrt(distance**2 + 4 * square) - distance) / 2
    return unwarp(first), unwarp(first + distance)


def draw(axes, frequencies, name, analog_width, square):
    lower, upper = edges(analog_width, square)
    print(f"{name}: {lower:.12f} to {upper:.12f} Hz")
    label = f"{name}: {lower:.1f} to {upper:.1f} Hz"
    axes.plot(frequencies, 20 * numpy.log10(two_pass_gain(frequencies, analog_width, square)), label=label)


def main(path):
    matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "talvora", "font.size": 9})
    figure, axes = pyplot.subplots(figsize=(6.4, 3.2), layout="constrained")
    frequencies = numpy.geomspace(5, 480, 160)
    width, square = corrected_band(WIDTH)
    draw(axes, frequencies, "width 1/bw (this system)", 1 / width, square)
    draw(axes, frequencies, "width bw (textbook)", width, square)
    axes.axhline(20 * numpy.log10(THREE_DB), color="grey", linewidth=0.8, linestyle=":")
    axes.set(xscale="log", ylim=(-60, 3), xlabel="frequency (Hz)", ylabel="gain of both passes (dB)")
    axes.set_title(f"order {ORDER}, centre {CENTRE:g} Hz, width {WIDTH:g} Hz, rate {SAMPLE_RATE:g} Hz", fontsize=9)
    axes.legend(loc="lower center")
    figure.savefig(path, metadata={"Date": None})


def print_widths():
    for width in (5, 10, 20, 40, 64, 80, 99):
        lower, upper = edges(1 / corrected_band(width)[0], corrected_band(width)[1])
        print(f"BandWidth {width}: {lower:.1f} to {upper:.1f} Hz, bw = {corrected_band(width)[0]:.3f}")


if __name__ == "__main__":
    main(sys.argv[1])
    print_widths()
