#!/usr/bin/env python3
"""Filtered data sets as SciPy computes them, for the tests of the Butterworth unit.

    python3 tests/golden/make_butterworth_unit_golden.py > tests/golden/butterworth_unit.txt

Each case is a line with the band form, the total order, cutoff, width and sample rate,
a line of input samples and a line of expected samples: three lines of a data set
[3, 1, 120], one behind the other, each filtered run by run. Made with SciPy 1.10.1.
"""

import numpy as np
from scipy import signal

CORRECTION = (np.sqrt(2.0) - 1.0) ** -0.25  # for two passes
LENGTH = 120
CASES = [
    # form, order over both passes, cutoff, width, rate
    ("ZeroLagLowPass", 4, 6.0, 0.0, 100.0),
    ("ZeroLagLowPass", 5, 11.0, 0.0, 100.0),
    ("ZeroLagHighPass", 2, 5.0, 0.0, 100.0),
    ("ZeroLagBandPass", 4, 20.0, 30.0, 200.0),
    ("ZeroLagBandStop", 6, 50.0, 12.0, 360.0),
]
BANDS = {"ZeroLagLowPass": "low", "ZeroLagHighPass": "high", "ZeroLagBandStop": "bandstop"}


def band_pass(order, edges):
    """The band pass whose pre-warped width is the reciprocal of the edges' distance."""
    low, high = 4.0 * np.tan(np.pi * np.asarray(edges) / 2.0)
    z, p, k = signal.buttap(order)
    z, p, k = signal.lp2bp_zpk(z, p, k, wo=np.sqrt(low * high), bw=1.0 / (high - low))
    return signal.zpk2tf(*signal.bilinear_zpk(z, p, k, fs=2.0))


def design(form, order, cutoff, width, rate):
    nyquist = rate / 2.0
    if form in ("ZeroLagLowPass", "ZeroLagHighPass"):
        edges = CORRECTION * cutoff / nyquist
    else:
        edges = [CORRECTION * (cutoff + side * width / 2.0) / nyquist for side in (-1, 1)]
    if form == "ZeroLagBandPass":
        return band_pass(order // 2, edges)
    return signal.butter(order // 2, edges, BANDS[form])


def make_lines(rng):
    lines = np.cumsum(rng.standard_normal((3, LENGTH)), axis=1).astype(np.float32)
    lines[1, :4] = np.nan  # a start that is missing, then a run too short for any of the filters
    lines[1, 8] = np.nan
    lines[2, 50] = np.nan  # two runs
    return lines


def filter_line(line, b, a):
    result = line.copy()
    valid = ~np.isnan(line)
    edges = np.flatnonzero(np.diff(np.concatenate(([0], valid.astype(int), [0]))))
    runs = [run for run in zip(edges[::2], edges[1::2]) if run[1] - run[0] >= 3 * len(a) - 1]
    for start, end in runs:
        x = line[start:end].astype(np.float64)
        result[start:end] = signal.filtfilt(b, a, x, padlen=3 * (len(a) - 1))
    result[: runs[0][0]] = np.nan
    result[runs[-1][1] :] = np.nan
    return result


def main():
    rng = np.random.default_rng(20261120)
    for case in CASES:
        b, a = design(*case)
        lines = make_lines(rng)
        filtered = np.array([filter_line(line, b, a) for line in lines])
        print(*case)
        print(*("%.9g" % sample for sample in lines.ravel()))
        print(*("%.9g" % sample for sample in filtered.ravel()))


main()
