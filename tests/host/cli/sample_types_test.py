"""Works with talvora-host on data sets of every real type, as h5py writes them.

    sample_types_test.py TALVORA_HOST PLUGIN

What is expected of samples is NumPy's conversion, and SciPy's filter.
"""

import csv
import ctypes
import json
import os

import h5py
import numpy as np
from scipy import signal

import host_test

NAMES = ["float16", "float32", "float64", "int8", "int16", "int32", "int64", "uint8", "uint16",
         "uint32", "uint64"]
TYPES = [np.dtype(name).newbyteorder(order) for name in NAMES for order in "<>"]
TYPES = list(dict.fromkeys(TYPES))  # of one byte there is no order
BINARY_16 = np.arange(1 << 16, dtype=np.uint16).view(np.float16)


def make_samples(dtype):
    """Samples of all sizes, those at the limits, those between two floats; [3, 1, n]."""
    random = np.random.default_rng(7)
    if dtype.kind == "f":
        if dtype.itemsize == 2:
            values = BINARY_16
        else:
            values = random.standard_normal(3000) * 10.0 ** random.integers(-44, 38, 3000)
            largest = np.finfo(np.float32).max.astype(np.float64)
            values[:8] = [0.0, -0.0, np.nan, np.inf, -np.inf, largest, -largest, 1e-45]
            if dtype.itemsize == 8:  # the last double that does not become infinite
                values[8] = np.nextafter(largest * (1 + 2.0**-25), 0)
                values[9] = 1 + 2.0**-24  # between two floats
                values[10] = 1 + 3 * 2.0**-24
    else:
        limits = np.iinfo(dtype)
        bits = 8 * dtype.itemsize
        values = random.integers(limits.min, limits.max, 3000, dtype=dtype.newbyteorder("="),
                                 endpoint=True)
        values >>= random.integers(0, bits, 3000, dtype=values.dtype)
        values[:3] = [limits.min, limits.max, 0]
        if bits == 64:  # right when rounded once, wrong by way of a double
            values[3:5] = [2**60 + 2**36 + 1, 2**60 + 3 * 2**36 - 1]
    count = values.size // 3 * 3
    return values[:count].reshape(3, 1, -1).astype(dtype)


def as_floats(samples):
    return samples.astype(np.float32)


def add_set(file, path, samples, rate=100.0, **options):
    made = file.create_dataset(path, data=samples, **options)
    made.attrs["SampleRate"] = np.float32(rate)
    return made


class SampleTypes(host_test.HostTest):
    def opposite(self, *words, code=0):
        """A unit that changes the sign alone, on the sets of the group Imu."""
        return self.call("run", "apply-set-opposite", "SourceGroup=Imu", "in.h5",
                         *(words or ("-o", "out.h5")), code=code)

    def assert_same_floats(self, given, expected):
        self.assertEqual(given.dtype, np.dtype("<f4"))
        np.testing.assert_array_equal(given, expected)  # in which NaN equals NaN
        there = ~np.isnan(expected)
        np.testing.assert_array_equal(np.signbit(given[there]), np.signbit(expected[there]))


