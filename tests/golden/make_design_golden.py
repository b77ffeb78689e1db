#!/usr/bin/env python3
"""Reference designs for the Butterworth tests, by SciPy and in 60 digits.

Run from the root of the source tree, with Debian's python3-scipy (1.10) and
python3-mpmath:

    /usr/bin/python3 tests/golden/make_design_golden.py > tests/golden/butterworth_designs.txt

Neither side runs any of this project's code. The reference goes through poles and
zeros in 60 digits, straight from the parameters: exact edge correction, exact
binomials, no intermediate polynomial. SciPy goes two ways from the same parameters
in double: through poles and zeros, as scipy.signal.butter does, and through
polynomials (lp2lp and its kin, then bilinear), as this project does. The band pass is
the classical one of width 1/bw on both sides.

A design is four lines: its parameters (form, rate, cutoff, order over both passes,
width), then b and a to 20 digits, then SciPy's errors: b and a through poles and
zeros, b and a through polynomials. An error is the largest deviation of a coefficient
over the largest coefficient.
"""

import itertools
import warnings

import mpmath
import numpy
import scipy
from mpmath import mpf
from scipy import signal

mpmath.mp.dps = 60

SAMPLE_RATE = 1000.0
LOW_PASS, HIGH_PASS, BAND_PASS, BAND_STOP = range(4)
ORDERS = range(2, 9)
# From 0.2 % of the rate; the correction takes 0.4 of the rate to 0.4986 of it.
CUTOFFS = (2.0, 5.0, 10.0, 20.0, 50.0, 100.0, 150.0, 200.0, 250.0, 300.0, 350.0, 390.0, 400.0)
RELATIVE_WIDTHS = (0.1, 0.5, 1.0, 1.9)


def parameter_sets():
    for form, order, cutoff in itertools.product((LOW_PASS, HIGH_PASS), ORDERS, CUTOFFS):
        yield form, cutoff, order, 0.0
    for form, order, cutoff, relative in itertools.product(
        (BAND_PASS, BAND_STOP), ORDERS, CUTOFFS, RELATIVE_WIDTHS
    ):
        if cutoff + cutoff * relative / 2 <= 0.4 * SAMPLE_RATE:
            yield form, cutoff, order, cutoff * relative


# 60 digits -----------------------------------------------------------------


def exact_analog_edges(form, cutoff, width):
    correction = 1 / mpmath.power(mpmath.sqrt(2) - 1, mpf(1) / 4)
    middle, half = mpf(cutoff), mpf(width) / 2
    ends = (middle,) if form in (LOW_PASS, HIGH_PASS) else (middle - half, middle + half)
    return [4 * mpmath.tan(mpmath.pi * correction * end / mpf(SAMPLE_RATE)) for end in ends]


def exact_transform(form, poles, edges):
    """Zeros, poles and gain of the analogue filter."""
    if form == LOW_PASS:
        return [], [edges[0] * pole for pole in poles], edges[0] ** len(poles)
    if form == HIGH_PASS:
        return [mpf(0)] * len(poles), [edges[0] / pole for pole in poles], mpf(1)
    width, square = edges[1] - edges[0], edges[0] * edges[1]
    if form == BAND_PASS:
        halves = [pole / width / 2 for pole in poles]
        zeros, gain = [mpf(0)] * len(poles), width ** -len(poles)
    else:
        halves = [width / pole / 2 for pole in poles]
        root = 1j * mpmath.sqrt(square)
        zeros, gain = [root, -root] * len(poles), mpf(1)
    roots = [mpmath.sqrt(half * half - square) for half in halves]
    return zeros, [h + s * r for h, r in zip(halves, roots) for s in (1, -1)], gain


def expand(roots):
    polynomial = [mpmath.mpc(1)]
    for root in roots:
        shifted = [mpmath.mpc(0)] + [root * value for value in polynomial]
        polynomial = [p - q for p, q in zip(polynomial + [mpmath.mpc(0)], shifted)]
    return [value.real for value in polynomial]


def exact_design(form, cutoff, order, width):
    count = order // 2
    prototype = [1j * mpmath.expj(mpmath.pi * (2 * m - 1) / (2 * count)) for m in range(1, count + 1)]
    zeros, poles, gain = exact_transform(form, prototype, exact_analog_edges(form, cutoff, width))
    to_digital = lambda root: (4 + root) / (4 - root)
    gain *= mpmath.fprod(4 - zero for zero in zeros) / mpmath.fprod(4 - pole for pole in poles)
    missing = [mpf(-1)] * (len(poles) - len(zeros))
    b = expand([to_digital(zero) for zero in zeros] + missing)
    a = expand([to_digital(pole) for pole in poles])
    return [mpmath.re(gain) * value for value in b], a


# SciPy ----------------------------------------------------------------------


def double_analog_edges(form, cutoff, width):
    correction = 1.0 / pow(pow(2.0, 0.5) - 1.0, 0.25)
    if form in (LOW_PASS, HIGH_PASS):
        edges = numpy.array([correction * (2 * cutoff / SAMPLE_RATE)])
    else:
        edges = correction * (numpy.array([2 * cutoff - width, 2 * cutoff + width]) / SAMPLE_RATE)
    return 4.0 * numpy.tan(numpy.pi * edges / 2.0)


def band(form, edges):
    width = edges[1] - edges[0]
    return {"wo": numpy.sqrt(edges[0] * edges[1]), "bw": 1 / width if form == BAND_PASS else width}


def scipy_by_roots(form, cutoff, order, width):
    edges = double_analog_edges(form, cutoff, width)
    analog = signal.buttap(order // 2)
    if form in (LOW_PASS, HIGH_PASS):
        move = signal.lp2lp_zpk if form == LOW_PASS else signal.lp2hp_zpk
        analog = move(*analog, wo=edges[0])
    else:
        move = signal.lp2bp_zpk if form == BAND_PASS else signal.lp2bs_zpk
        analog = move(*analog, **band(form, edges))
    return signal.zpk2tf(*signal.bilinear_zpk(*analog, fs=2.0))


def scipy_by_polynomials(form, cutoff, order, width):
    edges = double_analog_edges(form, cutoff, width)
    analog = signal.zpk2tf(*signal.buttap(order // 2))
    if form in (LOW_PASS, HIGH_PASS):
        move = signal.lp2lp if form == LOW_PASS else signal.lp2hp
        analog = move(*analog, wo=edges[0])
    else:
        move = signal.lp2bp if form == BAND_PASS else signal.lp2bs
        analog = move(*analog, **band(form, edges))
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", signal.BadCoefficients)
        return signal.bilinear(*analog, fs=2.0)


def error(values, reference):
    """SciPy drops leading zeros of b; they count as zeros here."""
    padded = [0.0] * (len(reference) - len(values)) + list(values)
    largest = max(abs(value) for value in reference)
    return max(abs(mpf(float(v)) - r) for v, r in zip(padded, reference)) / largest


# Output ---------------------------------------------------------------------


def main():
    print(f"# made by make_design_golden.py with SciPy {scipy.__version__}, mpmath {mpmath.__version__}")
    for form, cutoff, order, width in parameter_sets():
        b, a = exact_design(form, cutoff, order, width)
        print(form, SAMPLE_RATE, repr(cutoff), order, repr(width))
        for values in (b, a):
            print(*(mpmath.nstr(value, 20) for value in values))
        errors = [
            mpmath.nstr(error(values, reference), 3)
            for design in (scipy_by_roots, scipy_by_polynomials)
            for values, reference in zip(design(form, cutoff, order, width), (b, a))
        ]
        print(*errors)


if __name__ == "__main__":
    main()
