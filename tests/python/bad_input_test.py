"""Each wrong argument is an exception that says what is wrong, and nothing is written."""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import numpy as np

import talvora

B, A = [0.2, 0.2], [1.0, -0.6]
X = np.arange(50.0)
GOOD = {"b": B, "a": A, "x": X}


class Filtfilt(unittest.TestCase):
    def refuse(self, error, text, **arguments):
        with self.subTest(**arguments):
            with self.assertRaisesRegex(error, text):
                talvora.filtfilt(**{**GOOD, **arguments})

    def test_refuses_samples_that_are_no_real_numbers(self):
        for x in (X * 1j, X.astype(str), X.astype(object), X.astype("M8[s]"), X.astype("m8[s]"),
                  X.astype(bytes), "text", None, {"a": 1}, np.zeros(50, "f8,f8")):
            self.refuse(TypeError, "real numbers", x=x)

    def test_refuses_a_single_number(self):
        self.refuse(ValueError, "array", x=1.0)

    def test_refuses_an_axis_that_is_not_there(self):
        for axis in (1, -2, 2**31 - 1):
            self.refuse(ValueError, f"axis {axis}", axis=axis)
        self.refuse(ValueError, "32 bits", axis=2**31)
        self.refuse(TypeError, "axis is 1.0", axis=1.0)

    def test_refuses_lines_that_are_too_short(self):
        self.refuse(ValueError, "6", x=X[:6])
        self.refuse(ValueError, "50", padlen=50)
        self.refuse(ValueError, "", x=X[:0])

    def test_refuses_bad_coefficients(self):
        self.refuse(ValueError, r"a\[0\]", a=[0.0, 1.0])
        for bad in (np.nan, np.inf):
            self.refuse(ValueError, "finite", b=[bad, 1.0])
            self.refuse(ValueError, "finite", a=[1.0, bad])
        self.refuse(ValueError, "b", b=[])
        self.refuse(ValueError, "a", a=[])
        self.refuse(ValueError, "dimensions", b=[[1.0, 2.0]])
        self.refuse(TypeError, "real numbers", b=[1j, 1.0])
        self.refuse(TypeError, "real numbers", a=["1", "2"])
        self.refuse(TypeError, "real numbers", a=None)

    def test_refuses_an_unstable_filter(self):
        for a in ([1.0, -1.0], [1.0, -1.01], [1.0, 0.0, 1.0], [1.0, -2.0, 1.0]):
            self.refuse(ValueError, "stable", a=a)

    def test_refuses_other_words(self):
        for word in ("", "raise", 1, None, ["omit"]):
            self.refuse(ValueError, "'omit', 'propagate'", nan=word)
            self.refuse(ValueError, "'refuse', 'leave'", short=word)

    def test_refuses_other_counts(self):
        for count in (0, -2, 1025):
            self.refuse(ValueError, f"workers is {count}; 1 to 1024", workers=count)
        self.refuse(TypeError, "workers", workers=1.5)
        self.refuse(ValueError, "padlen", padlen=-1)
        self.refuse(TypeError, "padlen", padlen="3")

    def test_refuses_an_output_that_does_not_fit(self):
        self.refuse(TypeError, "NumPy", out=[0.0] * 50)
        self.refuse(TypeError, "float64", out=np.zeros(50, np.float32))
        self.refuse(ValueError, "shape", out=np.zeros(49))
        self.refuse(ValueError, "written", out=np.broadcast_to(0.0, 50))

    def test_refuses_a_masked_output(self):
        x = np.ma.masked_array(X.copy(), X == 20)
        self.refuse(TypeError, "masked array", x=x, out=x)
        self.refuse(TypeError, "masked array", out=np.ma.zeros(50))
        with self.assertRaisesRegex(TypeError, "masked array"):
            talvora.fill_gaps(x, out=x)
        np.testing.assert_array_equal(x.data, X)

    def test_refuses_masked_coefficients(self):
        self.refuse(ValueError, "b has masked values", b=np.ma.array(B, mask=[0, 1]))
        self.refuse(ValueError, "a has masked values", a=np.ma.array(A, mask=[0, 1]))
        np.testing.assert_array_equal(talvora.filtfilt(np.ma.array(B), A, X),
                                      talvora.filtfilt(B, A, X))

    def test_refuses_arrays_that_overlap(self):
        room = np.arange(100.0)
        for x, out in ((room[:50], room[1:51]), (room[:50], room[49::-1]),
                       (room[::2], room[1::2]), (room[:50], room[::2])):
            before = room.copy()
            if not np.shares_memory(x, out):
                talvora.filtfilt(B, A, x, out=out.copy())
                continue
            with self.assertRaises(ValueError):
                talvora.filtfilt(B, A, x, out=out)
            np.testing.assert_array_equal(room, before)


