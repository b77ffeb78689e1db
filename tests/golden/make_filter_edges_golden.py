#!/usr/bin/env python3
"""Where both passes of a filter are 3 dB down and whether it is stable, by SciPy.

Run from the root of the source tree, with Debian's python3-scipy (1.10):

    /usr/bin/python3 tests/golden/make_filter_edges_golden.py > tests/golden/filter_edges.txt

None of this project's code runs. The filters go through poles, zeros and second-order
sections; the gain of one pass is scipy.signal.sosfreqz, squared for two, and its
crossings of 1/sqrt(2) are found by scipy.optimize.brentq. The band pass is the classical
one of width 1/bw.

A line is: form, rate, cutoff, order over both passes, width; then the 3 dB points in Hz.
"""

import itertools

import numpy
from scipy import optimize, signal

FORMS = ("ZeroLagLowPass", "ZeroLagHighPass", "ZeroLagBandPass", "ZeroLagBandStop")
RATES = (100.0, 360.0, 1000.0, 10000.0)
ORDERS = range(2, 9)
# As parts of the rate.
CUTOFFS = (0.02, 0.07, 0.2, 0.38)
WIDTHS = (0.5, 1.2)  # as parts of the cutoff
TANGENTS = numpy.geomspace(1e-5, 1e5, 20001)


def design(form, rate, cutoff, order, width):
    correction = (2.0**0.5 - 1.0) ** -0.25
    ends = [cutoff] if width == 0 else [cutoff - width / 2, cutoff + width / 2]
    edges = [4.0 * numpy.tan(numpy.pi * correction * end / rate) for end in ends]
    analog = signal.buttap(order // 2)
    if form == "ZeroLagLowPass":
        moved = signal.lp2lp_zpk(*analog, wo=edges[0])
    elif form == "ZeroLagHighPass":
        moved = signal.lp2hp_zpk(*analog, wo=edges[0])
    else:
        centre, bw = numpy.sqrt(edges[0] * edges[1]), edges[1] - edges[0]
        if form == "ZeroLagBandPass":
            moved = signal.lp2bp_zpk(*analog, wo=centre, bw=1 / bw)
        else:
            moved = signal.lp2bs_zpk(*analog, wo=centre, bw=bw)
    return signal.zpk2sos(*signal.bilinear_zpk(*moved, fs=2.0))


def find_points(sections, rate):
    def excess(frequency):
        _, response = signal.sosfreqz(sections, worN=numpy.atleast_1d(frequency), fs=rate)
        return numpy.abs(response) ** 2 - 0.5**0.5

    grid = rate / numpy.pi * numpy.arctan(TANGENTS)
    values = excess(grid)
    return [
        optimize.brentq(lambda f: excess(f)[0], grid[i], grid[i + 1], xtol=1e-13 * grid[i], rtol=1e-14)
        for i in numpy.flatnonzero(numpy.sign(values[:-1]) != numpy.sign(values[1:]))
    ]


def parameter_sets():
    for form, rate, order, part in itertools.product(FORMS, RATES, ORDERS, CUTOFFS):
        cutoff = part * rate
        for width in (0.0,) if form in FORMS[:2] else [cutoff * w for w in WIDTHS]:
            if cutoff + width / 2 < 0.4 * rate:
                yield form, rate, cutoff, order, width


for form, rate, cutoff, order, width in parameter_sets():
    points = find_points(design(form, rate, cutoff, order, width), rate)
    print(form, rate, cutoff, order, width, *(f"{point:.12g}" for point in points))
