"""Imports HDF5 files as other programs lay them out, written by h5py.

    mapped_import_test.py TALVORA_HOST PLUGIN

What is expected of samples is worked out by NumPy, in doubles, and then rounded to floats.
"""

import hashlib
import json

import h5py
import numpy as np

import host_test

RANDOM = np.random.default_rng(5)


def round_once(values):
    return np.asarray(values, np.float64).astype(np.float32)


class MappedImport(host_test.HostTest):
    def write(self, name, text):
        (self.folder / name).write_text(text, encoding="utf-8")

    def take(self, *words, code=0):
        return self.call("import", "in.h5", "-o", "out.h5", *words, code=code)

    def refuse(self, *words, code=3, text=()):
        """Nothing is made, or changed where there is something."""
        for options in ((), ("-n",), ("--force",)):
            existing = self.folder / "out.h5"
            if options == ("--force",):
                existing.write_bytes(b"kept")
            result = self.take(*words, *options, code=code)
            for part in [text] if isinstance(text, str) else text:
                self.assertIn(part, result.stderr)
            left = {file.name for file in self.folder.iterdir()}
            if options == ("--force",):
                self.assertEqual(existing.read_bytes(), b"kept")
                existing.unlink()
            self.assertFalse([name for name in left if "talvora" in name], left)
            self.assertEqual("out.h5" in left, options == ("--force",))

    def assert_set(self, path, expected, rate, start=0.0, **attributes):
        with self.read() as file:
            made = file[path]
            self.assertEqual(made.dtype, np.dtype("<f4"))
            np.testing.assert_array_equal(made[...], np.float32(expected)[:, None, :])
            there = ~np.isnan(expected)
            np.testing.assert_array_equal(np.signbit(made[:, 0, :][there]),
                                          np.signbit(np.float32(expected)[there]))
            self.assertEqual(made.attrs["SampleRate"], np.float32(rate))
            self.assertEqual(made.attrs["SampleRate"].dtype, np.float32)
            self.assertEqual(made.attrs["StartTime"], start)
            self.assertEqual(made.attrs["StartTime"].dtype, np.float64)
            for name, value in attributes.items():
                found = made.attrs[name]
                self.assertEqual(found if isinstance(found, str) else list(found), value)
            self.assertEqual(set(made.attrs), {"SampleRate", "StartTime", *attributes})


def add_series(file, path, data, rate=None, start=0.0, times=None, **attributes):
    group = file.create_group(path)
    made = group.create_dataset("data", data=data)
    made.attrs.update(attributes)
    if rate is not None:
        group.create_dataset("starting_time", data=start).attrs["rate"] = rate
    if times is not None:
        group["timestamps"] = times
    return group


