"""talvora.filtfilt beside scipy.signal.filtfilt on made-up filters and arrays.

    TALVORA_CASES=10000 PYTHONPATH=build/release/python /usr/bin/python3 tests/python/property_test.py

Equal to 1e-9 of the greatest sample, float32 besides to its own rounding. TALVORA_CASES sets how
many cases each test tries (200); with it they are others each time.
"""

import os
import sys
import unittest

import numpy as np
from scipy import signal

import talvora
from scipy_peer import filter_runs

try:
    from hypothesis import HealthCheck, assume, given, settings, strategies as draws
except ImportError:
    print("skipped: no hypothesis here (scripts/setup installs it)")
    sys.exit(77)

CASES = os.environ.get("TALVORA_CASES")
settings.register_profile("cases", max_examples=int(CASES or 200), derandomize=CASES is None,
                          deadline=None, database=None, print_blob=True,
                          suppress_health_check=[HealthCheck.too_slow, HealthCheck.filter_too_much])
settings.load_profile("cases")

DESIGNS = {
    "butter": lambda order, edges, form, output: signal.butter(order, edges, form, output=output),
    "cheby2": lambda order, edges, form, output: signal.cheby2(order, 30, edges, form,
                                                              output=output),
    "bessel": lambda order, edges, form, output: signal.bessel(order, edges, form, output=output),
}


NOISE = np.random.default_rng(0).standard_normal(500)


def has_enough_digits(coefficients, sections):
    """Where coefficients have too few for the filter, two right answers differ."""
    by_sections = signal.sosfiltfilt(sections, NOISE, padlen=99)
    return abs(signal.filtfilt(*coefficients, NOISE, padlen=99) - by_sections).max() <= 1e-10


@draws.composite
def any_filter(draw):
    form = draw(draws.sampled_from(["lowpass", "highpass", "bandpass", "bandstop"]))
    family = DESIGNS[draw(draws.sampled_from(sorted(DESIGNS)))]
    order = draw(draws.integers(1, 8))
    lower = draw(draws.floats(0.02, 0.95))
    edges = lower
    if form.startswith("band"):
        edges = [lower, lower + draw(draws.floats(0.02, 0.9)) * (0.98 - lower)]
    coefficients = family(order, edges, form, "ba")
    assume(has_enough_digits(coefficients, family(order, edges, form, "sos")))
    return coefficients


@draws.composite
def any_array(draw, shortest):
    """Of 1 to 4 dimensions, in some layout, and the axis of its lines."""
    rank = draw(draws.integers(1, 4))
    axis = draw(draws.integers(-rank, rank - 1))
    shape = [draw(draws.integers(1, 4)) for _ in range(rank)]
    shape[axis] = shortest + draw(draws.integers(0, 3) | draws.integers(0, 300))
    random = np.random.default_rng(draw(draws.integers(0, 2**32)))
    x = random.standard_normal(shape) * 10.0**draw(draws.integers(-6, 6))
    x += draw(draws.sampled_from([0.0, 1.0, 100.0])) * abs(x).max()
    x = x.astype(draw(draws.sampled_from([np.float32, np.float64])))
    order = draw(draws.permutations(range(rank)))
    x = np.ascontiguousarray(x.transpose(order)).transpose(np.argsort(order))
    return (x[::-1] if draw(draws.booleans()) else x), axis


def check(y, expected, x):
    """1e-9 of the scale, and half a unit in the last place of float32."""
    np.testing.assert_array_equal(np.isnan(y), np.isnan(expected))
    tolerance = 1e-9 * np.nanmax(abs(x), initial=0)
    if y.dtype == np.float32:
        tolerance = tolerance + 2.0**-24 * abs(expected)
    excess = np.nan_to_num(abs(y - expected) - tolerance)
    assert excess.max() <= 0, f"beyond the tolerance by {excess.max()}"


class EqualsSciPyOnMadeUpCases(unittest.TestCase):
    @given(any_filter(), draws.data())
    def test_on_whole_lines(self, coefficients, data):
        b, a = coefficients
        pad = data.draw(draws.sampled_from([None, 0, 1]) | draws.integers(0, 200))
        shortest = (3 * max(len(a), len(b)) if pad is None else pad) + 1
        x, axis = data.draw(any_array(max(shortest, 2)))
        wide = x.astype(float)
        expected = signal.filtfilt(b, a, wide, axis, padlen=pad)
        y = talvora.filtfilt(b, a, x, axis, padlen=pad, workers=data.draw(draws.integers(1, 3)))
        self.assertEqual((y.dtype, y.shape), (x.dtype, x.shape))
        check(y, expected, wide)

    @given(draws.integers(1, 4), draws.floats(0.1, 0.8), draws.data())
    def test_on_runs_between_missing_samples(self, order, edge, data):
        b, a = signal.butter(order, edge)
        pad = data.draw(draws.integers(0, 40))
        x, axis = data.draw(any_array(max(pad + 1, 2)))
        seed = data.draw(draws.integers(0, 2**32))
        share = data.draw(draws.sampled_from([0.0, 0.01, 0.1, 0.5]))
        x = np.where(np.random.default_rng(seed).random(x.shape) < share, x.dtype.type(np.nan), x)
        expected = np.apply_along_axis(lambda line: filter_runs(b, a, line, pad), axis,
                                       x.astype(float))
        check(talvora.filtfilt(b, a, x, axis, padlen=pad), expected, x.astype(float))


unittest.main()
