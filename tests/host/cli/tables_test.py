"""Compares tables that talvora-host reads and writes with what NumPy and h5py make of them.

    tables_test.py TALVORA_HOST PLUGIN
"""

import csv

import h5py
import numpy as np

import host_test


class Grids(host_test.HostTest):
    def setUp(self):
        super().setUp()
        random = np.random.default_rng(7)
        self.times = np.round(np.cumsum(random.uniform(0.002, 0.018, 2000)), 6)
        self.values = np.float32(np.cumsum(random.normal(size=2000)))
        with open(self.folder / "rows.csv", "w", encoding="utf-8") as file:
            file.write("t,X\n")
            file.writelines(f"{time},{value}\n" for time, value in zip(self.times, self.values))

    def read(self):
        with h5py.File(self.folder / "rows.h5") as file:
            signal = file["Signals/X"]
            start = signal.attrs["StartTime"]
            self.assertEqual(start.dtype, np.float64)
            grid = start + np.arange(signal.shape[-1]) / np.float64(signal.attrs["SampleRate"])
            return grid, signal[0, 0]

    def test_rows_are_refused_as_they_are(self):
        self.call("import", "rows.csv", "-o", "rows.h5", code=3)

    def test_linear_is_what_numpy_interpolates(self):
        self.call("import", "rows.csv", "-o", "rows.h5", "--grid", "linear", "--rate", "128",
                  "--max-gap", "100")
        grid, made = self.read()
        expected = np.interp(grid, self.times, self.values.astype(np.float64))
        self.assertEqual(grid.size, int((self.times[-1] - self.times[0]) * 128) + 1)
        np.testing.assert_allclose(made, expected, rtol=1e-5, atol=1e-4)

    def test_linear_leaves_wide_gaps(self):
        self.call("import", "rows.csv", "-o", "rows.h5", "--grid", "linear", "--rate", "128")
        grid, made = self.read()
        row = np.searchsorted(self.times, grid, side="right") - 1
        behind = np.minimum(row + 1, self.times.size - 1)
        is_far = (self.times[behind] - self.times[row]) * 128 > 1.5
        np.testing.assert_array_equal(np.isnan(made), is_far & (grid != self.times[row]))

    def test_nearest_takes_the_nearest_row(self):
        self.call("import", "rows.csv", "-o", "rows.h5", "--grid", "nearest", "--rate", "128")
        grid, made = self.read()
        places = np.rint((self.times - self.times[0]) * 128).astype(int)
        expected = np.full(grid.size, np.nan, np.float32)
        distance = np.abs(self.times - grid[places])
        for row in np.argsort(-distance):
            expected[places[row]] = self.values[row]
        np.testing.assert_array_equal(made, expected)