class Nwb(MappedImport):
    def test_integers_become_what_their_conversion_tells(self):
        for dtype in ("<i2", ">i2", "<i4", "u1", "<f4", ">f8"):
            with self.subTest(dtype):
                data = RANDOM.integers(0, 200, (1000, 3)).astype(dtype)
                with self.make() as file:
                    group = add_series(file, "acquisition/ephys", data, np.float32(30000), 12.5,
                                       conversion=1.95e-7, offset=-0.25, unit="volts")
                    group["channel_conversion"] = [1.0, 2.5, 0.3]
                self.take("--map", "nwb", "--force")
                scale = 1.95e-7 * np.array([1.0, 2.5, 0.3])
                self.assert_set("Signals/acquisition/ephys",
                                round_once(data.astype("f8") * scale + -0.25).T, 30000, 12.5,
                                Unit="volts")

    def test_without_conversion_floats_stay_as_they_are(self):
        data = np.float32([[0.0, -0.0], [np.nan, np.inf], [-np.inf, 1e-45], [3e38, 0.1]])
        with self.make() as file:
            add_series(file, "a", data, 10.0)
        result = self.take("--map", "nwb")
        self.assert_set("Signals/a", data.T, 10)
        self.assertNotIn("rounded", result.stderr)

    def test_what_was_taken_left_and_rounded_is_told(self):
        data = np.array([1 + 2.0**-25, -2, np.nan])
        with self.make() as file:
            add_series(file, "a", data, 10.0, unit="m")
            add_series(file, "b", np.zeros((4, 2, 2)), 10.0)
            add_series(file, "c", np.array(["x", "y"], h5py.string_dtype()), times=[0.0, 1.0])
            add_series(file, "d", np.zeros(3))
            ragged = file.create_dataset("e/data", (2,), h5py.vlen_dtype("f4"))
            ragged[0], ragged[1] = [1, 2], [3]
            file["f/data"] = np.zeros((0, 3))
            file["subject"] = "x"
        self.assertEqual(
            self.take("--map", "nwb").stderr,
            "info: in.h5: a/data (64-bit floats [3]) becomes Signals/a [1, 1, 3] at 10 Hz, in m\n"
            "info: in.h5: Signals/a rounded to 32-bit floats; largest change 1.5e-08 of the "
            "largest sample, 9.9e-09 of the range\n"
            "info: in.h5: left b/data: beside time, more than one dimension holds more than one "
            "index (allowed: one, the components)\n"
            "info: in.h5: left c/data: data set of texts [2]\n"
            "info: in.h5: left d/data: no attribute 'rate' of 'd/starting_time' and no data set "
            "'d/timestamps'\n"
            "info: in.h5: left e/data: data set of lists of varying length [2]\n"
            "info: in.h5: left f/data: it holds no samples\n"
            "info: in.h5: left 3 data sets that the map 'nwb' does not name: subject, "
            "b/starting_time, c/timestamps\n")
        with self.read() as file:
            self.assertEqual(list(file["Signals"]), ["a"])
            self.assertEqual(dict(file["Signals"].attrs), {"SampleRate": 10, "NumSamples": 3})

    # Floats of that size are 2 apart.
    def test_a_component_that_varies_little_is_not_hidden_by_another(self):
        with self.make() as file:
            add_series(file, "a", np.array([[0, 2.0**24], [2.0**30, 2.0**24 + 1]]), 10.0)
        self.assertIn("warning: in.h5: Signals/a rounded to 32-bit floats; largest change 9.3e-10 "
                      "of the largest sample, 1.0e+00 of the range\n",
                      self.take("--map", "nwb").stderr)

    def test_nothing_to_take_is_an_error(self):
        with self.make() as file:
            add_series(file, "d", np.zeros(3))
        self.refuse("--map", "nwb", text="in.h5: no data set is taken; d/data: no attribute 'rate'")
        with self.make() as file:
            file["x"] = np.zeros(3)
        self.refuse("--map", "nwb", text="in.h5: no data set that the map 'nwb' names")

    def test_rows_are_placed_by_their_times(self):
        times = np.arange(4000) / 250
        times += RANDOM.uniform(-4e-4, 4e-4, 4000)
        times = np.round(times + 7.0, 3)
        kept = np.delete(np.arange(4000), [1, 900, 901])
        data = RANDOM.standard_normal((4000, 2))
        with self.make() as file:
            add_series(file, "a", data[kept], times=times[kept])
            file["b/data"] = data[kept]
            file["b/timestamps"] = h5py.SoftLink("/a/timestamps")
        result = self.take("--map", "nwb")
        expected = round_once(data)
        expected[[1, 900, 901]] = np.nan
        with self.read() as file:
            rate = file["Signals/a"].attrs["SampleRate"]
        self.assertAlmostEqual(rate, 250, delta=0.01)
        for name in "ab":
            self.assert_set(f"Signals/{name}", expected.T, rate, times[0])
        self.assertIn("in.h5: a/data: 3997 rows by 'a/timestamps' on 4000 samples", result.stderr)

    def test_many_rows_are_placed_piece_by_piece(self):
        """More rows and samples than go through memory at once."""
        count = 200_000
        times = np.sort(RANDOM.uniform(0, 100, count))
        times[0], times[-1] = 0, 100
        data = RANDOM.integers(-99, 99, (count, 3)).astype("i2")
        with self.make() as file:
            add_series(file, "a", data, times=times, conversion=0.01)
        self.take("--map", "nwb", "--grid", "linear", "--rate", "1500", "--max-gap", "1000")
        grid = np.arange(150_001) / 1500
        with self.read() as file:
            made = file["Signals/a"][:, 0, :]
        self.assertEqual(made.shape, (3, 150_001))
        for component in range(3):
            expected = np.interp(grid, times, data[:, component] * 0.01)
            np.testing.assert_allclose(made[component], expected, atol=2e-6)
        self.take("--map", "nwb", "--grid", "nearest", "--rate", "1500", "--force")
        nearest = np.rint(times * 1500).astype(int)
        expected = np.full((150_001, 3), np.nan)
        best = np.full(150_001, np.inf)
        for row, sample in enumerate(nearest):
            distance = abs(times[row] - sample / 1500)
            if distance < best[sample]:
                best[sample], expected[sample] = distance, data[row] * 0.01
        self.assert_set("Signals/a", round_once(expected).T, 1500)

    def test_times_that_cannot_be_placed_are_refused(self):
        steady = np.arange(100) / 10
        cases = {
            "time goes back from 5 to 4.9 in row 51": np.r_[steady[:51], 4.9, steady[52:]],
            "row 7: a time cannot be nan": np.r_[steady[:7], np.nan, steady[8:]],
            "holds 99 times for the 100 rows of 'a/data'": steady[:99],
            "holds 101 values": np.arange(101) / 10,
            "the rows are not equally spaced": np.cumsum(np.r_[np.full(50, .1), np.full(50, .13)]),
            "holds texts": np.array(["x"] * 100, h5py.string_dtype()),
            "holds compound values": np.zeros(100, [("x", "f8")]),
        }
        for text, times in cases.items():
            with self.subTest(text):
                with self.make() as file:
                    add_series(file, "a", np.zeros(100), times=times)
                self.refuse("--map", "nwb", text=["in.h5: ", "a/", text])
        self.take("--map", "nwb", "--rate", "10")
        self.assert_set("Signals/a", np.zeros((1, 100)), 10)

    def test_a_rate_that_the_file_contradicts_is_refused(self):
        with self.make() as file:
            add_series(file, "a", np.zeros(101), 100.0)
        self.refuse("--map", "nwb", "--rate", "50", text=(
            "error: in.h5: a/data: --rate 50 contradicts the attribute 'rate' of "
            "'a/starting_time', 100 Hz\n", "hint: without --rate that one is taken\n",
            "--map FILE.yaml with rate: 50 and no times\n"))
        self.take("--map", "nwb", "--rate", "100.05")
        self.assert_set("Signals/a", np.zeros((1, 101)), 100.05)
        self.write("told.yaml", "sets:\n  - {data: '**/data', time: first, rate: 50, "
                   "name: '{group}'}\n")
        self.take("--map", "told.yaml", "--force")
        self.assert_set("Signals/a", np.zeros((1, 101)), 50)
        self.take("--map", "told.yaml", "--rate", "70", "--force")
        self.assert_set("Signals/a", np.zeros((1, 101)), 70)

    def test_a_rate_that_times_contradict_is_refused(self):
        times = np.r_[np.arange(50), np.arange(80, 131)] / 100
        with self.make() as file:
            add_series(file, "a", np.zeros(101), times=times)
        self.refuse("--map", "nwb", "--rate", "100", text=(
            "error: in.h5: a/data: --rate 100 contradicts the data set 'a/timestamps': by it the "
            "101 rows take 1.3 s (76.9231 Hz), not 1 s\n",
            "hint: without --rate the rows are placed by it\n"))
        with self.make() as file:
            add_series(file, "a", np.zeros(101), times=np.arange(101) / 100)
        self.take("--map", "nwb", "--rate", "100")
        self.assert_set("Signals/a", np.zeros((1, 101)), 100)

    def test_a_first_dimension_that_cannot_be_time_is_refused(self):
        with self.make() as file:
            add_series(file, "a", np.zeros((3, 1500)), 200.0)
        self.refuse("--map", "nwb", text=(
            "error: in.h5: a/data: of [3, 1500] dimension 0 would be time, and dimension 1 has 500 "
            "times as many samples\n", "--map FILE.yaml with time: 1\n"))
        self.write("own.yaml", "sets:\n  - {data: '**/data', time: first, rate: 200}\n")
        self.assertNotIn("warning", self.take("--map", "own.yaml").stderr)

    def test_values_that_cannot_be_are_refused(self):
        text = "the attribute 'rate' of 'a/starting_time' "
        for rate, told in ((0.0, "is 0 (allowed"), (-5.0, "is -5"), (np.nan, "is nan"),
                           (np.inf, "is inf"), ("fast", "holds texts"), ([1.0, 2.0], "holds 2"),
                           (1e-60, "is 1e-60"), (1e60, "is 1e+60"),
                           (np.zeros((), [("x", "f8")]), "holds compound values")):
            with self.subTest(rate=rate):
                with self.make() as file:
                    add_series(file, "a", np.zeros(5), rate)
                self.refuse("--map", "nwb", text=["in.h5: ", text, told])
        for name, value, told in (
                ("conversion", np.nan, "the attribute 'conversion' of 'a/data' is nan"),
                ("conversion", 0.0, "a scale of 'a/data' is 0"),
                ("conversion", "one", "the attribute 'conversion' of 'a/data' holds texts"),
                ("conversion", [1.0, 2.0, 3.0], "holds 3 numbers for 2 components of 'a/data'"),
                ("offset", np.inf, "the attribute 'offset' of 'a/data' is inf"),
                ("unit", 5.0, "the attribute 'unit' of 'a/data' holds no texts"),
                ("conversion", 1e300, "row 1, component 0 of 'a/data' becomes 1e+300, which no"),
                ("offset", -4e38, "row 0, component 0 of 'a/data' becomes -4e+38, which no")):
            with self.subTest(name=name, value=value):
                with self.make() as file:
                    add_series(file, "a", np.array([[0, 0], [1, 2.0]]), 10.0, **{name: value})
                self.refuse("--map", "nwb", text=["error: in.h5: ", told])
        with self.make() as file:
            add_series(file, "a", np.zeros(5), 10.0, start=np.nan)
        self.refuse("--map", "nwb", text="the data set 'a/starting_time' is nan")

    def test_a_pattern_takes_some_of_them(self):
        with self.make() as file:
            add_series(file, "acquisition/a", np.zeros(5), 10.0)
            add_series(file, "acquisition/b", np.ones(5), 0.0)
            add_series(file, "processing/c", np.ones(5), 10.0)
        self.refuse("--map", "nwb", text="hint: other data sets of it: in.h5::PATTERN")
        for pattern, sets in (("acquisition/a", ["acquisition/a"]),
                              ("**/[ac]", ["acquisition/a", "processing/c"]),
                              ("processing/c/data", ["processing/c"])):
            self.call("import", f"in.h5::{pattern}", "-o", "out.h5", "--map", "nwb", "--force")
            found = []
            with self.read() as file:
                file["Signals"].visititems(
                    lambda name, item: found.append(name) if isinstance(item, h5py.Dataset) else None)
            self.assertEqual(found, sets)
        self.call("import", "in.h5::nowhere", "-o", "new.h5", "--map", "nwb", code=3)
        self.assertFalse((self.folder / "new.h5").exists())

    def test_samples_in_other_files_are_never_opened(self):
        with self.make() as file:
            add_series(file, "a", np.zeros(5), 10.0)
            raw = [("samples.raw", 0, 40)]
            file.create_dataset("b/data", (5,), "f8", external=raw)
            file["b/starting_time"] = 0.0
            file["c/data"] = h5py.ExternalLink("other.h5", "x")
            layout = h5py.VirtualLayout((5,), "f8")
            layout[:] = h5py.VirtualSource("other.h5", "x", (5,))
            file.create_virtual_dataset("d/data", layout)
            add_series(file, "e", np.zeros(5), 10.0)
            del file["e/starting_time"]
            file["e/timestamps"] = h5py.ExternalLink("other.h5", "x")
        self.write("samples.raw", "x" * 40)
        self.refuse("--map", "nwb", text="e/timestamps")
        result = self.call("import", "in.h5::[a-d]", "-o", "out.h5", "--map", "nwb")
        self.assertIn("left b/data: data set of 64-bit floats, its samples in the file", result.stderr)
        self.assertIn("left c/data: link to 'x' in the file 'other.h5'", result.stderr)
        self.assertIn("left d/data: data set of 64-bit floats, virtual", result.stderr)


