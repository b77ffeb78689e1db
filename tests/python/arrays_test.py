"""Arrays of every layout and type, and pandas: what goes in, what comes out."""

import importlib.util
import subprocess
import sys
import unittest

import numpy as np
from scipy import signal

import talvora

B, A = signal.butter(2, 0.2)


def made_samples(*shape):
    return np.random.default_rng(2).standard_normal(shape)


def filtered(x, axis=-1):
    """By SciPy, run by run where no sample is missing: of whole lines alone."""
    return signal.filtfilt(B, A, np.asarray(x, float), axis)


def misaligned(x):
    """The same samples, not at a multiple of their size."""
    room = np.empty(x.nbytes + 1, np.uint8)
    view = room[1:].view(x.dtype).reshape(x.shape)
    view[...] = x
    return view


class TakesArraysAsTheyLie(unittest.TestCase):
    def test_of_every_layout(self):
        whole = made_samples(40, 50, 3)
        read_only = whole.copy()
        read_only.setflags(write=False)
        layouts = {
            "strided": whole[::2, 10:, ::-1], "transposed": whole.T, "reversed": whole[::-1, ::-1],
            "Fortran": np.asfortranarray(whole), "read-only": read_only,
            "big-endian": whole.astype(">f8"), "misaligned": misaligned(whole),
            "repeated": np.broadcast_to(whole[0], (20, 50, 3)),
            "windows": np.lib.stride_tricks.sliding_window_view(whole[:, 0, 0], 20),
            "lists": whole[:, :2, 0].T.tolist(),
        }
        for name, x in layouts.items():
            for axis in range(np.ndim(x)):
                if np.shape(x)[axis] <= 9:
                    continue
                with self.subTest(layout=name, axis=axis):
                    before = np.array(x)
                    y = talvora.filtfilt(B, A, x, axis)
                    np.testing.assert_allclose(y, filtered(x, axis), rtol=0, atol=1e-12)
                    np.testing.assert_array_equal(np.array(x), before)

    def test_and_lays_lines_side_by_side(self):
        for axis in range(3):
            y = talvora.filtfilt(B, A, made_samples(20, 21, 22), axis)
            self.assertEqual(y.strides[axis], y.itemsize)
            self.assertTrue(np.moveaxis(y, axis, -1).flags.c_contiguous)

    def test_of_every_real_type(self):
        x = (1000 * made_samples(100)).astype(int)
        for dtype in "bhilqBHILQefdg?":
            given = (x & 1).astype(dtype)
            with self.subTest(dtype=dtype):
                y = talvora.filtfilt(B, A, given)
                self.assertEqual(y.dtype, np.float32 if dtype == "f" else np.float64)
                np.testing.assert_allclose(y, filtered(given), rtol=0,
                                           atol=1e-6 if dtype == "f" else 1e-12)

    def test_of_masked_rows_in_a_list(self):
        rows = [np.ma.array([1.0, 99.0, 3.0], mask=[0, 1, 0]),
                np.ma.array([4.0, 5.0, 99.0], mask=[0, 0, 1])]
        np.testing.assert_array_equal(talvora.fill_gaps(rows), [[1, 2, 3], [4, 5, np.nan]])
        np.testing.assert_array_equal(talvora.Signal(rows).samples[:, 0],
                                      [[1, np.nan, 3], [4, 5, np.nan]])
        for nested in ([rows], [[[rows[0]]]], [([1.0, 2.0, 3.0],), (rows[0],)]):
            with self.assertRaisesRegex(TypeError, "one masked array is wanted"):
                talvora.fill_gaps(nested)

    def test_of_one_to_many_dimensions(self):
        for rank in (1, 5, 20):
            x = made_samples(100).reshape((1,) * (rank - 1) + (100,))
            y = talvora.filtfilt(B, A, x)
            self.assertEqual(y.shape, x.shape)
            np.testing.assert_allclose(y, filtered(x), rtol=0, atol=1e-12)


class Output(unittest.TestCase):
    def test_goes_where_it_is_wanted(self):
        x = made_samples(4, 60)
        for out in (np.empty((4, 60)), np.empty((60, 4)).T, np.empty((8, 120))[::-2, ::2]):
            self.assertIs(talvora.filtfilt(B, A, x, out=out), out)
            np.testing.assert_allclose(out, filtered(x), rtol=0, atol=1e-12)

    def test_may_be_the_input(self):
        for axis in (0, 1):
            x = made_samples(60, 60)
            expected = filtered(x, axis)
            talvora.filtfilt(B, A, x, axis, out=x)
            np.testing.assert_allclose(x, expected, rtol=0, atol=1e-12)