class Butterworth(unittest.TestCase):
    def refuse(self, error, text, **arguments):
        with self.subTest(**arguments):
            with self.assertRaisesRegex(error, text):
                talvora.butterworth(X, **{"rate": 100, **arguments})

    def test_refuses_a_rate_that_is_none(self):
        for rate in (0, -1, np.nan, np.inf):
            self.refuse(ValueError, "rate", rate=rate, cutoff=6)
        self.refuse(ValueError, "rate is beyond the largest double", rate=10**400, cutoff=6)
        for rate in ("100", None, [100, 200]):
            self.refuse(TypeError, "rate is", rate=rate, cutoff=6)

    def test_wants_either_cutoff_or_edges(self):
        self.refuse(ValueError, "neither cutoff nor edges is given; one of them is wanted")
        self.refuse(ValueError, "cutoff and edges are given; one of them is wanted", cutoff=6,
                    edges=6)
        self.refuse(ValueError, "bandwidth belongs to cutoff", edges=(6, 7), bandwidth=1)

    def test_refuses_edges_that_cannot_be_had(self):
        for edges in (0, 50, -1, (20, 10), (10, 10), (10, 60), (1, 2, 3), [], np.nan):
            self.refuse(ValueError, "", edges=edges)
        self.refuse(ValueError, "number of edges is 2; a filter of the form 'lowpass' has 1",
                    edges=(10, 20), form="lowpass")
        self.refuse(ValueError, "number of edges is 1; a filter of the form 'band-stop' has 2", edges=10,
                    form="band-stop")
        self.refuse(TypeError, "edges", edges="10")
        self.refuse(ValueError, "edges has masked", edges=np.ma.array([10, 20], mask=[0, 1]))

    def test_refuses_parameters_of_a_filter_that_there_is_not(self):
        for order in (0, 1, -4):
            self.refuse(ValueError, "order", order=order, cutoff=6)
        self.refuse(TypeError, "order", order=4.0, cutoff=6)
        self.refuse(ValueError, "", order=2**31 - 1, cutoff=6)
        for cutoff in (0, -1, np.nan, np.inf, 50, 1e300):
            self.refuse(ValueError, "", cutoff=cutoff)
        self.refuse(ValueError, "form is 'notch'", cutoff=6, form="notch")
        self.refuse(ValueError, "bandwidth is 1; a filter of the form 'low-pass' has none",
                    cutoff=6, bandwidth=1, form="low-pass")
        self.refuse(ValueError, "a filter of the form 'band-pass' needs a bandwidth beside cutoff",
                    cutoff=6, form="band-pass")
        self.refuse(TypeError, "cutoff", cutoff="6")


    def test_speaks_of_its_own_arguments(self):
        for arguments, allowed in (
                ({"cutoff": 60}, r"cutoff above 0 and below 40\.1122"),
                ({"cutoff": 5, "bandwidth": 11}, "cutoff - bandwidth / 2 above 0, and cutoff"),
                ({"cutoff": 5, "order": 40}, "order from 2 to ")):
            self.refuse(ValueError, rf"at a rate of 100 Hz .*\(allowed here: {allowed}", **arguments)
            with self.assertRaises(ValueError) as caught:
                talvora.butterworth(X, rate=100, **arguments)
            self.assertNotIn("the unit", str(caught.exception))


class FillGaps(unittest.TestCase):
    def test_refuses_what_is_no_length(self):
        for length in (0, -1, 2**31):
            with self.assertRaisesRegex(ValueError, "max_length"):
                talvora.fill_gaps(X, length)
        with self.assertRaisesRegex(TypeError, "max_length"):
            talvora.fill_gaps(X, 1.5)


class Import(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.package = pathlib.Path(shutil.copytree(pathlib.Path(talvora.__file__).parent,
                                                    pathlib.Path(self.folder) / "talvora"))

    def fail(self, text="import talvora"):
        """The last line that it tells."""
        done = subprocess.run([sys.executable, "-c", text], text=True, capture_output=True,
                              env={"PYTHONPATH": self.folder}, cwd=self.folder)
        self.assertNotEqual(done.returncode, 0)
        return done.stderr.splitlines()[-1]

    def test_refuses_a_library_of_another_version(self):
        version = self.package / "_version.py"
        version.write_text(re.sub(r'VERSION = ".*"', 'VERSION = "99.1.2"', version.read_text()))
        self.assertRegex(self.fail(),
                         rf"^ImportError: talvora 99\.1\.2 .* {talvora.__version__}$")

    def test_refuses_another_library(self):
        library = self.package / "libtalvora.so.0"
        library.unlink()
        shutil.copy(self.package / "kpl-talvora_signal.so", library)
        self.assertRegex(self.fail(), "^ImportError: .*libtalvora.so.0 has no function "
                                      "'talvora_version'$")
        library.write_text("no library")
        told = self.fail()
        self.assertRegex(told, "^ImportError: ")
        self.assertEqual(told.count(str(library)), 1)
        library.unlink()
        self.assertRegex(self.fail(), "^ImportError: .* finds no libtalvora.so.0 in ")

    def test_names_each_place_of_a_missing_plug_in_once(self):
        (self.package / "kpl-talvora_signal.so").unlink()
        told = self.fail("import talvora; talvora.units()")
        self.assertRegex(told, "PluginError: ")
        self.assertEqual(told.count(str(self.package / "kpl-talvora_signal.so")), 1)


unittest.main()