class Runs(SampleTypes):
    def test_every_type_becomes_the_nearest_floats(self):
        with self.make() as file:
            for dtype in TYPES:
                add_set(file, f"Imu/{dtype.str[1:]}-{dtype.str[0] == '>'}", make_samples(dtype))
        self.opposite()
        with self.make("again.h5"), self.read() as file, self.read("in.h5") as before:
            self.assertEqual(len(file["Imu"]), len(TYPES))
            for name in file["Imu"]:
                with self.subTest(name):
                    samples = before["Imu"][name]
                    self.assertEqual(samples.dtype.str[1:], name.split("-")[0])
                    self.assert_same_floats(-file["Imu"][name][...], as_floats(samples[...]))
                    self.assertEqual(file["Imu"][name].attrs["SampleRate"], 100)

    def test_each_set_that_is_narrowed_is_told(self):
        with self.make() as file:
            add_set(file, "Imu/Halves", np.float16([1, 2]))
            add_set(file, "Imu/Rate", np.float64([1 + 2.0**-25, -2, np.nan, np.inf]))
            add_set(file, "Imu/Single", np.float32([1, 2]))
            add_set(file, "Imu/Small", np.int16([1, -2]))
            add_set(file, "Imu/Zeros", np.zeros(4))
            add_set(file, "Other/Kept", np.float64([1, 2]))
        self.assertEqual(
            self.opposite().stderr,
            "info: in.h5: Imu/Halves: 16-bit floats, 32-bit in the result; no sample is changed by "
            "that\n"
            "info: in.h5: Imu/Rate: 64-bit floats, 32-bit in the result; largest change 1.5e-08 of "
            "the largest sample, 9.9e-09 of the range\n"
            "info: in.h5: Imu/Small: 16-bit integers, 32-bit floats in the result; no sample is "
            "changed by that\n"
            "info: in.h5: Imu/Zeros: 64-bit floats, 32-bit in the result; no sample is changed by "
            "that\n")

    # Floats of that size are 128 apart, the samples a thousand; they are refused where they are
    # changed and where they are read alone.
    def test_a_small_signal_on_a_large_offset_is_refused(self):
        samples = 2e9 + np.arange(1000).reshape(1, 1, -1)
        for dtype in ("f8", "i4"):
            with self.make() as file:
                add_set(file, "Imu/X", samples.astype(dtype))
            for step in (["apply-set-opposite", "SourceGroup=Imu"],
                         ["average-set", "SourceGroup=Imu", "DestinationGroup=Means"]):
                words = ["run", *step, "in.h5", "-o", "out.h5", "--force"]
                errors = self.call(*words, code=1).stderr
                self.assertIn(f"error: in.h5: {step[0]}: narrowing: Imu/X: is of ", errors)
                self.assertIn(" between 2e+09 and 2.000001e+09; as 32-bit floats they change by up "
                              "to 64, 6.4e-02 of that range\nhint: subtract an offset before",
                              errors)
                self.assertFalse((self.folder / "out.h5").exists())
                self.call(*words, "--accept", "narrowing,mean-off")
                (self.folder / "out.h5").unlink()

    # Floats of that size are 2 apart; the component beside it goes far and loses nothing.
    def test_a_component_that_varies_little_is_not_hidden_by_another(self):
        samples = np.zeros((3, 1, 1000))
        samples[0, 0] = 2.0**20 * np.arange(1000)
        samples[1, 0] = 2.0**24 + np.arange(1000) % 3
        for dtype in ("f8", "i4", "i8", "u8"):
            with self.make() as file:
                add_set(file, "Imu/X", samples.astype(dtype))
            for step in (["apply-set-opposite", "SourceGroup=Imu"],
                         ["average-set", "SourceGroup=Imu", "DestinationGroup=Means"]):
                words = ["run", *step, "in.h5", "-o", "out.h5", "--force"]
                self.assertIn(", which in its line [1, 0, :] lie between 16777216 and 16777218; as "
                              "32-bit floats they change by up to 1, 5.0e-01 of that range\n",
                              self.call(*words, code=1).stderr)
        words = ["run", "apply-set-opposite", "SourceGroup=Imu", "in.h5", "-o", "out.h5"]
        self.assertIn("largest change 9.5e-10 of the largest sample, 5.0e-01 of the range\n",
                      self.call(*words, "--accept", "narrowing").stderr)

    # Floats are 0.5 apart from 2^22 to 2^23.
    def test_a_filter_of_integers_where_floats_are_far_apart_is_refused(self):
        wave = np.round(8 * np.sin(np.arange(2000) / 50)).reshape(1, 1, -1)
        with self.make() as file:
            add_set(file, "Imu/X", (8_000_000 + wave).astype("i4"))
            add_set(file, "Imu/Y", (16_000 + wave).astype("i2"))
        words = ["SourceSets=Imu/X", "CutoffFrequency=5", "Order=4", "in.h5", "-o", "out.h5"]
        errors = self.call("run", "apply-set-butterworth", *words, code=1).stderr
        self.assertRegex(errors, "narrowing: Imu/X: is of 32-bit integers; what the filter makes "
                         r"of them lies in its line \[0, 0, :\] between 7999992(.5)? and 8000008, "
                         r"where 32-bit floats are 0.5 apart, 3.\de-02 of that range\nhint: take "
                         "the offset off before")
        self.call("run", "apply-set-butterworth", *words, "--accept", "narrowing")
        self.call("run", "apply-set-opposite", *words[:1], *words[3:], "--force")
        self.call("run", "apply-set-butterworth", "SourceSets=Imu/Y", *words[1:], "--force")
        self.call("run", "apply-set-baseline-offset", words[0], "in.h5", "-o", "level.h5")
        self.call("run", "apply-set-butterworth", *words[:3], "level.h5", "-o", "out.h5", "--force")

    def test_the_change_is_that_of_the_samples_before(self):
        for dtype in ("f8", "i4", "i8", "u8"):
            samples = np.random.default_rng(1).standard_normal((3, 1, 5000)) * 1e8
            samples = (np.abs(samples) if dtype == "u8" else samples).astype(dtype)
            exact = samples.astype(np.longdouble)
            change = np.abs(exact - as_floats(samples)).max() / np.abs(exact).max()
            with self.make() as file:
                add_set(file, "Imu/X", samples)
            self.assertIn(f"largest change {change:.1e} of the largest sample",
                          self.opposite("-o", "out.h5", "--force").stderr)

    def test_a_sample_beyond_all_floats_is_refused(self):
        for value, shown in ((1e300, "1e+300"), (-3.4028235677973366e38, "-3.4028235677973366e+38")):
            samples = np.zeros((3, 2, 400_000))
            samples[2, 1, 399_998] = value
            with self.make() as file:
                add_set(file, "Imu/X", samples)
            errors = self.opposite(code=3).stderr
            self.assertEqual(
                errors.splitlines()[-1],
                f"error: in.h5: 'Imu/X' holds {shown} at [2, 1, 399998], which no 32-bit float can "
                "hold (allowed: -3.4028235e+38 to 3.4028235e+38)")
            self.assertFalse((self.folder / "out.h5").exists())

    def test_what_no_step_writes_keeps_its_bytes(self):
        random = np.random.default_rng(3)
        with self.make() as file:
            add_set(file, "Imu/Written", random.standard_normal((2, 1, 500)))
            for dtype in TYPES:
                add_set(file, f"Kept/{dtype.str[1:]}{dtype.str[0] == '>'}", make_samples(dtype),
                        chunks=(1, 1, 100), compression="gzip")
            file["Kept/flags"] = np.array([True, False])
        self.opposite()
        with self.read("in.h5") as before, self.read() as after:
            for name, kept in before["Kept"].items():
                result = after["Kept"][name]
                self.assertEqual(result.dtype, kept.dtype)
                if kept.chunks:
                    for i in range(kept.id.get_num_chunks()):
                        place = kept.id.get_chunk_info(i).chunk_offset
                        self.assertEqual(result.id.read_direct_chunk(place),
                                         kept.id.read_direct_chunk(place))

    def test_units_that_only_read_leave_the_type(self):
        samples = np.random.default_rng(5).standard_normal((3, 1, 400))
        with self.make() as file:
            add_set(file, "Imu/X", samples)
        self.call("run", "average-set", "SourceGroup=Imu", "DestinationGroup=Means", "in.h5", "-o",
                  "out.h5")
        with self.read() as file:
            self.assertEqual(file["Imu/X"].dtype, np.float64)
            np.testing.assert_array_equal(file["Imu/X"][...], samples)
            self.assertEqual(file["Means/X"].dtype, np.float32)

    def test_a_set_that_is_resized_becomes_floats(self):
        samples = np.random.default_rng(5).standard_normal((3, 1, 400))
        for options in ({}, {"chunks": (1, 1, 50)}, {"chunks": (3, 1, 400), "maxshape": (3, 1, None)}):
            with self.make() as file:
                add_set(file, "Imu/X", samples, **options)
                file.create_group("Slow").attrs["SampleRate"] = 25.0
            self.call("run", "apply-set-downsample", "SourceGroup=Imu", "HintGroup=Slow", "in.h5",
                      "-o", "out.h5", "--force")
            with self.read() as file:
                self.assert_same_floats(file["Imu/X"][...], as_floats(samples[:, :, ::4]))

    # Larger than the memory for sets: it is written in parts.
    def test_a_set_that_is_written_in_parts_becomes_floats(self):
        samples = np.random.default_rng(5).standard_normal((3, 1, 150_000))
        samples[:, :, 7] = np.nan
        change = np.nanmax(np.abs(samples - as_floats(samples))) / np.nanmax(np.abs(samples))
        for options in ({}, {"chunks": (1, 1, 9000), "compression": "gzip"}):
            with self.make() as file:
                add_set(file, "Imu/X", samples, **options)
            result = self.call("run", "apply-set-fill-gap", "SourceGroup=Imu", "MaxGapLength=1",
                               "in.h5", "-o", "out.h5", "--memory", "1", "--force")
            self.assertIn(f"largest change {change:.1e} of the largest sample", result.stderr)
            with self.read() as file:
                filled = file["Imu/X"][...]
            self.assertFalse(np.isnan(filled).any())
            expected = as_floats(samples)
            expected[:, :, 7] = filled[:, :, 7]
            self.assert_same_floats(filled, expected)

    def test_filtering_is_that_of_the_rounded_samples(self):
        samples = np.cumsum(np.random.default_rng(2).standard_normal((3, 1, 2000)), axis=2)
        with self.make() as file:
            for dtype in ("<f8", ">f8", "<i4", ">i2", "<f2"):
                add_set(file, f"Imu/{dtype[1:]}-{dtype[0] == '>'}", samples.astype(dtype))
        self.call("run", "apply-set-butterworth", "SourceGroup=Imu", "CutoffFrequency=6", "Order=4",
                  "in.h5", "-o", "out.h5")
        correction = (np.sqrt(2.0) - 1.0) ** -0.25  # for two passes
        b, a = signal.butter(2, correction * 6 / 50)
        with self.read("in.h5") as before, self.read() as after:
            for name, data in before["Imu"].items():
                expected = signal.filtfilt(b, a, as_floats(data[...]).astype(np.float64),
                                           padlen=3 * (len(a) - 1))
                np.testing.assert_allclose(after["Imu"][name][...], expected, rtol=2e-6, atol=1e-5)