@unittest.skipUnless(importlib.util.find_spec("pandas"), "no pandas here")
class Pandas(unittest.TestCase):
    def setUp(self):
        import pandas
        self.pandas = pandas
        self.index = pandas.date_range("2026-11-21", periods=80, freq="10ms")

    def test_series_keep_index_and_name(self):
        x = self.pandas.Series(made_samples(80), self.index, name="Left")
        y = talvora.filtfilt(B, A, x)
        self.pandas.testing.assert_series_equal(
            y, self.pandas.Series(filtered(x), self.index, name="Left"), atol=1e-12)

    def test_frames_run_down_their_columns(self):
        x = self.pandas.DataFrame(made_samples(80, 3), self.index, list("XYZ"))
        y = talvora.butterworth(x, rate=100, cutoff=10)
        self.assertIsInstance(y, self.pandas.DataFrame)
        self.assertTrue(y.index.equals(x.index) and y.columns.equals(x.columns))
        np.testing.assert_array_equal(y["Y"], talvora.butterworth(x["Y"], rate=100, cutoff=10))

    def test_frames_as_samples_are_refused(self):
        signal = talvora.Signal([1.0, 2.0])
        signal.samples = self.pandas.DataFrame(made_samples(80, 3))
        with self.assertRaisesRegex(TypeError, "the samples of 'A' are a DataFrame; talvora.Signal "):
            talvora.run("apply-set-rectify", {"A": signal}, SourceSets=["A"])

    def test_frames_run_along_another_axis_when_asked(self):
        x = self.pandas.DataFrame(made_samples(5, 80))
        np.testing.assert_allclose(talvora.filtfilt(B, A, x, axis=1), filtered(x), rtol=0,
                                   atol=1e-12)

    def test_columns_of_several_types_become_one(self):
        x = self.pandas.DataFrame({"count": range(80), "on": [True, False] * 40,
                                   "level": made_samples(80).astype(np.float32)})
        y = talvora.filtfilt(B, A, x)
        np.testing.assert_allclose(y["count"], filtered(x["count"]), rtol=0, atol=1e-10)
        np.testing.assert_allclose(y["on"], filtered(x["on"]), rtol=0, atol=1e-12)

    def test_missing_values_of_pandas_are_missing_samples(self):
        x = self.pandas.Series([1, 2, None, 4, None], dtype="Int64")
        y = talvora.fill_gaps(x)
        np.testing.assert_array_equal(y, [1, 2, 3, 4, np.nan])
        self.assertEqual(y.dtype, np.float64)

    def test_nullable_float32_stays(self):
        values = [1, 2, None, 4, None]
        for given, dtype in (
                (self.pandas.Series(values, dtype="Float32"), np.float32),
                (self.pandas.Series(values, dtype="Float64"), np.float64),
                (self.pandas.Series(values, dtype="Int8"), np.float64),
                (self.pandas.DataFrame({"A": values, "B": values}, dtype="Float32"), np.float32),
                (self.pandas.DataFrame({"A": self.pandas.array(values, "Float32"),
                                        "B": np.arange(5, dtype=np.float32)}), np.float32),
                (self.pandas.DataFrame({"A": self.pandas.array(values, "Float32"),
                                        "B": self.pandas.array(values, "Float64")}), np.float64),
                (self.pandas.DataFrame({"A": self.pandas.array(values, "Float32"),
                                        "B": self.pandas.array(values, "Int64")}), np.float64)):
            with self.subTest(given=given):
                y = talvora.fill_gaps(given).to_numpy()
                self.assertEqual(y.dtype, dtype)
                first = y.reshape(5, -1)[:, 0]
                np.testing.assert_array_equal(first, [1, 2, 3, 4, np.nan])

    def test_of_sparse_columns(self):
        x = self.pandas.Series(self.pandas.arrays.SparseArray([1.0, np.nan, 3.0]))
        np.testing.assert_array_equal(talvora.fill_gaps(x), [1, 2, 3])

    def test_frames_are_not_copied_twice(self):
        x = self.pandas.DataFrame(made_samples(80, 3))
        y = talvora.filtfilt(B, A, x)
        self.assertTrue(y.to_numpy().T.flags.c_contiguous)

    def test_what_is_no_number_is_refused(self):
        for values in (["1.5"] * 80, self.index, [1j] * 80,
                       self.pandas.Categorical([1, 2] * 40)):
            with self.subTest(values=type(values)):
                with self.assertRaisesRegex(TypeError, "real numbers"):
                    talvora.filtfilt(B, A, self.pandas.Series(values))

    def test_pandas_is_not_imported_for_arrays(self):
        subprocess.run([sys.executable, "-c",
                        "import sys, talvora; talvora.fill_gaps([1.0, 2.0]); "
                        "sys.exit('pandas' in sys.modules)"], check=True)


unittest.main()
