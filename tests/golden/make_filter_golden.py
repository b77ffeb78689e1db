"""Makes the reference data of zero-phase filtering, from SciPy and in 60 digits.

    /usr/bin/python3 tests/golden/make_filter_golden.py ecg_360hz.csv > tests/golden/filter_golden.txt

ecg_360hz.csv holds record 208 of the MIT-BIH Arrhythmia Database (G. B. Moody,
R. G. Mark; PhysioNet; ODC-By 1.0) as time and millivolt. Made with SciPy 1.10.1,
NumPy 1.24.2 and mpmath 1.2.1 of Debian 12.

Every number is written as the 16 hexadecimal digits of its IEEE double. Lines:
    signal NAME x...            the samples, each exactly a float
    design NAME b... / a...     transfer function from scipy.signal.butter
    result DESIGN SIGNAL SCALE y... / r...
                                y: scipy.signal.filtfilt(b, a, x, padlen=3 * (len(a) - 1))
                                r: the same definition in 60 digits, rounded once
                                SCALE: the largest of 1 and the absolute samples
"""

import struct
import sys

import mpmath
import numpy
from scipy import signal

mpmath.mp.dps = 60
SAMPLE_COUNT = 90

# Edges as parts of half the rate; the total order over both passes is twice N.
EDGES = {
    "lowpass": [0.004, 0.1, 0.93],
    "highpass": [0.004, 0.3, 0.93],
    "bandpass": [(0.02, 0.3), (0.4, 0.6)],
    "bandstop": [(0.1, 0.2), (0.5, 0.9)],
}


def words(values):
    return " ".join(struct.pack(">d", float(value)).hex() for value in values)


def make_signals(ecg_file):
    random = numpy.random.default_rng(2026)
    index = numpy.arange(SAMPLE_COUNT)
    ecg = numpy.loadtxt(ecg_file, delimiter=",", skiprows=1, usecols=1)
    signals = {
        "impulse": (index == SAMPLE_COUNT // 2) * 1.0,
        "step": (index >= SAMPLE_COUNT // 3) * 1.0,
        "ramp": 0.37 * index - 5.0,
        "noise": random.standard_normal(SAMPLE_COUNT),
        "ecg": ecg[5000:5240],
    }
    return {name: samples.astype(numpy.float32).astype(float) for name, samples in signals.items()}


def make_designs():
    for form, edges in EDGES.items():
        for order in range(1, 5):
            for edge in edges:
                if numpy.min(edge) < 0.01 and order > 2:
                    continue  # poles too near 1 for a transfer function in double
                b, a = signal.butter(order, edge, form)
                text = "-".join(str(part) for part in numpy.atleast_1d(edge))
                yield f"{form}-{2 * order}-{text}", b, a


def solve_steady_state(b, a):
    order = len(a) - 1
    matrix = mpmath.eye(order)
    for row in range(order):
        matrix[row, 0] += a[row + 1]
        if row + 1 < order:
            matrix[row, row + 1] -= 1
    return mpmath.lu_solve(matrix, [b[j + 1] - b[0] * a[j + 1] for j in range(order)])


def run_pass(b, a, steady_state, x):
    z = [value * x[0] for value in steady_state]
    y = []
    for sample in x:
        y.append(b[0] * sample + z[0])
        z = [after + b[i + 1] * sample - a[i + 1] * y[-1]
             for i, after in enumerate(list(z[1:]) + [mpmath.mpf(0)])]
    return y


def filter_in_many_digits(b, a, x):
    b, a, x = ([mpmath.mpf(float(value)) for value in values] for values in (b, a, x))
    pad = 3 * (len(a) - 1)
    extended = ([2 * x[0] - value for value in x[pad:0:-1]] + x
                + [2 * x[-1] - value for value in x[-2:-2 - pad:-1]])
    steady_state = solve_steady_state(b, a)
    y = run_pass(b, a, steady_state, extended)
    y = run_pass(b, a, steady_state, y[::-1])[::-1]
    return y[pad:pad + len(x)]


def main():
    signals = make_signals(sys.argv[1])
    for name, x in signals.items():
        print("signal", name, words(x))
    for design, b, a in make_designs():
        print("design", design, words(b), "/", words(a))
        for name, x in signals.items():
            y = signal.filtfilt(b, a, x, padlen=3 * (len(a) - 1))
            reference = filter_in_many_digits(b, a, x)
            scale = max(1.0, numpy.max(numpy.abs(x)))
            print("result", design, name, words([scale]), words(y), "/", words(reference))


main()