class Mat(MappedImport):
    CLASSES = {"f8": "double", "f4": "single", "i2": "int16", "u1": "uint8"}

    def make_mat(self):
        return self.make(userblock_size=512)

    def add_array(self, file, name, array):
        """As its rows and columns are stored: the other way round."""
        array = np.atleast_2d(array)
        made = file.create_dataset(name, data=array.T)
        made.attrs["MATLAB_class"] = np.bytes_(self.CLASSES[array.dtype.str[1:]])
        return made

    def add_text(self, file, name, text):
        letters = np.frombuffer(text.encode("utf-16-le"), "<u2").reshape(-1, 1)
        made = file.create_dataset(name, data=letters)
        made.attrs["MATLAB_class"] = np.bytes_("char")
        return made

    def add_cell(self, file, name, texts):
        cells = [self.add_text(file, f"#refs#/{name}{i}", text).ref for i, text in enumerate(texts)]
        made = file.create_dataset(name, (len(cells), 1), h5py.ref_dtype)
        made[:, 0] = cells
        made.attrs["MATLAB_class"] = np.bytes_("cell")
        return made

    def test_columns_become_components(self):
        eeg = RANDOM.standard_normal((250, 4))
        ecg = RANDOM.integers(-9, 9, 250).astype("i2")
        with self.make_mat() as file:
            self.add_array(file, "eeg", eeg)
            self.add_array(file, "row", ecg)
            self.add_array(file, "column", ecg.reshape(-1, 1))
            self.add_array(file, "fs", np.array([[250.0]]))
            self.add_array(file, "t0", np.array([[1.5]]))
            self.add_text(file, "unit", "µV")
            self.add_cell(file, "names", ["Fz", "Çz", "𝒫z", "Oz"])
            empty = self.add_array(file, "nothing", np.array([[0.0, 3.0]]))
            empty.attrs["MATLAB_empty"] = np.int32(1)
        result = self.take("--map", "mat", "--variable", "names=names", "--variable", "unit=unit",
                           "--variable", "start=t0")
        self.assert_set("Signals/eeg", round_once(eeg).T, 250, 1.5, Unit="µV",
                        Labels=["Fz", "Çz", "𝒫z", "Oz"])
        for name in ("row", "column"):
            self.assert_set(f"Signals/{name}", np.float32([ecg]), 250, 1.5, Unit="µV")
        self.assertIn("left nothing: there is the attribute 'MATLAB_empty' of 'nothing'",
                      result.stderr)
        self.assertIn("row: left the data set 'names', 4 names for 1 component", result.stderr)
        self.assertNotIn("left fs", result.stderr)

    def test_time_runs_along_the_dimension_that_is_told(self):
        eeg = np.float32(RANDOM.standard_normal((4, 250)))
        times = np.arange(250) / 50.0 + 3
        with self.make_mat() as file:
            self.add_array(file, "rec/eeg", eeg)
            self.add_array(file, "rec/t", times)
        self.take("--map", "mat", "--variable", "data=rec/*", "--variable", "times=t",
                  "--variable", "time=last")
        self.assert_set("Signals/rec/eeg", eeg, 50, 3)
        with self.read() as file:
            self.assertEqual(list(file["Signals/rec"]), ["eeg"])

    def test_rows_that_cannot_be_time_are_refused(self):
        with self.make_mat() as file:
            self.add_array(file, "eeg", np.zeros((3, 1500)))
        self.refuse("--map", "mat", "--rate", "200", text=(
            "error: in.h5: eeg: of [1500, 3] dimension 1 would be time, and dimension 0 has 500 "
            "times as many samples\n", "in.h5::eeg --map mat --variable time=1\n"))
        self.take("--map", "mat", "--rate", "200", "--variable", "time=1")
        self.assert_set("Signals/eeg", np.zeros((3, 1500)), 200)

    def test_without_a_rate_nothing_is_taken(self):
        with self.make_mat() as file:
            self.add_array(file, "eeg", np.zeros((5, 2)))
        self.refuse("--map", "mat", text="eeg: no data set 'fs'")
        self.refuse("--map", "mat", "--variable", "rate=srate", text="eeg: no data set 'srate'")
        self.take("--map", "mat", "--rate", "20")
        self.assert_set("Signals/eeg", np.zeros((2, 5)), 20)

    def test_times_beside_a_rate_are_held_against_it(self):
        for name in ("t", "time"):
            with self.subTest(name=name):
                with self.make_mat() as file:
                    self.add_array(file, "eeg", np.zeros((50, 2)))
                    self.add_array(file, "fs", np.array([[100.0]]))
                    self.add_array(file, name, np.arange(50) / 100 + 2)
                result = self.take("--map", "mat", "--force")
                self.assertIn(f"eeg: the data set '{name}' holds its times, and is no set of samples",
                              result.stderr)
                self.assert_set("Signals/eeg", np.zeros((2, 50)), 100, 2)
                with self.read() as file:
                    self.assertEqual(list(file["Signals"]), ["eeg"])
                with h5py.File(self.folder / "in.h5", "r+") as file:
                    file["fs"][...] = 200
                (self.folder / "out.h5").unlink()
                for told in ([], ["--rate", "200"]):
                    self.refuse("--map", "mat", *told, text=(
                        f"error: in.h5: eeg: 200 Hz contradicts the data set '{name}': by it the "
                        "50 rows take 0.49 s (100 Hz), not 0.245 s\n",
                        f"hint: --variable times={name} places the rows by it, in seconds\n",
                        "hint: if 200 Hz is right, a map says so: --map FILE.yaml with rate: 200 "
                        "and no times_beside\n"))

    def test_times_in_milliseconds_since_1970_are_no_seconds(self):
        with self.make_mat() as file:
            self.add_array(file, "eeg", np.zeros((50, 2)))
            self.add_array(file, "fs", np.array([[1000.0]]))
            self.add_array(file, "t", 1.7e12 + np.arange(50))
        for told in ([], ["--rate", "1000"]):
            self.refuse("--map", "mat", *told, text="1000 Hz contradicts the data set 't'")
        self.refuse("--map", "mat", "--variable", "times=t", text=(
            "error: in.h5: the data set 't' holds 1700000000000, beyond the year 5000 in seconds "
            "(allowed: times in seconds)\n"))
        self.refuse("--map", "mat", "--variable", "start=t0", "--variable", "data=eeg",
                    text="1000 Hz contradicts the data set 't'")

    def test_a_time_that_is_repeated_hides_no_contradiction(self):
        times = np.sort(np.append(5 + np.arange(49) / 500, 5.04))
        with self.make_mat() as file:
            self.add_array(file, "eeg", np.zeros((50, 2)))
            self.add_array(file, "fs", np.array([[1000.0]]))
            self.add_array(file, "Time", times)
        self.refuse("--map", "mat", text="1000 Hz contradicts the data set 'Time'")
        with h5py.File(self.folder / "in.h5", "r+") as file:
            file["fs"][...] = 500
            times[[10, 11]] = times[[11, 10]]
            file["Time"][...] = times.reshape(file["Time"].shape)
        self.refuse("--map", "mat", text="500 Hz contradicts the data set 'Time': by it row")

    def test_what_is_no_time_is_a_set_whatever_its_name(self):
        with self.make_mat() as file:
            self.add_array(file, "eeg", np.zeros((50, 2)))
            self.add_array(file, "fs", np.array([[100.0]]))
            self.add_array(file, "t", np.sin(np.arange(50.0)))
        self.take("--map", "mat")
        with self.read() as file:
            self.assertEqual(list(file["Signals"]), ["eeg", "t"])

    def test_attributes_of_scale_and_missing_samples_are_told(self):
        with self.make_mat() as file:
            self.add_array(file, "eeg", np.zeros((20, 2))).attrs["scale_factor"] = 0.5
            file["eeg"].attrs["_FillValue"] = np.int16(-9999)
        for words in (["--map", "mat", "--rate", "10"], ["--time-axis", "-1", "--rate", "10"]):
            self.assertIn("warning: in.h5: eeg: its samples are taken as they are stored, and its "
                          "attributes say otherwise: scale_factor = 0.5, _FillValue = -9999 "
                          "(--map FILE.yaml with scale and offset takes them so)\n",
                          self.take(*words, "--force").stderr)

    def test_letters_are_no_numbers(self):
        with self.make_mat() as file:
            self.add_array(file, "eeg", np.zeros((20, 2)))
            for name, text in (("fs", "9"), ("t0", "1"), ("t", "0123456789" * 2)):
                self.add_text(file, name, text)
        refused = "the data set '{}' holds texts (wanted: numbers)"
        self.refuse("--map", "mat", text=refused.format("fs"))
        self.refuse("--map", "mat", "--variable", "times=t", text=refused.format("t"))
        self.take("--map", "mat", "--rate", "9")

    def test_names_that_are_no_texts_are_refused(self):
        def with_nothing(file):
            made = file.create_dataset("names", (2, 1), h5py.ref_dtype)
            made[0, 0] = self.add_text(file, "#refs#/x", "X").ref

        def with_number(file):
            made = file.create_dataset("names", (2, 1), h5py.ref_dtype)
            made[:, 0] = [self.add_array(file, "#refs#/x", np.array([1.0])).ref] * 2

        def with_group(file):
            made = file.create_dataset("names", (2, 1), h5py.ref_dtype)
            made[:, 0] = [file.create_group("#refs#").ref] * 2

        def with_itself(file):
            made = file.create_dataset("names", (2, 1), h5py.ref_dtype)
            made[:, 0] = [made.ref] * 2

        def with_matrix(file):
            file["names"] = np.full((2, 3), 65, "u2")

        def with_numbers(file):
            self.add_array(file, "names", np.array([1.0, 2.0]))

        for add, text in ((with_nothing, "cell 2 of the data set 'names' holds no text"),
                          (with_number, "cell 1 of the data set 'names' holds no text"),
                          (with_group, "cell 1 of the data set 'names' holds no text"),
                          (with_itself, "cell 1 of the data set 'names' holds no text"),
                          (with_matrix, "the data set 'names' holds no texts"),
                          (with_numbers, "the data set 'names' holds no texts")):
            with self.subTest(add.__name__):
                with self.make_mat() as file:
                    self.add_array(file, "eeg", np.zeros((5, 2)))
                    self.add_array(file, "fs", np.array([[10.0]]))
                    add(file)
                self.refuse("--map", "mat", "--variable", "data=eeg", "--variable", "names=names",
                            text=["in.h5: ", text])


