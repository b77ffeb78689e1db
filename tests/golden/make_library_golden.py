#!/usr/bin/env python3
"""Lines filtered by SciPy, for the tests of the C library.

    /usr/bin/python3 tests/golden/make_library_golden.py > tests/golden/library_filtfilt.txt

Each case is a line with the name of the filter, what becomes of missing samples and the padding as
talvora_filter_options names it (0: 3 (taps - 1), -1: 3 taps, -2: none, or a number), and one line
each of b, a, the input and what scipy.signal.filtfilt makes of it. Numbers are the 16 hexadecimal
digits of an IEEE double; inputs are exactly floats. Made with SciPy 1.10.1 and NumPy 1.24.2.
"""

import struct

import numpy
from scipy import signal

LENGTH = 60


def words(values):
    return " ".join(struct.pack(">d", float(value)).hex() for value in values)


def make_filters():
    yield "low-2", signal.butter(2, 0.2)
    yield "high-3", signal.butter(3, 0.3, "high")
    yield "band-pass-2", signal.butter(2, (0.2, 0.5), "band")
    yield "band-stop-1", signal.butter(1, (0.3, 0.6), "bandstop")
    yield "chebyshev-4", signal.cheby1(4, 1, 0.4)
    yield "moving-mean-5", (numpy.ones(5) / 5, [1.0])
    yield "difference", ([1.0, -1.0], [1.0])
    yield "not-scaled", ([1.0, 2.0], [4.0, -1.0, 0.5])
    yield "more-numerator", ([0.25, 0.5, 0.25, 0.125], [1.0, -0.5])


def count_padding(pad, b, a):
    taps = max(len(b), len(a))
    return {0: 3 * (taps - 1), -1: 3 * taps, -2: 0}.get(pad, pad)


def make_line(random):
    return numpy.clip(2 * random.standard_normal(LENGTH).cumsum(), -10, 10).astype(numpy.float32)


def spoil(line, bad, places):
    spoiled = line.copy()
    spoiled[list(places)] = bad
    return spoiled


def print_case(name, missing, pad, b, a, line):
    x = line.astype(float)
    print(name, missing, pad)
    for values in (b, a, x, signal.filtfilt(b, a, x, padlen=count_padding(pad, b, a))):
        print(words(values))


def main():
    random = numpy.random.default_rng(20261123)
    numpy.seterr(invalid="ignore")  # of inf - inf
    for name, (b, a) in make_filters():
        line = make_line(random)
        for pad in (0, -1, -2, 7):
            print_case(name, "omit", pad, b, a, line)
        print_case(name, "propagate", -1, b, a, line)
        print_case(name, "propagate", -1, b, a, spoil(line, numpy.nan, (30,)))
        if len(a) == 1:
            print_case(name, "propagate", -1, b, a, spoil(line, numpy.nan, (2, 44)))
            print_case(name, "propagate", -1, b, a, spoil(line, numpy.nan, (0,)))
            print_case(name, "propagate", 0, b, a, spoil(line, numpy.nan, (59,)))
            print_case(name, "propagate", -1, b, a, spoil(line, numpy.inf, (20,)))


main()