class Tidy(host_test.HostTest):
    def make(self, name, seed):
        random = np.random.default_rng(seed)
        with h5py.File(self.folder / name, "w") as file:
            rate = file.create_dataset("Imu/Rate", data=np.float32(random.normal(size=(2, 1, 5))))
            rate.attrs["SampleRate"] = np.float32(50)
            rate.attrs["StartTime"] = 1700000000.5
            rate.attrs["Labels"] = ["X", "Y"]
            rate.attrs["Unit"] = "deg/s"
            rate[1, 0, 2] = np.nan
            means = file.create_dataset("Means/All", data=np.float32(random.normal(size=(2, 3, 1))))
            means.attrs["Labels"] = ["left", "right", "=both, \"really\""]
            return {"Imu/Rate": rate[...], "Means/All": means[...]}

    def read(self, name="all.csv"):
        with open(self.folder / name, encoding="utf-8", newline="") as file:
            return list(csv.DictReader(file))

    def test_has_a_row_for_each_value_of_all_files(self):
        made = {name: self.make(name, seed) for seed, name in enumerate(("a2.h5", "a10.h5"))}
        self.call("export", "a*.h5", "--tidy", "-o", "all.csv")
        rows = self.read()
        self.assertEqual(list(rows[0]), ["file", "set", "component", "label", "unit", "sample",
                                         "time", "value"])
        self.assertEqual(len(rows), 2 * (10 + 6))
        self.assertEqual([row["file"] for row in rows], ["a2.h5"] * 16 + ["a10.h5"] * 16)
        labels = ["left", "right", "=both, \"really\""]
        for row in rows:
            samples = made[row["file"]][row["set"]]
            if row["set"] == "Imu/Rate":
                expected = samples["XY".index(row["component"]), 0, int(row["sample"])]
                self.assertEqual((row["label"], row["unit"]), ("", "deg/s"))
                self.assertEqual(float(row["time"]), 1700000000.5 + int(row["sample"]) / 50)
            else:
                expected = samples[int(row["component"]), labels.index(row["label"]), 0]
                self.assertEqual((row["unit"], row["sample"], row["time"]), ("", "0", ""))
            if np.isnan(expected):
                self.assertEqual(row["value"], "")
            else:
                self.assertEqual(np.float32(row["value"]), expected)

    def test_parts_the_rows_of_labelled_components_by_further_dimensions(self):
        with h5py.File(self.folder / "a.h5", "w") as file:
            for name, extents in (("three", (2, 3, 2)), ("four", (2, 3, 2, 2))):
                samples = np.arange(np.prod(extents), dtype=np.float32).reshape(extents)
                file.create_dataset(name, data=samples).attrs["Labels"] = ["X", "Y"]
        self.call("export", "a.h5", "--tidy", "-o", "all.csv")
        found = {(row["set"], row["component"], row["label"], row["sample"]): float(row["value"])
                 for row in self.read()}
        expected = {("three", f"{'XY'[i]}/{j}", "", str(k)): float(6 * i + 2 * j + k)
                    for i in range(2) for j in range(3) for k in range(2)}
        expected |= {("four", f"{'XY'[i]}/{j}/{k}", "", str(n)): float(12 * i + 4 * j + 2 * k + n)
                     for i in range(2) for j in range(3) for k in range(2) for n in range(2)}
        self.assertEqual(found, expected)

    def test_takes_a_pattern_of_files_with_one_of_sets(self):
        (self.folder / "results").mkdir()
        for name in ("results/a.h5", "results/b.h5", "results/.hidden.h5"):
            self.make(name, 1)
        result = self.call("export", "resul*/*.h5::Means/**", "--tidy", "-o", "all.csv")
        self.assertEqual(result.stdout, "all.csv: 12 rows of 2 files\n")
        self.assertEqual({(row["file"], row["set"]) for row in self.read()},
                         {("results/a.h5", "Means/All"), ("results/b.h5", "Means/All")})

    def test_names_each_set_once(self):
        self.make("a.h5", 1)
        result = self.call("export", "a.h5::Means/All", "a.h5::Means", "a.h5", "--tidy", "-o",
                           "all.csv")
        self.assertEqual(result.stdout, "all.csv: 16 rows of 1 file\n")

    def test_keeps_formulas_out_when_asked(self):
        self.make("a.h5", 1)
        self.call("export", "a.h5::Means", "--tidy", "--no-formulas", "-o", "all.csv")
        self.assertIn("'=both, \"really\"", {row["label"] for row in self.read()})

    def test_several_files_need_it(self):
        for name in ("a.h5", "b.h5"):
            self.make(name, 1)
        result = self.call("export", "a.h5::Imu", "b.h5::Imu", "-o", "all.csv", code=2)
        self.assertEqual(result.stderr.splitlines(),
                         ["error: 2 files share no column of times (first: a.h5, b.h5)",
                          "hint: --tidy writes them with a row for each value, and its file in "
                          "front"])
        self.assertFalse((self.folder / "all.csv").exists())

    def test_one_bad_file_leaves_the_output_as_it_was(self):
        self.make("a.h5", 1)
        (self.folder / "b.h5").write_bytes(b"no data sets here")
        (self.folder / "all.csv").write_text("mine", encoding="utf-8")
        result = self.call("export", "*.h5", "--tidy", "--force", "-o", "all.csv", code=3)
        self.assertIn("error: cannot open the file 'b.h5': ", result.stderr)
        self.assertEqual((self.folder / "all.csv").read_text(encoding="utf-8"), "mine")
        result = self.call("export", "x*.h5", "--tidy", "-o", "none.csv", code=3)
        self.assertIn("error: no file matches 'x*.h5'", result.stderr)

    def test_writes_csv_alone(self):
        self.make("a.h5", 1)
        for ending in (".parquet", ".xlsx", ".mat", ".npy", ".XLSX"):
            result = self.call("export", "a.h5", "--tidy", "-o", "all" + ending, code=2)
            self.assertEqual(result.stderr, f"error: -o all{ending}: export writes CSV, no "
                                            f"{ending.lower()} (allowed: a name such as all.csv)\n")


if __name__ == "__main__":
    host_test.main()