class Arrays(MappedImport):
    def test_time_runs_along_an_axis(self):
        data = RANDOM.integers(-500, 500, (40, 6)).astype(">i4")
        with self.make() as file:
            file["a/x"] = data
            file["a/line"] = data[:, 0]
            file["flat"] = data.reshape(40, 1, 6, 1)
            file["b"] = "text"
        self.take("--time-axis", "0", "--rate", "7.5")
        self.assert_set("Signals/a/x", data.T.astype("f4"), 7.5)
        self.assert_set("Signals/a/line", data[:, :1].T.astype("f4"), 7.5)
        self.assert_set("Signals/flat", data.T.astype("f4"), 7.5)
        self.take("--time-axis", "-1", "--rate", "7.5", "--force", "--group", "G/H")
        self.assert_set("G/H/a/x", data.astype("f4"), 7.5)
        self.take("--time-axis", "2", "--rate", "7.5", "--force")
        self.assert_set("Signals/flat", data.astype("f4"), 7.5)
        with self.read() as file:
            self.assertEqual(list(file["Signals"]), ["flat"])
        (self.folder / "out.h5").unlink()
        self.refuse("--time-axis", "9", "--rate", "7.5", text="dimension 9 would be time")

    def test_its_own_attributes_are_kept(self):
        data = RANDOM.integers(-500, 500, (40, 3)).astype("f4")
        with self.make() as file:
            made = file.create_dataset("a", data=data)
            made.attrs["Labels"] = ["X", "Y", "Z"]
            made.attrs["Unit"] = "m/s^2"
            made.attrs["SampleRate"] = np.float32(100)
            made.attrs["StartTime"] = 2.5
            other = file.create_dataset("b", data=data)
            other.attrs["Labels"] = ["left", "right"]
            other.attrs["Unit"] = 5
        result = self.take("--time-axis", "0", "--rate", "100.003")
        self.assert_set("Signals/a", data.T, 100.003, start=2.5, Labels=["X", "Y", "Z"],
                        Unit="m/s^2")
        self.assert_set("Signals/b", data.T, 100.003)
        self.assertIn("b: left the attribute 'Labels' of 'b', 2 names for 3 components",
                      result.stderr)
        self.assertIn("b: left the attribute 'Unit' of 'b', which holds no texts", result.stderr)

    def test_a_rate_that_contradicts_its_own_is_refused(self):
        with self.make() as file:
            file["a"] = np.zeros((40, 3), "f4")
            file["a"].attrs["SampleRate"] = np.float32(200)
        self.refuse("--time-axis", "0", "--rate", "100", text=(
            "error: in.h5: a: --rate 100 contradicts its SampleRate of 200 Hz\n",
            "--rate 200\n", "talvora-host attributes in.h5::a SampleRate=100 -o FILE.h5\n"))
        self.take("--time-axis", "0", "--rate", "200")

    def test_an_axis_that_cannot_be_time_is_refused(self):
        with self.make() as file:
            file["a"] = np.zeros((3, 806), "f4")
        self.refuse("--time-axis", "0", "--rate", "100", text=(
            "error: in.h5: a: of [3, 806] dimension 0 would be time, and dimension 1 has 268 times "
            "as many samples\n", "--time-axis 1\n", "--map FILE.yaml with time: 0\n"))
        result = self.take("--time-axis", "-1", "--rate", "100")
        self.assertNotIn("warning", result.stderr)

    def test_an_axis_shorter_than_the_other_is_warned_of(self):
        with self.make() as file:
            file["a"] = np.zeros((6, 40), "f4")
        result = self.take("--time-axis", "0", "--rate", "100")
        self.assertIn("warning: in.h5: a: of [6, 40] dimension 0 is taken for time, and dimension "
                      "1 is longer (--time-axis 1 takes that one)\n", result.stderr)

    def test_64_bit_integers_go_by_way_of_doubles(self):
        data = np.array([2**60 + 2**36 + 1, -2**63, 2**63 - 1, 2**53 + 1], "i8")
        with self.make() as file:
            file["a"] = data
        self.take("--time-axis", "0", "--rate", "1")
        self.assert_set("Signals/a", round_once(data.astype("f8"))[None], 1)

    def test_more_than_memory_is_to_hold_goes_in_pieces(self):
        wide = RANDOM.integers(-2**15, 2**15, (70_001, 150)).astype("i2")
        with self.make() as file:
            file.create_dataset("first", data=wide, chunks=(1000, 50), compression="gzip")
            file.create_dataset("last", data=wide.T)
        self.call("import", "in.h5::first", "-o", "out.h5", "--time-axis", "0", "--rate", "7.5")
        self.call("import", "in.h5::last", "-o", "out.h5", "--time-axis", "-1", "--rate", "7.5",
                  "--append", "--group", "More")
        with self.read() as file:
            for path in ("Signals/first", "More/last"):
                np.testing.assert_array_equal(file[path][:, 0, :], wide.T.astype("f4"))

    def test_a_file_larger_than_the_memory_is_imported(self):
        with self.make() as file:
            made = file.create_dataset("a", (2, 30_000_000), "i2", chunks=(2, 100_000),
                                       compression="gzip")
            made[1, 100_000:200_000] = 7
        self.take("--time-axis", "-1", "--rate", "1000", "--read-memory", "400")
        with self.read() as file:
            made = file["Signals/a"]
            self.assertEqual(made.shape, (2, 1, 30_000_000))
            self.assertEqual(made[1, 0, 99_999:200_001].sum(), 700_000)