class WhatIsKept(SampleTypes):
    def test_layout_filters_and_extents(self):
        samples = np.random.default_rng(5).standard_normal((4, 1, 300))
        layouts = {"plain": {},
                   "chunked": {"chunks": (2, 1, 70), "maxshape": (4, None, None)},
                   "packed": {"chunks": (4, 1, 70), "compression": "gzip", "compression_opts": 7,
                              "shuffle": True, "fletcher32": True},
                   "filled": {"chunks": (4, 1, 70), "fillvalue": 0.1}}
        with self.make() as file:
            for name, options in layouts.items():
                add_set(file, f"Imu/{name}", samples, **options)
            counts = add_set(file, "Imu/scaled", np.arange(300), chunks=(100,), scaleoffset=0,
                             compression="gzip")
            self.assertEqual(counts.scaleoffset, 0)
        self.opposite()
        with self.read("in.h5") as before, self.read() as after:
            for name in layouts:
                old, new = before["Imu"][name], after["Imu"][name]
                for what in ("shape", "maxshape", "chunks", "compression", "compression_opts",
                             "shuffle", "fletcher32"):
                    self.assertEqual(getattr(new, what), getattr(old, what), f"{name} {what}")
            self.assertEqual(after["Imu/filled"].fillvalue, np.float32(0.1))
            # The filter takes integers alone.
            self.assertIsNone(after["Imu/scaled"].scaleoffset)
            self.assertEqual(after["Imu/scaled"].compression, "gzip")
            np.testing.assert_array_equal(after["Imu/scaled"], -np.arange(300))

    def test_a_filter_that_is_not_there_is_named(self):
        """LZF comes with h5py, not with the library."""
        with self.make() as file:
            add_set(file, "Imu/X", np.arange(300.0).reshape(1, 1, 300), compression="lzf")
        before = (self.folder / "in.h5").read_bytes()
        for words in (["run", "apply-set-rectify", "SourceSets=Imu/X", "in.h5", "-o", "out.h5"],
                      ["run", "apply-set-rectify", "SourceSets=Imu/X", "in.h5", "--in-place"],
                      ["tree", "in.h5", "--statistics"],
                      ["export", "in.h5", "-o", "out.csv"]):
            with self.subTest(words=words):
                told = self.call(*words, code=3).stderr
                self.assertIn("cannot read 'Imu/X': it went through the filter 32000 (lzf), which "
                              "the HDF5 library here does not have (h5repack", told)
                self.assertEqual([path.name for path in self.folder.iterdir()], ["in.h5"])
                self.assertEqual((self.folder / "in.h5").read_bytes(), before)

    def add_packed(self, file, name, samples, filters):
        """h5py has no name for the packing of bits."""
        properties = h5py.h5p.create(h5py.h5p.DATASET_CREATE)
        properties.set_chunk((1, 1, 64))
        for kind in filters:
            if kind == "nbit":
                self.assertGreaterEqual(host_test.hdf5_library().H5Pset_nbit(
                    ctypes.c_int64(properties.id)), 0)
            elif kind == "szip":
                properties.set_szip(h5py.h5z.SZIP_NN_OPTION_MASK, 8)
            else:
                getattr(properties, f"set_{kind}")()
        made = h5py.h5d.create(file.create_group("Imu").id, name.encode(),
                               h5py.h5t.py_create(samples.dtype),
                               h5py.h5s.create_simple(samples.shape), dcpl=properties)
        made.write(h5py.h5s.ALL, h5py.h5s.ALL, samples)
        file["Imu"][name].attrs["SampleRate"] = 100.0

    def test_bits_that_are_packed_are_right_or_told(self):
        """Behind other filters the library packs 32-bit floats wrongly."""
        random = np.random.default_rng(11)
        whole = random.standard_normal((2, 1, 300)) * 10
        for dtype, filters, codes in (("f8", ["shuffle", "nbit", "fletcher32"], [0]),
                                      ("i8", ["shuffle", "nbit", "fletcher32"], [0]),
                                      ("u1", ["shuffle", "nbit", "deflate"], [0]),
                                      ("f4", ["nbit"], [0]),
                                      ("f4", ["nbit", "shuffle", "szip"], [0, 5])):
            with self.subTest(dtype=dtype, filters=filters):
                samples = whole.astype(dtype) if dtype != "u1" else np.abs(whole).astype(dtype)
                with self.make() as file:
                    self.add_packed(file, "X", samples, filters)
                with self.read("in.h5") as file:
                    np.testing.assert_array_equal(file["Imu/X"], samples)
                result = host_test.run_host(self.folder, "run", "apply-set-rectify",
                                            "SourceSets=Imu/X", "in.h5", "-o", "out.h5", "--force")
                self.assertIn(result.returncode, codes, result.stderr)
                if result.returncode == 0:
                    with self.read() as file:
                        np.testing.assert_array_equal(file["Imu/X"], np.abs(samples.astype("f4")))
                else:
                    self.assertIn("reads back other samples than were written", result.stderr)

    def test_a_set_that_is_never_filled(self):
        """In one chunk, of those that are not filtered where they are cut, the samples were lost."""
        samples = np.arange(802.0).reshape(2, 401) - 400
        library = host_test.hdf5_library()
        for words, expected in ((["apply-set-downsample", "--to-rate", "50"], samples[:, :400:2]),
                                (["apply-set-rectify"], np.abs(samples))):
            with self.subTest(words=words), self.make() as file:
                properties = h5py.h5p.create(h5py.h5p.DATASET_CREATE)
                properties.set_chunk(samples.shape)
                properties.set_fill_value(np.array(5.0))
                properties.set_fill_time(h5py.h5d.FILL_TIME_NEVER)
                properties.set_alloc_time(h5py.h5d.ALLOC_TIME_INCR)
                self.assertGreaterEqual(library.H5Pset_chunk_opts(  # not filtered where cut
                    ctypes.c_int64(properties.id), ctypes.c_uint(2)), 0)
                made = h5py.h5d.create(file.create_group("Imu").id, b"X", h5py.h5t.IEEE_F64LE,
                                       h5py.h5s.create_simple(samples.shape), dcpl=properties)
                made.write(h5py.h5s.ALL, h5py.h5s.ALL, samples)
                file["Imu/X"].attrs["SampleRate"] = 100.0
                file.close()
                self.call("run", *words, "SourceSets=Imu/X", "in.h5", "-o", "out.h5", "--force",
                          "--accept", "time-first,time-base")
                with self.read() as file:
                    np.testing.assert_array_equal(file["Imu/X"], expected)

    def test_a_fill_value_beyond_all_floats_is_refused(self):
        for options in ({}, {"chunks": (1, 1, 10)}):
            for value, shown in ((1e300, "1e+300"), (-1e39, "-1e+39")):
                with self.subTest(value=value, **options):
                    with self.make() as file:
                        add_set(file, "Imu/X", np.arange(30.0).reshape(1, 1, 30), fillvalue=value,
                                **options)
                    before = (self.folder / "in.h5").read_bytes()
                    for place in (["-o", "out.h5"], ["--in-place", "--accept", "narrowing"]):
                        self.assertEqual(
                            self.opposite(*place, code=3).stderr.splitlines()[-1],
                            f"error: in.h5: the fill value of 'Imu/X' is {shown}, which no 32-bit "
                            "float can hold (allowed: -3.4028235e+38 to 3.4028235e+38)")
                    self.assertEqual(os.listdir(self.folder), ["in.h5"])
                    self.assertEqual((self.folder / "in.h5").read_bytes(), before)
        for value in (np.inf, -np.inf, np.nan, 3.4028235e38):
            with self.make() as file:
                add_set(file, "Imu/X", np.arange(30.0).reshape(1, 1, 30), fillvalue=value)
            self.opposite("-o", "out.h5", "--force")
            with self.read() as file:
                np.testing.assert_equal(file["Imu/X"].fillvalue, np.float32(value))

    def test_a_compact_set_that_becomes_too_large_for_its_header(self):
        for count in (15_000, 60_000):
            with self.subTest(count=count), self.make() as file:
                samples = (np.arange(count) % 100).astype("i1").reshape(1, 1, count)
                properties = h5py.h5p.create(h5py.h5p.DATASET_CREATE)
                properties.set_layout(h5py.h5d.COMPACT)
                made = h5py.h5d.create(file.create_group("Imu").id, b"X", h5py.h5t.STD_I8LE,
                                       h5py.h5s.create_simple(samples.shape), dcpl=properties)
                made.write(h5py.h5s.ALL, h5py.h5s.ALL, samples)
                file["Imu/X"].attrs["SampleRate"] = 100.0
                file.close()
                self.opposite("-o", "out.h5", "--force")
                with self.read() as file:
                    np.testing.assert_array_equal(file["Imu/X"], -samples.astype("f4"))
                    layout = file["Imu/X"].id.get_create_plist().get_layout()
                    self.assertEqual(layout, h5py.h5d.COMPACT if count < 16_000
                                     else h5py.h5d.CONTIGUOUS)

    # Of a set in chunks those that were never written read as the fill value.
    def test_room_that_was_never_written(self):
        with self.make() as file:
            made = file.create_dataset("Imu/X", (4, 1000), "i8", chunks=(1, 100),
                                       fillvalue=2**60 + 2**36 + 1)
            made[2, 150:160] = np.arange(10)
            expected = as_floats(made[...])
        self.call("run", "apply-set-opposite", "SourceSets=Imu/X", "in.h5", "-o", "out.h5")
        with self.read() as file:
            self.assert_same_floats(-file["Imu/X"][...], expected)

    def test_attributes_and_their_order(self):
        names = ["Zulu", "SampleRate", "Alpha", "Unit", "Axis", "Map"] + [f"n{i}" for i in range(9)]
        for tracked in (False, True):
            with self.make(track_order=tracked) as file:
                made = file.create_dataset("Imu/X", data=np.arange(5.0), track_order=tracked)
                for name in names:
                    made.attrs[name] = 50.0
                made.attrs["Unit"] = ["m", "s"]
                made.attrs["Map"] = np.array([(1, 2.5)], dtype=[("a", ">i2"), ("b", "f8")])
                made.attrs["Zulu"] = h5py.Empty("f4")
            self.opposite("-o", "out.h5", "--force")
            with self.read("in.h5") as before, self.read() as after:
                old, new = before["Imu/X"].attrs, after["Imu/X"].attrs
                self.assertEqual(list(new), list(old))
                for name in old:
                    self.assertEqual(new.get_id(name).dtype, old.get_id(name).dtype)
                    np.testing.assert_array_equal(new[name], old[name])

    def test_links(self):
        with self.make() as file:
            data = add_set(file, "Imu/X", np.arange(50.0))
            file["Deep/er/Hard"] = data
            file["Imu/Hard"] = data
            file["Aside"] = h5py.SoftLink("/Imu/X")
            file["Imu/A"] = h5py.SoftLink("/Elsewhere/Y")  # met before its set
            add_set(file, "Elsewhere/Y", np.arange(30))
            file["Imu/Out"] = h5py.ExternalLink("other.h5", "/x")
        result = self.opposite("-o", "out.h5", "--accept", "passed-over")
        self.assertEqual(result.stderr.count("in the result"), 2)
        with self.read() as file:
            for name in ("Deep/er/Hard", "Imu/Hard", "Aside"):
                self.assertEqual(file[name], file["Imu/X"])
            self.assertEqual(h5py.h5o.get_info(file["Imu/X"].id).rc, 3)
            np.testing.assert_array_equal(file["Aside"], -np.arange(50.0))
            self.assertIsInstance(file["Imu"].get("A", getlink=True), h5py.SoftLink)
            self.assertIsInstance(file["Imu"].get("Out", getlink=True), h5py.ExternalLink)
            np.testing.assert_array_equal(file["Elsewhere/Y"], -np.arange(30))
            self.assertEqual(file["Elsewhere/Y"].dtype, np.float32)
            self.assertEqual(sorted(file), ["Aside", "Deep", "Elsewhere", "Imu"])

    def test_references_lead_to_the_new_set(self):
        table = np.dtype([("name", "i4"), ("sets", h5py.ref_dtype, (2,))])
        for options in ({}, {"userblock_size": 512}, {"libver": "latest"}):
            with self.subTest(options), self.make(**options) as file:
                data = add_set(file, "Imu/X", np.arange(5.0))
                other = add_set(file, "Imu/Y", np.arange(5.0) + 5)
                file["Time"] = np.arange(5.0)
                file["Time"].make_scale("time")
                data.dims[0].attach_scale(file["Time"])
                file["Time"].attrs["of"] = np.array([other.ref, h5py.Reference()],
                                                    dtype=h5py.ref_dtype)
                data.attrs["self"] = data.ref
                file["list"] = np.array([other.ref, data.ref, file["Imu"].ref],
                                        dtype=h5py.ref_dtype)
                file.create_dataset("none", (0,), h5py.ref_dtype)
                file["table"] = np.array([(1, [data.ref, other.ref])], dtype=table)
                ragged = file.create_dataset("ragged", (2,), h5py.vlen_dtype(h5py.ref_dtype))
                ragged[0] = np.array([data.ref], dtype=h5py.ref_dtype)
            self.opposite("-o", "out.h5", "--force")
            with self.subTest(options), self.read() as file:
                new, other = file["Imu/X"], file["Imu/Y"]
                self.assertEqual(new.dtype, np.float32)
                self.assertEqual(new.dims[0][0], file["Time"])
                self.assertEqual(file[file["Time"].attrs["REFERENCE_LIST"][0][0]], new)
                self.assertEqual(file[file["Time"].attrs["of"][0]], other)
                self.assertFalse(file["Time"].attrs["of"][1])
                self.assertEqual(file[new.attrs["self"]], new)
                self.assertEqual([file[to] for to in file["list"]], [other, new, file["Imu"]])
                self.assertEqual([file[to] for to in file["table"][0]["sets"]], [new, other])
                self.assertEqual(file[file["ragged"][0][0]], new)
                np.testing.assert_array_equal(new, -np.arange(5.0))

    def test_no_filter_rounds_a_result(self):
        samples = np.random.default_rng(1).standard_normal((1, 1, 1000))
        for dtype in ("f4", "f8"):
            with self.subTest(dtype):
                with self.make() as file:
                    add_set(file, "Imu/X", samples.astype(dtype), chunks=(1, 1, 100), scaleoffset=2)
                self.assertIn("Imu/X: ", self.opposite("-o", "out.h5", "--force").stderr)
                with self.read("in.h5") as before, self.read() as after:
                    self.assert_same_floats(-after["Imu/X"][...], as_floats(before["Imu/X"][...]))

    def test_a_region_of_a_set_keeps_it_from_being_replaced(self):
        with self.make() as file:
            data = add_set(file, "Imu/X", np.arange(5.0))
            file["regions"] = np.array([data.regionref[1:3]], dtype=h5py.regionref_dtype)
        self.assertIn("'Imu/X' cannot be made anew: '/regions' refers to a part of it",
                      self.opposite(code=1).stderr)
        self.assertEqual(os.listdir(self.folder), ["in.h5"])

    # What is deleted can be opened by who has its place, until something is written over it.
    def test_what_no_link_leads_to_keeps_a_set_from_being_replaced(self):
        def refer_by_group(file, data):
            file.create_group("gone").attrs["set"] = data.ref
            file["Time"].attrs["of"] = file["gone"].ref

        def refer_by_member(file, data):
            file["gone/list"] = np.array([data.ref], dtype=h5py.ref_dtype)
            file["Time"].attrs["of"] = np.array([h5py.Reference(), file["gone"].ref],
                                                dtype=h5py.ref_dtype)

        def refer_by_scale(file, data):
            file["gone"] = np.arange(5.0)
            file["gone"].make_scale("time")
            file["Time"].dims[0].attach_scale(file["gone"])
            file["gone"].attrs["region"] = data.regionref[1:3]

        def refer_by_type(file, data):
            file["gone"] = np.dtype("<i2")
            file["gone"].attrs["set"] = data.ref
            del file["Time"]
            file.create_dataset("Time", (5,), file["gone"])

        for refer in (refer_by_group, refer_by_member, refer_by_scale, refer_by_type):
            for options in ({}, {"libver": "latest"}):
                with self.subTest(refer.__name__, **options):
                    with self.make(**options) as file:
                        data = add_set(file, "Imu/X", np.arange(5.0))
                        file["Time"] = np.arange(5.0)
                        refer(file, data)
                        file["behind"] = np.zeros(1000)
                    with h5py.File(self.folder / "in.h5", "r+", **options) as file:
                        del file["gone"]
                    part = "a part of it" if refer is refer_by_scale else "it"
                    self.assertIn("'Imu/X' cannot be made anew: an object that no link leads to, "
                                  f"only '/Time', refers to {part}",
                                  self.opposite(code=1).stderr)
                    self.assertEqual(os.listdir(self.folder), ["in.h5"])

    def test_what_is_deleted_and_refers_to_another_set_is_no_hindrance(self):
        with self.make() as file:
            data = add_set(file, "Imu/X", np.arange(5.0))
            file["Time"] = np.arange(5.0)
            file["Time"].make_scale("time")
            data.dims[0].attach_scale(file["Time"])
            add_set(file, "Imu/Y", np.arange(5, dtype="f4")).dims[0].attach_scale(file["Time"])
            data.dims[0].detach_scale(file["Time"])
            del file["Time"]
        self.opposite("-o", "out.h5")

    # Groups and sets at the end of a file, deleted before it is closed: it ends before them.
    def test_nothing_new_lies_where_a_reference_leads_to_what_was_deleted(self):
        def make(dtype):
            with self.make() as file:
                add_set(file, "Imu/X", np.arange(5, dtype=dtype).reshape(1, 1, 5))
                file["of"] = np.array([h5py.Reference()] * 40, dtype=h5py.ref_dtype)
                file.flush()
                gone = [file.create_group(f"gone{i}") for i in range(20)]
                gone += [add_set(file, f"gone{i}", np.float32([[[i]]])) for i in range(20, 40)]
                file["of"][...] = [each.ref for each in gone]
                for i in range(40):
                    del file[f"gone{i}"]

        reason = ("cannot be made: '/of' refers to something deleted, in whose place it would lie "
                  "(h5repack makes a copy without such references)")
        make("f4")
        result = self.call("run", "average-set", "SourceGroup=Imu", "DestinationGroup=Mean",
                           "in.h5", "-o", "out.h5", code=1)
        self.assertIn("'Mean' " + reason, result.stderr)
        make("f8")
        self.assertIn("'Imu/X' " + reason, self.opposite(code=1).stderr)
        self.assertEqual(os.listdir(self.folder), ["in.h5"])

    def test_nothing_new_lies_where_a_region_was_deleted(self):
        def make(dtype):
            with self.make() as file:
                data = add_set(file, "Imu/X", np.arange(5, dtype=dtype).reshape(1, 1, 5))
                file["of"] = np.array([h5py.RegionReference()] * 20, dtype=h5py.regionref_dtype)
                file["of"][0] = data.regionref[..., :1]
                file["of"][0] = h5py.RegionReference()
                file.flush()
                gone = [add_set(file, f"gone{i}", np.float32([[[i]]])) for i in range(20)]
                file["of"][...] = [each.regionref[..., :1] for each in gone]
                for i in range(20):
                    del file[f"gone{i}"]

        reason = ("cannot be made: '/of' refers to something deleted, in whose place it would lie "
                  "(h5repack makes a copy without such references)")
        make("f4")
        result = self.call("run", "average-set", "SourceGroup=Imu", "DestinationGroup=Mean",
                           "in.h5", "-o", "out.h5", code=1)
        self.assertIn("'Mean' " + reason, result.stderr)
        make("f8")
        self.assertIn("'Imu/X' " + reason, self.opposite(code=1).stderr)
        self.assertEqual(os.listdir(self.folder), ["in.h5"])

    def test_a_region_of_a_set_keeps_it_from_being_made_smaller(self):
        with self.make() as file:
            data = add_set(file, "Imu/X", np.arange(100, dtype="f4").reshape(1, 1, 100),
                           chunks=(1, 1, 10), maxshape=(1, 1, None))
            file["regions"] = np.array([data.regionref[:, :, 90:]], dtype=h5py.regionref_dtype)
        result = self.call("run", "apply-set-downsample", "SourceGroup=Imu", "--to-rate", "50",
                           "in.h5", "-o", "out.h5", code=1)
        self.assertIn("'Imu/X' cannot be made smaller: '/regions' refers to a part of it",
                      result.stderr)
        self.assertEqual(os.listdir(self.folder), ["in.h5"])

    def test_a_virtual_set_keeps_what_it_shows_from_being_resized(self):
        samples = np.arange(100.0).reshape(1, 1, 100)

        def make_shown(source_file, source):
            with self.make() as file:
                add_set(file, "Imu/X", samples)
                file["Out"] = h5py.ExternalLink("out.h5", "/Imu")
                file["Straight"] = h5py.ExternalLink("in.h5", "/Imu/X")
                file["Soft"] = h5py.SoftLink("/Out/X")
                layout = h5py.VirtualLayout((100,), "f8")
                layout[:] = h5py.VirtualSource(source_file, source, (1, 1, 100))[0, 0, :]
                file.create_virtual_dataset("shown", layout, fillvalue=-1)

        for source_file in ("./in.h5", os.path.join(self.folder, "in.h5"), "out.h5", "."):
            for source in ("/Imu/./X", "Imu/a%%b", "Out/X", "./Straight", "Soft", "Imu/X"):
                with self.subTest(source_file=source_file, source=source):
                    make_shown(source_file, source)
                    result = self.call("run", "apply-set-downsample", "SourceGroup=Imu",
                                       "--to-rate", "50", "in.h5", "-o", "out.h5", code=1)
                    self.assertIn("'Imu/X' cannot be resized: the virtual data set '/shown' shows "
                                  f"samples of '{source}'", result.stderr)
                    self.assertEqual(os.listdir(self.folder), ["in.h5"])
        self.opposite("-o", "out.h5")
        with self.read() as file:
            np.testing.assert_array_equal(file["shown"][...], -samples[0, 0])

    def test_what_is_resized_stays_what_it_is(self):
        with self.make() as file:
            file["kind"] = np.dtype(">f4")
            data = file.create_dataset("Imu/X", (60,), file["kind"], fillvalue=7)
            data[...] = np.arange(60)
            data.attrs["SampleRate"] = np.float32(100)
            file["Aside/Hard"] = data
            file["list"] = np.array([data.ref], dtype=h5py.ref_dtype)
            file.create_group("Hint").attrs["SampleRate"] = np.float32(50)
        self.call("run", "apply-set-downsample", "SourceGroup=Imu", "HintGroup=Hint", "in.h5",
                  "-o", "out.h5")
        with self.read() as file:
            data = file["Imu/X"]
            np.testing.assert_array_equal(data, np.arange(0, 60, 2))
            self.assertEqual(data.dtype, np.dtype(">f4"))
            self.assertTrue(data.id.get_type().committed())
            self.assertEqual(data.fillvalue, 7)
            self.assertEqual(file["Aside/Hard"], data)
            self.assertEqual(file[file["list"][0]], data)

    def test_the_same_input_gives_the_same_bytes(self):
        with self.make() as file:
            for i in range(20):
                add_set(file, f"Imu/X{i}", np.random.default_rng(i).standard_normal((3, 1, 50)))
        os.environ["SOURCE_DATE_EPOCH"] = "1700000000"
        self.opposite("-o", "one.h5")
        self.opposite("-o", "two.h5")
        self.assertEqual((self.folder / "one.h5").read_bytes(),
                         (self.folder / "two.h5").read_bytes())
        # The samples take the room that those of the old type had.
        self.assertLess((self.folder / "one.h5").stat().st_size,
                        2 * (self.folder / "in.h5").stat().st_size)

    def test_complex_numbers_that_no_unit_takes_are_told(self):
        for dtype, bits in (("c8", 32), ("c16", 64), (">c8", 32),
                            ([("real", "f8"), ("imag", "f8")], 64)):
            with self.make() as file:
                add_set(file, "Imu/X", np.float32([1, 2]))
                file["Imu/Spectrum"] = np.zeros((3, 1, 4), dtype)
            self.assertIn("passed-over: Imu/Spectrum: is in the source group, and units cannot "
                          f"take it: data set of complex values of {bits}-bit floats [3, 1, 4]\n",
                          self.opposite(code=1).stderr)
        for members in ([("a", "f8"), ("b", "f8")], [("r", "f8"), ("i", "i8")],
                        [("r", "f8"), ("i", "f4")], [("r", "f8"), ("i", "f8"), ("n", "f8")]):
            with self.make() as file:
                add_set(file, "Imu/X", np.float32([1, 2]))
                file["Imu/Table"] = np.zeros(3, members)
            self.opposite("-o", "out.h5", "--force")

    def test_complex_numbers_that_a_pattern_matches_are_told_as_well(self):
        with self.make() as file:
            add_set(file, "Imu/X", np.float32([1, 2]))
            file["Imu/Spectrum"] = np.zeros((3, 1, 4), "c8")
            file["Imu/texts"] = ["a", "b"]
            file["Imu/Below/Spectrum"] = np.zeros(4, "c8")  # which the pattern does not match
        recipe = {"steps": [{"unit": "apply-set-opposite", "parameters": {"SourceSets": ["Imu/*"]}}]}
        (self.folder / "recipe.json").write_text(json.dumps(recipe))
        step = ["run", "apply-set-opposite", "in.h5", "-o", "out.h5"]
        told = ("passed-over: Imu/Spectrum: matches SourceSets=Imu/*, and units cannot take it: data "
                "set of complex values of 32-bit floats [3, 1, 4]\n")
        hint = "hint: if the others are meant: SourceSets=Imu/X; --accept passed-over keeps it\n"
        errors = self.call(*step, "SourceSets=Imu/*", code=1).stderr
        self.assertEqual(errors.count("passed-over: "), 1)
        self.assertIn(told + hint, errors)
        self.assertIn(told, self.call("recipe", "check", "recipe.json", "in.h5", code=1).stderr)
        errors = self.call(*step, "SourceSets=Imu/*", "SourceSets=**", code=1).stderr
        self.assertEqual(errors.count("passed-over: Imu/Spectrum: "), 1)
        self.call(*step, "SourceSets=Imu/*", "--accept", "passed-over")
        self.call(*step, "SourceSets=Imu/X", "--force")
        self.call(*step, "SourceSets=Imu/*", "SourceSets=Imu/X", "--force", code=1)
        self.call(*step, "SourceSets=Imu/[XYZ]", "--force")

    def test_what_is_no_real_number_stays_as_it_is(self):
        with self.make() as file:
            add_set(file, "Imu/X", np.arange(5.0))
            group = file["Imu"]
            group["flags"] = np.array([True, False])
            group["pairs"] = np.array([(1, 2.5)], dtype=[("a", "i2"), ("b", "f8")])
            group["complex"] = np.array([1 + 2j])
            group["texts"] = ["a", "b"]
            group.create_dataset("colours", data=[0, 1],
                                 dtype=h5py.enum_dtype({"red": 0, "blue": 1}, basetype="i2"))
            group.create_dataset("references", data=[group.ref], dtype=h5py.ref_dtype)
            group["scalar"] = 5.0
            group.create_dataset("nothing", data=h5py.Empty("f8"))
            group["long"] = np.longdouble([1, 2])
        self.opposite("-o", "out.h5", "--accept", "passed-over")
        with self.read("in.h5") as before, self.read() as after:
            self.assertEqual(set(after["Imu"]), set(before["Imu"]))
            for name in set(before["Imu"]) - {"X", "references", "nothing"}:
                self.assertEqual(after["Imu"][name].dtype, before["Imu"][name].dtype)
                np.testing.assert_array_equal(after["Imu"][name][()], before["Imu"][name][()])
            self.assertEqual(after[after["Imu/references"][0]], after["Imu"])


