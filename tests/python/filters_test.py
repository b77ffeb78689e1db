"""What the filters and the gap filling of the package give, next to SciPy and by hand."""

import unittest
import warnings

import numpy as np
import pandas as pd
from scipy import signal

import talvora
from scipy_peer import filter_runs

LOW_PASS = signal.butter(2, 0.1)
PAD = 3 * len(LOW_PASS[1])


def made_samples(*shape, seed=1):
    return np.random.default_rng(seed).standard_normal(shape)


class FiltersAsSciPyDoes(unittest.TestCase):
    def check(self, given, expected, scale=1.0, tolerance=1e-12):
        np.testing.assert_allclose(given, expected, rtol=0, atol=tolerance * scale)

    def test_pads_as_scipy_by_default(self):
        x = made_samples(3, 200)
        self.check(talvora.filtfilt(*LOW_PASS, x), signal.filtfilt(*LOW_PASS, x))

    def test_pads_as_asked(self):
        x = made_samples(200)
        for pad in (0, 1, 5, 50, 199):
            with self.subTest(pad=pad):
                self.check(talvora.filtfilt(*LOW_PASS, x, padlen=pad),
                           signal.filtfilt(*LOW_PASS, x, padlen=pad))

    def test_takes_coefficients_of_two_lengths(self):
        x = made_samples(100)
        for b, a in (([0.25, 0.5, 0.25], [1.0]), ([0.3], [1.0, -0.7]), ([2.0], [4.0, 1.0, 0.5]),
                     ((1, 2), (2, 1))):
            with self.subTest(b=b, a=a):
                self.check(talvora.filtfilt(b, a, x), signal.filtfilt(b, a, x))

    def test_takes_a_factor_for_a_filter(self):
        x = made_samples(100)
        self.check(talvora.filtfilt(0.5, 1, x), 0.25 * x)

    def test_filters_along_every_axis(self):
        x = made_samples(30, 31, 32)
        for axis in range(-3, 3):
            with self.subTest(axis=axis):
                self.check(talvora.filtfilt(*LOW_PASS, x, axis), signal.filtfilt(*LOW_PASS, x, axis))

    def test_keeps_float32(self):
        x = made_samples(500).astype(np.float32)
        y = talvora.filtfilt(*LOW_PASS, x)
        self.assertEqual(y.dtype, np.float32)
        self.check(y, signal.filtfilt(*LOW_PASS, x.astype(float)), tolerance=1e-6)

    def test_gives_the_same_bits_with_more_workers(self):
        x = made_samples(37, 3000)
        x[::5, 100:120] = np.nan
        expected = talvora.filtfilt(*LOW_PASS, x)
        for workers in (2, 3, -1):
            with self.subTest(workers=workers):
                self.assertEqual(talvora.filtfilt(*LOW_PASS, x, workers=workers).tobytes(),
                                 expected.tobytes())


class MissingSamples(unittest.TestCase):
    def test_part_a_line_into_runs(self):
        x = made_samples(6, 400)
        x[0, 0:5] = x[0, 200:203] = np.nan        # a gap at the beginning and one within
        x[1, 100] = x[1, 105] = x[1, 300] = np.nan  # a run of four, too short
        x[2, 3] = x[2, 395] = np.nan              # short runs at both ends
        x[3, ::4] = np.nan                        # short runs alone: it stays
        x[4] = np.nan
        with self.assertWarns(talvora.ShortRunsWarning):
            y = talvora.filtfilt(*LOW_PASS, x)
        for i, line in enumerate(x):
            with self.subTest(line=i):
                np.testing.assert_allclose(y[i], filter_runs(*LOW_PASS, line, PAD), rtol=0,
                                           atol=1e-12)

    def test_are_told_of_where_they_leave_runs_that_are_too_short(self):
        x = made_samples(1000, 2)
        x[::7, 0] = np.nan  # runs of six
        x[2, 1] = x[995, 1] = x[500, 1] = np.nan  # two samples and four at the ends
        for call in (lambda: talvora.butterworth(x, rate=100, cutoff=6, axis=0, workers=2),
                     lambda: talvora.butterworth(pd.DataFrame(x), rate=100, cutoff=6),
                     lambda: talvora.filtfilt(*talvora.design_butterworth(rate=100, cutoff=6), x,
                                              axis=0, padlen=7)):
            with warnings.catch_warnings(record=True) as caught:
                warnings.simplefilter("always")
                call()
            self.assertEqual([(str(warning.message), warning.category, warning.filename)
                              for warning in caught],
                             [("runs of fewer than 8 valid samples are too short to be filtered: "
                               "857 of their samples stayed as they were, 6 at the ends of lines "
                               "became missing; fill gaps first, or take a lower order",
                               talvora.ShortRunsWarning, __file__)])

    def test_are_not_told_of_where_no_run_is_too_short(self):
        x = made_samples(3, 200)
        x[1, 50:60] = np.nan
        x[2] = np.nan
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            talvora.filtfilt(*LOW_PASS, x)
            talvora.filtfilt(*LOW_PASS, np.where(np.arange(200) % 2, x, np.nan), nan="propagate")
            talvora.filtfilt(*LOW_PASS, x[:, :5], short="leave")
            talvora.fill_gaps(x)

    def test_propagate_as_in_scipy(self):
        x = made_samples(3, 100)
        x[1, 40] = np.nan
        for b, a in (LOW_PASS, ([0.25, 0.5, 0.25], [1.0])):
            with self.subTest(a=a):
                np.testing.assert_allclose(
                    talvora.filtfilt(b, a, x, nan="propagate"), signal.filtfilt(b, a, x), rtol=0,
                    atol=1e-12)

    def test_are_those_that_a_masked_array_masks(self):
        x = made_samples(100)
        mask = np.arange(100) == 50
        np.testing.assert_array_equal(
            talvora.filtfilt(*LOW_PASS, np.ma.masked_array(x, mask)),
            talvora.filtfilt(*LOW_PASS, np.where(mask, np.nan, x)))