SETS = """
sets:
  - data: signals/*
    except: [signals/t]
    time: last
    rate: [{attribute: rate}, {dataset: ../info/rate}, 50]
    start: {value: 2}
"""


class MapFiles(MappedImport):
    def test_values_stand_where_the_map_says(self):
        data = RANDOM.integers(-99, 99, (3, 20)).astype("i2")
        with self.make() as file:
            file["signals/x"] = data
            file["signals/x"].attrs["gain"] = np.float32(0.1)
            file["signals/x"].attrs["labels"] = ["X", "Y", "Z"]
            file["signals/x"].attrs["units"] = np.array([b"V", b"V", b"m"])
            file["info/zero"] = np.array([1, 2, 3], "i4")
            file["info/rate"] = np.float32([40])
        self.write("m.yaml", SETS + "    name: x-{name}\n"
                   "    scale: {attribute: gain}\n"
                   "    component_scale: {value: [1, -2, 4]}\n"
                   "    offset: {dataset: /info/zero}\n"
                   "    unit: {attribute: units}\n"
                   "    names: {attribute: labels, of: ../signals/x}\n")
        self.take("--map", "m.yaml")
        scale = np.float64(np.float32(0.1)) * np.array([[1.0], [-2.0], [4.0]])
        expected = round_once(data.astype("f8") * scale + np.array([[1.0], [2.0], [3.0]]))
        self.assert_set("Signals/x-x", expected, 40, 2, Labels=["X", "Y", "Z"],
                        Unit=["V", "V", "m"])

    def test_a_list_of_values_is_one_for_each_component(self):
        with self.make() as file:
            file["x"] = np.ones((3, 4), "i2")
        for scale in ("[10, 100, 1000]", "{value: [10, 100, 1000]}",
                      "[{attribute: gain}, {value: [10, 100, 1000]}]"):
            with self.subTest(scale):
                self.write("m.yaml", f"sets: [{{data: x, time: last, rate: 5, scale: {scale}, "
                                     "unit: [N, V, m], names: [a, b, c]}]\n")
                self.take("--map", "m.yaml", "--force")
                self.assert_set("Signals/x", np.repeat(np.float32([[10], [100], [1000]]), 4, axis=1),
                                5, 0, Labels=["a", "b", "c"], Unit=["N", "V", "m"])
                (self.folder / "out.h5").unlink()
        self.write("m.yaml", "sets: [{data: x, time: last, rate: 5, scale: [10, 100]}]\n")
        self.refuse("--map", "m.yaml", text="the value in the map holds 2 numbers for 3 components of 'x'")
        self.write("m.yaml", "sets: [{data: x, time: last, rate: [5, 10]}]\n")
        self.refuse("--map", "m.yaml", text="the value in the map holds 2 numbers (wanted: one)")

    def test_a_polynomial_is_taken_where_it_is_a_line(self):
        text = SETS + "    polynomial: {attribute: coefficients}\n"
        for coefficients, told in (([0.5, 2.0], None), ([0.5, 2.0, 0.0], None),
                                   ([0.5, 2.0, 1e-9], "is a polynomial of degree 2"),
                                   ([0.0, 1.0, 0.0, 3.0], "is a polynomial of degree 3"),
                                   ([0.5], "is a constant"), ([0.5, np.nan], "is nan")):
            with self.subTest(coefficients):
                data = RANDOM.integers(-99, 99, 20).astype("i2")
                with self.make() as file:
                    file["signals/x"] = data
                    file["signals/x"].attrs["coefficients"] = coefficients
                self.write("m.yaml", text)
                if told:
                    self.refuse("--map", "m.yaml", text=told)
                else:
                    self.take("--map", "m.yaml", "--force")
                    self.assert_set("Signals/signals/x", round_once(data * 2.0 + 0.5)[None], 50, 2)
                    (self.folder / "out.h5").unlink()

    def test_what_is_no_scale_and_offset_is_refused(self):
        with self.make() as file:
            file["signals/x"] = np.zeros(5)
            file["table"] = np.zeros(256)
        self.write("m.yaml", SETS + "    refuse: [{attribute: lookup}, {dataset: /table}]\n")
        self.refuse("--map", "m.yaml", text="the samples of 'signals/x' are to be had by the data "
                                            "set 'table', which is no scale and offset")

    def test_two_sets_of_one_name_are_refused(self):
        with self.make() as file:
            file["signals/x"] = np.zeros(5)
            file["signals/y"] = np.zeros(5)
        for name, told in (("same", "'signals/x' and 'signals/y' would both become 'Signals/same'"),
                           ("'{group}'", "would both become 'Signals/signals'"),
                           ("a/./{name}", "'.' cannot be used as a name in a path")):
            self.write("m.yaml", SETS + f"    name: {name}\n")
            self.refuse("--map", "m.yaml", text=told)

    def test_what_is_wrong_with_a_map_is_told_with_its_place(self):
        with self.make() as file:
            file["signals/x"] = np.zeros(5)
        good = "sets:\n  - data: '**'\n    time: last\n    rate: 5\n"
        cases = {
            "": "m.yaml:1:1: the map is empty",
            "- a\n": "m.yaml:1:1: a map has the keys description, variables, sets (this is a list)",
            "sets: []\n": "m.yaml:1:1: the map names no sets",
            "description: x\n": "m.yaml:1:1: the map names no sets",
            "sets: 5\n": "m.yaml:1:7: 'sets' is a list (this is '5')",
            "sets: [5]\n": "m.yaml:1:8: one of the sets is a map of keys to values",
            "set: []\n" + good: "m.yaml:1:1: unknown key 'set' (known: description, variables, sets)",
            good + "    rat: 5\n": "m.yaml:5:5: unknown key 'rat'",
            good + "   x: 5\n": "m.yaml:5:4: no YAML",
            good + "\tx: 5\n": "m.yaml:5:1: a tab",
            good + "    rate: 6\n": "m.yaml:5:5: the key 'rate' is repeated",
            good.replace("last", "middle"): "m.yaml:3:11: 'time': 'middle' (allowed: first, last",
            good.replace("last", "99"): "m.yaml:3:11: 'time': '99'",
            good.replace("    time: last\n", ""): "m.yaml:2:5: the sets have no 'time'",
            good.replace("data: '**'", "order: rows"): "m.yaml:2:5: the sets have no 'data'",
            good.replace("5", "fast"): "m.yaml:4:11: 'fast' is no number",
            good.replace("5", "nan"): "m.yaml:4:11: 'nan' is no number",
            good.replace("5", "{attribute: a, dataset: b}"): "m.yaml:4:11: a place is one of",
            good.replace("5", "{of: b}"): "m.yaml:4:11: a place is one of",
            good.replace("5", "{attribut: b}"): "m.yaml:4:12: unknown key 'attribut'",
            good.replace("5", "${x}"): "m.yaml:4:11: no variable 'x' (the map has none)",
            good + "    order: up\n": "m.yaml:5:12: 'order': 'up' (allowed: rows, columns)",
            good + "    name: '{x}'\n": "m.yaml:5:11: 'name': '{x}' (allowed in braces",
            good + "    where: {attribute: x}\n": "m.yaml:5:12: 'where' needs both",
            good + "    refuse: 5\n": "m.yaml:5:13: a place is one of",
            good + "    scale: [2, {attribute: a}]\n": "m.yaml:5:16: a value in front of it is "
                                                       "always there",
            good + "    names: [[a, b], c]\n": "m.yaml:5:21: a value in front of it is always there",
            good + "    scale: 2\n    polynomial: [1]\n": "m.yaml:6:5: 'polynomial' stands in place",
            "variables: {y: 5}\n" + good: "m.yaml:1:13: variable 'y' is not used",
            "variables: {y: ~}\n" + good.replace("5", "${y}"): "variable 'y' has no value",
        }
        for text, told in cases.items():
            with self.subTest(text):
                self.write("m.yaml", text)
                self.refuse("--map", "m.yaml", code=2, text=told)
        self.write("m.yaml", good)
        self.refuse("--map", "m.yaml", "--variable", "z=5", code=2,
                    text="error: --variable z: no variable of that name (the map has none)")
        self.refuse("--map", "mat", "--variable", "rat=5", code=2, text="did you mean 'rate'?")
        self.refuse("--map", "mad", text="--map mad: no such file, and no map of that name (known: "
                                         "mat, nwb)")
        self.refuse("--map", ".", text="a folder, no map")

    def test_options_that_do_not_go_together_are_refused(self):
        with self.make() as file:
            file["x"] = np.zeros(5)
        for words, told in (
                (["--map", "nwb", "--set", "A=x"], "--map and --time-axis go with HDF5 files"),
                (["--map", "nwb", "--time", "t"], "--map and --time-axis go with HDF5 files"),
                (["--variable", "a=b"], "--variable goes with --map"),
                (["--time-axis", "0"], "--time-axis needs the sample rate"),
                (["--time-axis", "0", "--rate", "0"], "--rate 0: a sample rate"),
                (["--time-axis", "0", "--rate", "nan"], "--rate nan: a sample rate"),
                (["--time-axis", "0", "--rate", "5", "--grid", "linear"], "--grid needs times"),
                (["--time-axis", "99", "--rate", "5"], "--time-axis"),
                (["--map", "nwb", "--time-axis", "0"], "--map excludes --time-axis")):
            with self.subTest(words):
                self.refuse(*words, code=2, text=told)
        self.take(code=3)