class Tidy(SampleTypes):
    def test_rows_hold_what_is_stored(self):
        with self.make() as file:
            add_set(file, "Imu/I", np.array([[[2**53 + 1, 16777217, -5]]]))
            add_set(file, "Imu/D", np.array([[[1e300, 0.1, np.nan]]]))
        output = self.call("export", "in.h5", "--tidy", "-o", "-").stdout
        values = [row["value"] for row in csv.DictReader(output.splitlines())]
        self.assertEqual(values, ["1e+300", "0.1", "", "9007199254740993", "16777217", "-5"])


class InPlace(SampleTypes):
    def test_nothing_is_narrowed_in_the_place_of_the_input(self):
        with self.make() as file:
            add_set(file, "Imu/X", np.array([1 + 2.0**-25, 1]))
            add_set(file, "Imu/Y", np.arange(5))
        before = (self.folder / "in.h5").read_bytes()
        errors = self.opposite("--in-place", "--backup", code=1).stderr
        self.assertIn("error: in.h5: apply-set-opposite: narrowing: Imu/X: is of 64-bit floats, and "
                      "would be of 32-bit floats in the place of the input\n", errors)
        self.assertIn("narrowing: Imu/Y: is of 64-bit integers, and", errors)
        self.assertIn("hint: -o FILE or --out-dir FOLDER writes the result beside it; --accept "
                      "narrowing keeps it\n", errors)
        self.assertEqual((self.folder / "in.h5").read_bytes(), before)
        self.assertEqual(os.listdir(self.folder), ["in.h5"])

    def test_what_is_narrowed_by_name_stands_in_the_place_of_the_input(self):
        with self.make() as file:
            add_set(file, "Imu/X", np.array([1 + 2.0**-25, 1]))
        errors = self.opposite("--in-place", "--accept", "narrowing").stderr
        self.assertIn("warning: in.h5: apply-set-opposite: narrowing (accepted): Imu/X: ", errors)
        self.assertIn("info: in.h5: Imu/X: 64-bit floats, 32-bit in the result; largest change "
                      "3.0e-08 of the largest sample, 1.0e+00 of the range\n", errors)
        with self.read("in.h5") as file:
            self.assertEqual(file["Imu/X"].dtype, np.float32)
            np.testing.assert_array_equal(file["Imu/X"], [-1, -1])

    def test_single_floats_and_what_is_only_read_go_in_place(self):
        with self.make() as file:
            add_set(file, "Imu/X", np.float32([1, 2]))
            add_set(file, "Other/Y", np.arange(5.0))
        self.opposite("--in-place")
        with self.read("in.h5") as file:
            np.testing.assert_array_equal(file["Imu/X"], [-1, -2])
            self.assertEqual(file["Other/Y"].dtype, np.float64)


