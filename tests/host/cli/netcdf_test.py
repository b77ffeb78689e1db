"""Files of the netCDF library, which it opens again when talvora-host has worked on them.

    netcdf_test.py TALVORA_HOST PLUGIN
"""

import netCDF4
import numpy as np

import host_test

FILL = ["run", "apply-set-fill-gap", "SourceSets=acc", "MaxGapLength=5"]


class Netcdf(host_test.HostTest):
    def make_file(self, samples, name="in.nc"):
        with netCDF4.Dataset(self.folder / name, "w") as file:
            for dimension, length in zip(("axis", "one", "time"), samples.shape):
                file.createDimension(dimension, length)
            acceleration = file.createVariable("acc", "f4", ("axis", "one", "time"))
            acceleration.SampleRate = 100.0
            acceleration[:] = samples

    def expect(self, expected, name):
        with netCDF4.Dataset(self.folder / name) as file:
            np.testing.assert_array_equal(file["acc"][:], expected)
            return set(file["acc"].ncattrs())

    def test_units_leave_a_file_of_netcdf(self):
        samples = np.arange(-60, 60, dtype="f4").reshape(2, 1, 60)
        self.make_file(samples)
        self.call("run", "apply-set-rectify", "SourceSets=acc", "in.nc", "-o", "out.nc")
        self.expect(abs(samples), "out.nc")
        self.call("run", "apply-set-baseline-offset", "SourceSets=acc", "in.nc", "-o", "off.nc")
        self.expect(samples - np.median(samples[..., :10], axis=-1, keepdims=True), "off.nc")
        result = self.call("run", "average-set", "SourceGroup=/", "NamesFilter=acc",
                           "DestinationGroup=Mean", "in.nc", "-o", "mean.nc")
        self.assertNotIn("not copied", result.stderr)
        with netCDF4.Dataset(self.folder / "mean.nc") as file:
            np.testing.assert_array_equal(file["Mean/acc"][:].ravel(), [-30.5, 29.5])
        (self.folder / "more.csv").write_text("t,x\n0,1\n0.01,2\n")
        self.call("import", "more.csv", "--append", "-o", "mean.nc", "--group", "More/Imu")
        with netCDF4.Dataset(self.folder / "mean.nc", "a") as file:
            file.note = "checked"
            np.testing.assert_array_equal(file["More/Imu/x"][:].ravel(), [1, 2])

    # The positions of the gaps that were filled are pairs, with which no program of netCDF opens
    # the file.
    def test_an_attribute_that_netcdf_cannot_read_is_refused(self):
        samples = np.arange(120, dtype="f4").reshape(2, 1, 60)
        gaps = samples.copy()
        gaps[0, 0, 10:13] = gaps[1, 0, 30] = np.nan
        self.make_file(gaps)
        before = (self.folder / "in.nc").read_bytes()
        for words in (["-o", "out.nc"], ["--in-place"]):
            result = self.call(*FILL, "in.nc", *words, code=1)
            self.assertIn("netcdf-attribute: acc: its attribute 'FillGapSamplesFilled' has 2 "
                          "dimensions, and the file is netCDF: programs of netCDF open none with "
                          "such an attribute of numbers", result.stderr)
            self.assertIn("talvora-host attributes FILE.h5::acc --remove FillGapSamplesFilled",
                          result.stderr)
            self.assertEqual((self.folder / "in.nc").read_bytes(), before)
        self.assertFalse((self.folder / "out.nc").exists())
        self.call(*FILL, "in.nc", "-o", "out.nc", "--accept", "netcdf-attribute")
        with self.assertRaises(RuntimeError):
            netCDF4.Dataset(self.folder / "out.nc")
        self.call("attributes", "out.nc::acc", "--remove", "FillGapSamplesFilled", "--in-place")
        self.assertEqual(self.expect(samples, "out.nc"),
                         {"SampleRate", "FillGapType", "FillGapMaxGapLength",
                          "FillGapMaxGapLengthHint"})

    # netCDF takes no mark of another type than the samples have.
    def test_marks_of_missing_samples_are_narrowed_with_them(self):
        for dtype, mark in (("f8", -99.9), ("i2", -999), ("f4", -99.9)):
            with self.subTest(dtype):
                with netCDF4.Dataset(self.folder / "in.nc", "w") as file:
                    file.createDimension("time", 20)
                    made = file.createVariable("acc", dtype, ("time",), fill_value=mark)
                    made.setncattr("missing_value", np.array(mark, dtype))
                    made.SampleRate = 100.0
                    made[:] = np.ma.masked_equal(np.arange(20), 7)
                self.call("run", "apply-set-rectify", "SourceSets=acc", "in.nc", "-o", "other.nc",
                          "--force")
                with netCDF4.Dataset(self.folder / "other.nc") as file:
                    made = file["acc"]
                    self.assertEqual((made._FillValue.dtype, made.missing_value.dtype),
                                     (np.float32, np.float32))
                    self.assertEqual(made._FillValue, np.float32(mark))

    # netCDF shows them masked, though no attribute tells of them.
    def test_samples_that_were_never_written_are_told(self):
        samples = np.ma.masked_equal(np.arange(60, dtype="f4").reshape(1, 1, 60), 7)
        self.make_file(samples)
        result = self.call("--quiet", "run", "apply-set-opposite", "SourceSets=acc", "in.nc",
                           "-o", "out.nc")
        self.assertIn("warning: in.nc: apply-set-opposite: acc: 1 of 60 samples are 9.96921e+36, by "
                      "which netCDF marks what was never written; they are taken as they are",
                      result.stderr)
        result = self.call("import", "in.nc::acc", "--time-axis", "-1", "--rate", "100",
                           "-o", "out.h5")
        self.assertIn("warning: in.nc: Signals/acc: 1 of 60 samples are 9.96921e+36, by which netCDF ",
                      result.stderr)

    def test_exports_and_pictures_tell_of_packed_samples(self):
        with netCDF4.Dataset(self.folder / "in.nc", "w") as file:
            file.createDimension("time", 20)
            made = file.createVariable("acc", "i2", ("time",), fill_value=-999)
            made.scale_factor = 0.01
            made[:] = np.arange(20) * 0.01
        for command in (("export", "in.nc::acc", "-o", "out.csv"),
                        ("export", "--tidy", "in.nc::acc", "-o", "tidy.csv"),
                        ("plot", "in.nc::acc", "-o", "out.svg"),
                        ("plot", "in.nc::acc", "--with", "in.nc", "-o", "both.svg")):
            with self.subTest(command):
                result = self.call("--quiet", *command)
                self.assertEqual(result.stderr, (
                    "warning: in.nc: acc: its samples are taken as they are stored, and its "
                    "attributes say otherwise: scale_factor = 0.01, _FillValue = -999\n"
                    * (1 + ("--with" in command))))


if __name__ == "__main__":
    host_test.main()