class ShortLines(unittest.TestCase):
    def test_are_refused_as_by_scipy(self):
        for length in (0, 1, PAD):
            with self.subTest(length=length):
                with self.assertRaisesRegex(ValueError, str(PAD)):
                    talvora.filtfilt(*LOW_PASS, np.zeros(length))

    def test_stay_when_asked(self):
        x = made_samples(2, PAD)
        np.testing.assert_array_equal(talvora.filtfilt(*LOW_PASS, x, short="leave"), x)

    def test_end_one_sample_above_the_padding(self):
        x = made_samples(PAD + 1)
        np.testing.assert_allclose(talvora.filtfilt(*LOW_PASS, x), signal.filtfilt(*LOW_PASS, x),
                                   rtol=0, atol=1e-12)

    def test_without_lines_give_none(self):
        self.assertEqual(talvora.filtfilt(*LOW_PASS, np.zeros((0, 100))).shape, (0, 100))


def gain_of_both_passes(b, a, frequency, rate):
    return abs(signal.freqz(b, a, frequency, fs=rate)[1]) ** 2


class Butterworth(unittest.TestCase):
    def test_multiplies_the_cutoff_as_the_unit_does(self):
        correction = (np.sqrt(2) - 1) ** -0.25
        for form in ("low-pass", "high-pass"):
            for order in (2, 4, 5, 8):
                with self.subTest(form=form, order=order):
                    b, a = talvora.design_butterworth(rate=1000, order=order, cutoff=50, form=form)
                    expected = signal.butter(order // 2, correction * 50, form.replace("-", ""),
                                             fs=1000)
                    np.testing.assert_allclose((b, a), expected, rtol=1e-9)

    def test_pads_as_the_unit_does(self):
        b, a = talvora.design_butterworth(rate=1000, order=4, cutoff=50)
        x = made_samples(2, 300)
        np.testing.assert_allclose(
            talvora.butterworth(x, rate=1000, cutoff=50),
            signal.filtfilt(b, a, x, padlen=3 * (len(a) - 1)), rtol=0, atol=1e-12)

    def test_is_3_db_down_at_the_edges_after_both_passes(self):
        for form, edges in (("low-pass", 50), ("high-pass", 50), ("band-pass", (20, 450)),
                            ("band-stop", (45, 55))):
            for order in (2, 4, 6):
                with self.subTest(form=form, order=order):
                    b, a = talvora.design_butterworth(rate=1000, order=order, edges=edges,
                                                      form=form)
                    np.testing.assert_allclose(
                        gain_of_both_passes(b, a, np.atleast_1d(edges).astype(float), 1000),
                        np.sqrt(0.5), rtol=1e-6)

    def test_takes_two_edges_for_a_band_pass(self):
        x = made_samples(500)
        np.testing.assert_array_equal(
            talvora.butterworth(x, rate=1000, edges=(20, 450)),
            talvora.butterworth(x, rate=1000, edges=(20, 450), form="bandpass"))


class FillGaps(unittest.TestCase):
    def test_puts_samples_on_straight_lines(self):
        nan = np.nan
        x = np.array([[nan, 1, nan, nan, 4, nan, 8], [2, nan, 3, nan, nan, nan, nan]])
        np.testing.assert_array_equal(
            talvora.fill_gaps(x), [[nan, 1, 2, 3, 4, 6, 8], [2, 2.5, 3, nan, nan, nan, nan]])
        np.testing.assert_array_equal(
            talvora.fill_gaps(x, max_length=1),
            [[nan, 1, nan, nan, 4, 6, 8], [2, 2.5, 3, nan, nan, nan, nan]])
        np.testing.assert_array_equal(talvora.fill_gaps(x.T, axis=0), talvora.fill_gaps(x).T)

    def test_keeps_the_type(self):
        for dtype in (np.float32, np.float64):
            x = np.array([1, np.nan, 2], dtype)
            y = talvora.fill_gaps(x)
            self.assertEqual((y.dtype, y[1]), (dtype, 1.5))


unittest.main()