class Shows(SampleTypes):
    def test_tree_tells_the_type(self):
        with self.make() as file:
            for name in NAMES:
                add_set(file, f"Imu/{name}", np.ones((2, 3), name))
                add_set(file, f"Big/{name}", np.ones((2, 3), np.dtype(name).newbyteorder(">")))
            file["Imu/float64"].attrs["Unit"] = "m"
        listed = json.loads(self.call("tree", "in.h5", "--json").stdout)["objects"]
        sets = {entry["path"]: entry for entry in listed if entry["kind"] == "data set"}
        self.assertEqual(len(sets), 2 * len(NAMES))
        for path, entry in sets.items():
            self.assertEqual(entry["dtype"], path.split("/")[1])
            self.assertEqual(entry["shape"], [2, 3])
            self.assertEqual(entry["sample_rate"], 100)
        self.assertEqual(
            self.call("tree", "in.h5::Imu/float*", "--attributes").stdout,
            "Imu/float16  [2, 3] float16  100 Hz\n"
            "    SampleRate = 100\n"
            "Imu/float32  [2, 3]          100 Hz\n"
            "    SampleRate = 100\n"
            "Imu/float64  [2, 3] float64  100 Hz  (m)\n"
            "    SampleRate = 100\n"
            "    Unit = \"m\"\n")

    def test_statistics_are_those_of_the_samples_as_they_are(self):
        with self.make() as file:
            for dtype in TYPES:
                samples = make_samples(dtype)
                if dtype.kind == "f":
                    samples = samples[np.isfinite(samples)]
                add_set(file, f"{dtype.str[1:]}-{dtype.str[0] == '>'}", samples)
            add_set(file, "huge", np.array([1e300, np.nan, -2.5]))
        listed = json.loads(self.call("tree", "in.h5", "--json", "--statistics").stdout)["objects"]
        with self.read("in.h5") as file:
            for entry in listed:
                with self.subTest(entry["path"]):
                    samples, numbers = file[entry["path"]][...], entry["statistics"]
                    self.assertEqual(numbers["min"], np.nanmin(samples))
                    self.assertEqual(numbers["max"], np.nanmax(samples))
                    mean = np.nanmean(samples.astype(np.float64))
                    np.testing.assert_allclose(numbers["mean"], mean, rtol=1e-9, atol=1e-9)
                    self.assertEqual(numbers["missing"], np.isnan(samples).sum())
                    if samples.dtype.kind != "f":
                        self.assertEqual(numbers["max"], int(samples.max()))
                        self.assertIsInstance(numbers["max"], int)

    def test_means_of_integers_where_single_precision_ends(self):
        with self.make() as file:
            for name, first in (("A", 2**23 - 50), ("B", 2**24 - 101), ("C", -2**23 - 7)):
                samples = np.arange(first, first + 100_001) if name == "A" else \
                    first + np.arange(100_001) % 2
                for dtype in ("i4", "i8", "f8", "f4"):
                    add_set(file, f"Imu/{name}-{dtype}", samples.reshape(1, 1, -1).astype(dtype))
        listed = json.loads(self.call("tree", "in.h5", "--json", "--statistics").stdout)["objects"]
        with self.read("in.h5") as file:
            for entry in listed:
                if entry["kind"] == "data set":
                    samples = file[entry["path"]][...].astype(np.int64)
                    self.assertEqual(entry["statistics"]["mean"], samples.sum() / samples.size,
                                     entry["path"])

    def test_export_gives_back_every_sample(self):
        with self.make() as file:
            for dtype in TYPES:
                add_set(file, f"{dtype.str[1:]}-{dtype.str[0] == '>'}", make_samples(dtype)[:, 0, :999])
        with self.read("in.h5") as file:
            for name, data in file.items():
                with self.subTest(name):
                    text = self.call("export", f"in.h5::{name}", "-o", "-").stdout
                    rows = list(csv.reader(text.splitlines()))
                    cells = [[row[line + 1] for row in rows[1:]] for line in range(3)]
                    kind = data.dtype.newbyteorder("=").type
                    if kind in (np.float16, np.float32, np.float64):
                        samples = data[...].astype(data.dtype.newbyteorder("="))
                        back = np.array([[float(cell) if cell else np.nan for cell in line]
                                         for line in cells]).astype(samples.dtype)
                        np.testing.assert_array_equal(back, samples)
                        shortest = [cell for cell in cells[0] if cell and "inf" not in cell]
                        for cell in shortest[:50] if kind != np.float16 else []:
                            self.assertLessEqual(len(cell), len(repr(kind(cell))) + 2)
                    else:
                        self.assertEqual(cells, [[str(sample) for sample in line]
                                                 for line in data[...].tolist()])

    def test_plot_takes_them(self):
        with self.make() as file:
            for dtype in TYPES:
                if dtype.kind != "f":
                    add_set(file, f"{dtype.str[1:]}-{dtype.str[0] == '>'}", make_samples(dtype))
            add_set(file, "double", np.sin(np.arange(300.0)))
            add_set(file, "half", np.sin(np.arange(300.0)).astype(">f2"))
        for output in ("out.html", "out.svg"):
            self.assertIn(f"{output}: 16 data sets", self.call("plot", "in.h5", "-o", output).stdout)
            self.assertGreater((self.folder / output).stat().st_size, 1000)
        with self.make() as file:
            add_set(file, "double", np.array([1, 1e39]))
        errors = self.call("plot", "in.h5", "-o", "no.svg", code=3).stderr
        self.assertIn("in.h5: 'double' holds 1e+39 at [1]", errors)

    def make_other_kinds(self):
        with self.make() as file:
            add_set(file, "G/x", np.float32([1, 2]))
            add_set(file, "H/x", np.float32([1, 2]))
            group = file["G"]
            group["complex"] = np.array([1 + 2j])
            group["long"] = np.longdouble([1, 2])
            group.create_dataset("arrays", (2,), np.dtype(("f8", (3,))))
            group["pairs"] = np.array([(1, 2.5)], dtype=[("a", "i2"), ("b", "f8")])
            group["link"] = h5py.SoftLink("/nowhere")
            group["elsewhere"] = h5py.ExternalLink("other.h5", "/x")
            group["scalar"] = 5.0
            group["texts"] = ["a", "b"]
            group["text"] = "a"
            group["flags"] = np.array([True, False])
            file["H/complex"] = np.array([1 + 2j])

    WARNINGS = [
        "'G/arrays' is left out: data set of arrays [2]",
        "'G/complex' is left out: data set of complex values of 64-bit floats [1]",
        "'G/elsewhere' is left out: link to '/x' in the file 'other.h5'",
        "'G/link' is left out: link to '/nowhere', where no object can be opened",
        "'G/long' is left out: data set of 128-bit floats [2]",
        "'G/pairs' is left out: data set of compound values [1]"]
    INFO = "'G/scalar' is left out: data set of 64-bit floats []"
    DETAILS = ["'G/flags' is left out: data set of enumerated values [2]",
               "'G/text' is left out: data set of texts []",
               "'G/texts' is left out: data set of texts [2]"]

    # In the words of tree; texts and the like lie beside the signals of many a file.
    def test_what_a_pattern_matches_and_cannot_be_taken_is_told(self):
        self.make_other_kinds()
        warnings = "".join(f"warning: in.h5: {line}\n" for line in self.WARNINGS)
        info = f"info: in.h5: {self.INFO}\n"
        below_h = ("warning: in.h5: 'H/complex' is left out: data set of complex values of 64-bit "
                   "floats [1]\n")
        (self.folder / "in.h5").chmod(0o600)
        rate = ["SampleRate=50", "-o", "out.h5", "--force"]
        for place, told in (("in.h5::G/*", warnings + info), ("in.h5::G", warnings + info),
                            ("in.h5::H", below_h), ("in.h5::H/x", ""), ("in.h5::**/[xt]", ""),
                            ("in.h5", warnings + below_h + info)):
            with self.subTest(place):
                for words in (["export", place, "-o", "-"], ["export", "--tidy", place, "-o", "-"],
                              ["plot", place, "-o", "out.svg", "--force", "--quiet"]):
                    shown = told.replace(info, "") if "--quiet" in words else told
                    lines = self.call(*words).stderr.splitlines(keepends=True)
                    self.assertEqual("".join(line for line in lines if "left out" in line), shown)
                if place.endswith(("G", "H")):  # the group's own attributes
                    self.assertEqual(self.call("attributes", place).stderr, "")
                else:
                    self.assertEqual(self.call("attributes", place).stderr, told)
                if "*" in place:
                    self.assertEqual(self.call("attributes", place, *rate).stderr, told)
        errors = self.call("export", "in.h5::G/*", "-o", "-", "--verbose").stderr
        for line in self.DETAILS:
            self.assertIn(f"in.h5: {line}\n", errors)
        for line in self.WARNINGS + [self.INFO] + self.DETAILS:
            path, description = line.split("' is left out: ")
            self.assertIn(description, self.call("tree", f"in.h5::{path[1:]}").stdout)

    def test_several_patterns_tell_of_each_once(self):
        self.make_other_kinds()
        errors = self.call("export", "in.h5::G/*", "in.h5::G", "-o", "-").stderr
        self.assertEqual(errors.count("left out"), len(self.WARNINGS) + 1)

    def test_of_many_the_first_twelve_are_told(self):
        with self.make() as file:
            add_set(file, "x", np.float32([1, 2]))
            for i in range(15):
                file[f"c{i:02}"] = np.array([1j])
        lines = self.call("export", "in.h5", "-o", "-").stderr.splitlines()
        self.assertEqual(len(lines), 13)
        self.assertIn("'c11' is left out", lines[11])
        self.assertEqual(lines[12],
                         "warning: in.h5: 3 further objects left out, which --verbose shows")
        self.assertIn("'c14' is left out",
                      self.call("export", "in.h5", "-o", "-", "--verbose").stderr)

    def test_what_is_no_real_number_is_named(self):
        with self.make() as file:
            file["flags"] = np.array([True, False])
            narrow = h5py.h5t.STD_I32LE.copy()
            narrow.set_precision(20)
            h5py.h5d.create(file.id, b"narrow", narrow, h5py.h5s.create_simple((3,)))
        for name, what in (("flags", "enumerated values [2]"),
                           ("narrow", "32-bit integers of which 20 bits are used [3]")):
            self.assertIn(f"'{name}' is a data set of {what}; samples are floats of 16, 32 or 64 bits "
                          "or integers of 8, 16, 32 or 64, in data sets of rank 1 or more",
                          self.call("export", f"in.h5::{name}", "-o", "-", code=3).stderr)
        self.assertIn("in '/': flags, narrow",
                      self.call("export", "in.h5", "-o", "-", code=3).stderr)


if __name__ == "__main__":
    host_test.main()