class Files(MappedImport):
    def setUp(self):
        super().setUp()
        with self.make() as file:
            add_series(file, "a", RANDOM.standard_normal((500, 2)), 100.0)

    def test_the_same_input_gives_the_same_bytes(self):
        self.take("--map", "nwb")
        first = (self.folder / "out.h5").read_bytes()
        before = (self.folder / "in.h5").stat().st_mtime_ns
        self.take("--map", "nwb", "--force")
        self.assertEqual((self.folder / "out.h5").read_bytes(), first)
        self.assertEqual((self.folder / "in.h5").stat().st_mtime_ns, before)

    def test_what_is_there_is_kept_without_force(self):
        self.write("out.h5", "kept")
        self.take("--map", "nwb", code=5)
        self.assertEqual((self.folder / "out.h5").read_text(), "kept")
        self.call("import", "in.h5", "-o", "in.h5", "--map", "nwb", "--force", code=2)
        self.write("m.yaml", SETS)
        self.call("import", "in.h5", "-o", "m.yaml", "--map", "m.yaml", "--force", code=2)
        self.assertEqual((self.folder / "m.yaml").read_text(), SETS)

    def test_a_group_is_added(self):
        self.take("--map", "nwb")
        self.take("--map", "nwb", "--append", "--group", "More")
        with self.read() as file:
            np.testing.assert_array_equal(file["More/a"][...], file["Signals/a"][...])
        before = (self.folder / "out.h5").read_bytes()
        self.take("--map", "nwb", "--append", "--group", "More", code=5)
        self.assertEqual((self.folder / "out.h5").read_bytes(), before)

    def test_the_import_is_recorded(self):
        self.write("m.yaml", "sets: [{data: '**/data', time: first, rate: 5}]\n")
        self.call("import", "in.h5::a", "-o", "out.h5", "--map", "./m.yaml", "--grid", "nearest")
        self.take("--map", "mat", "--variable", "data=a/data", "--rate", "5", "--append",
                  "--group", "B", code=3)
        imports = json.loads(self.call("history", "out.h5", "--json").stdout)["imports"]
        digest = {name: hashlib.sha256((self.folder / name).read_bytes()).hexdigest()
                  for name in ("in.h5", "m.yaml")}
        self.assertEqual(len(imports), 1)
        self.assertEqual(imports[0]["arguments"],
                         ["--group", "Signals", "--map", "m.yaml", "--grid", "nearest"])
        self.assertEqual(imports[0]["input"]["name"], "in.h5::a")
        self.assertEqual(imports[0]["input"]["sha256"], digest["in.h5"])
        self.assertEqual(imports[0]["map"]["sha256"], digest["m.yaml"])
        self.assertIn("talvora-host import in.h5::a -o FILE.h5 --group Signals --map m.yaml "
                      "--grid nearest", self.call("history", "out.h5").stdout)

    def test_units_take_what_came_in(self):
        self.take("--map", "nwb")
        self.call("run", "apply-set-butterworth", "SourceSets=Signals/a", "CutoffFrequency=10",
                  "Order=4", "out.h5", "-o", "smooth.h5")

    def test_other_files_are_told_as_what_they_are(self):
        self.write("table.csv", "t,x\n0,1\n1,2\n")
        result = self.call("import", "table.csv", "-o", "out.h5", "--map", "nwb", code=3)
        self.assertIn("it is not an HDF5 file", result.stderr)
        result = self.call("import", "in.h5", "-o", "out.h5", code=3)
        self.assertIn("--map NAME", result.stderr)
        self.assertFalse((self.folder / "out.h5").exists())


if __name__ == "__main__":
    host_test.main()
