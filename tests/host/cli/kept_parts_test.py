"""What files of other programs hold besides samples stays in what talvora-host makes of them.

    kept_parts_test.py TALVORA_HOST PLUGIN

The files are made by h5py, and read back by it.
"""

import ctypes
import json
import os
import subprocess

import h5py
import numpy as np

import host_test

COMMENT = b"Left plate, raw \xc2\xb5V"
DOWNSAMPLE = ["run", "apply-set-downsample", "SourceGroup=Imu", "--to-rate", "50", "in.h5"]
OPPOSITE = ["run", "apply-set-opposite", "SourceGroup=Imu", "in.h5"]


def add_set(file, path, dtype="f4", count=120, **options):
    made = file.create_dataset(path, data=np.arange(count).reshape(1, 1, count).astype(dtype),
                               **options)
    made.attrs["SampleRate"] = np.float32(100)
    return made


class Comments(host_test.HostTest):
    def expect_comment(self, words):
        self.call(*words, "-o", "out.h5", "--force")
        with self.read() as file:
            self.assertEqual(h5py.h5g.open(file.id, b"/").get_comment(b"Imu/X"), COMMENT)
            self.assertFalse(h5py.h5g.open(file.id, b"/").get_comment(b"Imu/Y"))

    def make_set(self, **options):
        with self.make() as file:
            for path in ("Imu/X", "Imu/Y"):
                add_set(file, path, **options)
            h5py.h5o.set_comment(file["Imu/X"].id, COMMENT)

    def test_a_set_that_is_resized_keeps_its_comment(self):
        self.make_set()
        self.expect_comment(DOWNSAMPLE)

    def test_a_set_that_gets_another_type_keeps_its_comment(self):
        self.make_set(dtype="f8", chunks=(1, 1, 50))
        self.expect_comment(OPPOSITE)


class Loops(host_test.HostTest):
    """Groups that lead back to those above them: the unit that goes down into each finds no end."""

    def make_loop(self, link):
        with self.make() as file:
            add_set(file, "Imu/X")
            add_set(file, "Imu/Below/Y")
            link(file)

    def test_the_unit_that_finds_no_end_is_refused(self):
        def link_hard(file):
            file["Imu/Below/up"] = file["Imu"]

        def link_softly(file):
            file["Imu/Below/up"] = h5py.SoftLink("/Imu/Below")

        for link in (link_hard, link_softly):
            self.make_loop(link)
            told = self.call(*DOWNSAMPLE, "ScanRecursive=true", "-o", "out.h5", "--force",
                             code=1).stderr
            self.assertIn("'Imu/Below/up' leads back to a group above it: with ScanRecursive=true "
                          "the unit would go round for ever", told)
            self.call("run", "apply-set-opposite", "SourceGroup=Imu", "ScanRecursive=true", "in.h5",
                      "-o", "out.h5", "--force")
            self.call("run", "apply-set-downsample", "SourceSets=Imu/**", "--to-rate", "50",
                      "in.h5", "-o", "out.h5", "--force")
            with self.read() as file:
                self.assertEqual((file["Imu/X"].shape, file["Imu/Below/Y"].shape),
                                 ((1, 1, 60), (1, 1, 60)))

    def test_groups_that_are_linked_twice_are_no_loop(self):
        def link_twice(file):
            file["Imu/Twice"] = file["Imu/Below"]

        self.make_loop(link_twice)
        self.call(*DOWNSAMPLE, "ScanRecursive=true", "-o", "out.h5")


class Samples(host_test.HostTest):
    # The library (1.10) passes chunks by that such a filter does not make smaller, and takes them for
    # filtered ones when they are written again, or cut.
    def test_a_set_under_szip_is_made_anew_without(self):
        samples = np.random.default_rng(1).standard_normal((2, 1, 50)).astype("f4")
        samples[np.random.default_rng(2).random(samples.shape) < 0.1] = np.nan
        with self.make() as file:
            made = file.create_dataset("Imu/X", data=samples, chunks=(1, 1, 50), shuffle=True,
                                       maxshape=(None,) * 3, compression="szip",
                                       compression_opts=("nn", 8))
            made.attrs["SampleRate"] = np.float32(100)
        for memory in ("192", "0"):
            self.call("--memory", memory, *DOWNSAMPLE, "-o", "out.h5", "--force")
            with self.read() as file:
                made = file["Imu/X"]
                np.testing.assert_array_equal(made[...], samples[..., ::2])
                self.assertEqual((made.chunks, made.maxshape, made.compression, made.shuffle),
                                 ((1, 1, 50), (None,) * 3, None, True))
            told = self.call("--memory", memory, *OPPOSITE, "-o", "out.h5", "--force").stderr
            self.assertIn("info: in.h5: Imu/X: stored by the filter 4 (szip), which does not keep "
                          "32-bit floats that are written; without it in the result", told)
            with self.read() as file:
                np.testing.assert_array_equal(file["Imu/X"][...], -samples)


class LongAttributes(host_test.HostTest):
    """Fill-gap writes how many samples it filled of each gap."""

    FILL = ["run", "apply-set-fill-gap", "SourceGroup=Imu", "MaxGapLength=3", "in.h5"]

    def make_gaps(self, **options):
        with self.make(**options) as file:
            add_set(file, "Imu/X", count=60000)[..., 3:60000:6] = np.nan  # 10,000 gaps

    def expect_filled(self):
        with self.read() as file:
            made = file["Imu/X"]
            self.assertEqual(len(made.attrs["FillGapSamplesFilled"]), 10000)
            self.assertEqual(made.attrs["SampleRate"], 100)
            filled = np.arange(60000, dtype="f4")
            np.testing.assert_array_equal(made[0, 0], filled)
            return made.chunks, made.compression, made.maxshape

    def test_a_set_of_the_older_format_is_made_anew_in_the_newer(self):
        for options in ({}, {"chunks": (1, 1, 7000), "compression": "gzip",
                             "maxshape": (1, 1, None)}):
            with self.subTest(**options):
                with self.make() as file:
                    made = add_set(file, "Imu/X", count=60000, **options)
                    made[..., 3:60000:6] = np.nan
                    file["Link"] = made
                    file.attrs["set"] = made.ref
                self.call(*self.FILL, "-o", "out.h5", "--force")
                self.assertEqual(self.expect_filled(), (
                    options.get("chunks"), options.get("compression"),
                    options.get("maxshape", (1, 1, 60000))))
                with self.read() as file:
                    self.assertEqual(file["Link"], file["Imu/X"])
                    self.assertEqual(file[file.attrs["set"]], file["Imu/X"])

    def test_what_cannot_be_made_anew_is_refused(self):
        self.make_gaps()
        with h5py.File(self.folder / "in.h5", "a") as file:
            file.attrs["part"] = file["Imu/X"].regionref[0, 0, 5:9]
        before = (self.folder / "in.h5").read_bytes()
        told = self.call(*self.FILL, "--in-place", code=1).stderr
        self.assertIn("'Imu/X' cannot be made anew: '/' refers to a part of it", told)
        self.assertEqual((self.folder / "in.h5").read_bytes(), before)

    def test_a_set_gets_any_attribute(self):
        self.make_gaps()
        numbers = [f"Long={','.join(map(str, range(9000)))}"]
        self.call("attributes", "in.h5::Imu/X", *numbers, "-o", "out.h5")
        with self.read() as file:
            np.testing.assert_array_equal(file["Imu/X"].attrs["Long"], range(9000))
            self.assertEqual(file["Imu/X"].shape, (1, 1, 60000))

    def test_what_the_older_format_of_a_group_cannot_hold_is_refused(self):
        self.make_gaps()
        before = (self.folder / "in.h5").read_bytes()
        told = self.call("attributes", "in.h5::Imu", "--in-place",
                         "Long=" + json.dumps(list(range(9000))), code=5).stderr
        self.assertRegex(told, r"cannot create the attribute '\w+': .* \(\d+ bytes: an object "
                               r"in the older format of HDF5 files takes less than 65536; one that "
                               r"h5py makes with libver='latest' takes more\)")
        self.assertEqual((self.folder / "in.h5").read_bytes(), before)

    def test_the_newer_one_holds_it(self):
        self.make_gaps(libver="latest")
        self.call(*self.FILL, "-o", "out.h5")
        self.expect_filled()


class EncodingsOfNames(host_test.HostTest):
    """Which h5py takes for ASCII where they are."""

    NAMES = {b"Plain": h5py.h5t.CSET_ASCII, b"Wide": h5py.h5t.CSET_UTF8}

    def test_a_set_that_is_made_anew_keeps_them(self):
        for dtype, words in (("f8", OPPOSITE), ("f4", DOWNSAMPLE)):
            with self.make(libver="latest") as file:  # older groups keep none
                add_set(file, "Imu/X", dtype)
                for name, encoding in self.NAMES.items():
                    properties = h5py.h5p.create(h5py.h5p.LINK_CREATE)
                    properties.set_char_encoding(encoding)
                    file.id.links.create_hard(name, file["Imu"].id, b"X", properties)
            self.call(*words, "-o", "out.h5", "--force")
            with self.read() as file:
                for name, encoding in self.NAMES.items():
                    self.assertEqual(file[name], file["Imu/X"])
                    self.assertEqual(file.id.links.get_info(name).cset, encoding)


class Chunks(host_test.HostTest):
    def test_a_set_that_is_made_smaller_keeps_chunks_and_limits(self):
        for fill in (0, -9, np.nan):
            for dtype in ("f4", "f8"):
                with self.subTest(fill=fill, dtype=dtype):
                    with self.make() as file:
                        add_set(file, "Imu/X", dtype, chunks=(1, 1, 25), maxshape=(3, 1, 500),
                                fillvalue=fill)
                    self.call(*DOWNSAMPLE, "-o", "out.h5", "--force")
                    with self.read() as file:
                        made = file["Imu/X"]
                        self.assertEqual(made.chunks, (1, 1, 25))
                        self.assertEqual(made.maxshape, (3, 1, 500))
                        np.testing.assert_equal(made.fillvalue, np.float32(fill))
                        np.testing.assert_array_equal(made[0, 0], np.arange(0, 120, 2))


class Attributes(host_test.HostTest):
    """Of an object that keeps the order in which they were made."""

    NAMES = ["Unit", "SampleRate", "Subject", "Gain"]

    def setUp(self):
        super().setUp()
        with self.make(track_order=True) as file:
            made = file.create_dataset("Imu/X", data=np.arange(4, dtype="f4").reshape(1, 1, 4),
                                       track_order=True)
            for name, value in zip(self.NAMES, ("m/s", np.float32(100), "Anna", np.int16(3))):
                made.attrs[name] = value
        self.assertEqual(self.charsets("in.h5"), [h5py.h5t.CSET_ASCII] * len(self.NAMES))

    def names(self, name="out.h5"):
        with self.read(name) as file:
            return list(file["Imu/X"].attrs)

    def charsets(self, name="out.h5"):
        with self.read(name) as file:
            made = file["Imu/X"].id
            return [h5py.h5a.get_info(made, attribute.encode()).cset for attribute in self.NAMES]

    def set_words(self, *words):
        self.call("attributes", "in.h5::Imu/X", *words, "-o", "out.h5", "--force")

    def test_one_that_is_set_again_stays_where_it_is(self):
        self.set_words("SampleRate=50", "Unit=kN", "Gain=7", "Subject=Bertha")
        self.assertEqual(self.names(), self.NAMES)
        self.assertEqual(self.charsets(), self.charsets("in.h5"))
        with self.read() as file:
            self.assertEqual(dict(file["Imu/X"].attrs),
                             dict(zip(self.NAMES, ("kN", 50, "Bertha", 7))))
            self.assertEqual(file["Imu/X"].attrs["Gain"].dtype, np.int16)

    def test_one_of_another_type_keeps_the_encoding_of_its_name(self):
        self.set_words("SampleRate:float64=50", "Gain=7,8")
        self.assertEqual(self.names(), ["Unit", "Subject", "SampleRate", "Gain"])
        self.assertEqual(self.charsets(), self.charsets("in.h5"))
        with self.read() as file:
            self.assertEqual(list(file["Imu/X"].attrs["Gain"]), [7, 8])

    def test_a_unit_that_sets_the_rate_leaves_it_where_it_is(self):
        self.call(*DOWNSAMPLE, "-o", "out.h5")
        self.assertEqual(self.names()[:len(self.NAMES)], self.NAMES)
        self.assertEqual(self.charsets(), self.charsets("in.h5"))
        with self.read() as file:
            self.assertEqual(file["Imu/X"].attrs["SampleRate"], 50)


class SharedMessages(host_test.HostTest):
    """Which version 1.10 of the HDF5 library loses where one of them changes."""

    EXTENTS = 2  # H5O_SHMESG_SDSPACE_FLAG
    TYPES = 8  # H5O_SHMESG_DTYPE_FLAG

    def make_sharing(self, kind, version):
        """As self.make; h5py has no name for this property."""
        library = host_test.hdf5_library()
        properties = h5py.h5p.create(h5py.h5p.FILE_CREATE)
        file = ctypes.c_int64(properties.id)
        self.assertGreaterEqual(library.H5Pset_shared_mesg_nindexes(file, ctypes.c_uint(1)), 0)
        self.assertGreaterEqual(library.H5Pset_shared_mesg_index(
            file, ctypes.c_uint(0), ctypes.c_uint(kind), ctypes.c_uint(1)), 0)
        access = h5py.h5p.create(h5py.h5p.FILE_ACCESS)
        access.set_libver_bounds(version, h5py.h5f.LIBVER_LATEST)
        return h5py.File(h5py.h5f.create(os.fsencode(self.folder / "in.h5"), h5py.h5f.ACC_TRUNC,
                                         properties, access))

    def test_a_set_is_resized_or_the_reason_is_told(self):
        for kind, version, options in (
                (self.TYPES, h5py.h5f.LIBVER_EARLIEST, {}),
                (self.EXTENTS, h5py.h5f.LIBVER_LATEST, {"chunks": (1, 1, 10),
                                                        "maxshape": (1, 1, None)})):
            with self.subTest(kind=kind):
                with self.make_sharing(kind, version) as file:
                    for name in ("Imu/X", "Imu/Y"):
                        add_set(file, name, **options)
                self.assertIn("Imu/X", self.call("tree", "in.h5").stdout)
                result = host_test.run_host(self.folder, *DOWNSAMPLE, "-o", "out.h5", "--force")
                if result.returncode == 0:
                    with self.read() as file:
                        self.assertEqual(file["Imu/X"].shape, (1, 1, 60))
                else:
                    self.assertIn("(objects of the file share messages of their headers, which the "
                                  "HDF5 library may lose where one is changed; h5repack makes a "
                                  "copy that shares none)\n", result.stderr)
                    self.assertEqual(os.listdir(self.folder), ["in.h5"])


    def test_no_set_is_made_anew(self):
        """Attributes of a set so made could not be read any more, though nothing had failed."""
        with self.make_sharing(self.TYPES, h5py.h5f.LIBVER_EARLIEST) as file:
            imu = file.create_dataset("Imu/X", data=np.arange(-45, 45, dtype="i2").reshape(3, 1, 30))
            imu.attrs["SampleRate"] = 100.0
            imu.attrs["pair"] = np.array([(1, 2.5)], dtype=[("a", "i4"), ("b", "f8")])
        before = (self.folder / "in.h5").read_bytes()
        for place in (["-o", "out.h5"], ["--in-place", "--accept", "narrowing"]):
            result = host_test.run_host(self.folder, "run", "apply-set-opposite", "SourceGroup=Imu",
                                        "in.h5", *place)
            self.assertEqual(result.returncode, 1, result.stderr)
            self.assertIn("cannot make anew 'Imu/X' (objects of the file share messages",
                          result.stderr)
            self.assertEqual((self.folder / "in.h5").read_bytes(), before)
            self.assertEqual(os.listdir(self.folder), ["in.h5"])


class AllThatIsThere(host_test.HostTest):
    """What a walk over all objects finds, before and after a set is made anew."""

    def describe_value(self, file, value):
        if isinstance(value, h5py.RegionReference):
            return "region"
        if isinstance(value, h5py.Reference):
            return file[value].name if value else "nowhere"
        if isinstance(value, np.void) and value.dtype.names:
            return [self.describe_value(file, value[name]) for name in value.dtype.names]
        if isinstance(value, np.ndarray):
            return [self.describe_value(file, one) for one in value]
        return repr(value)

    def describe_attribute(self, item, name):
        opened = item.attrs.get_id(name)
        return (str(opened.dtype), opened.shape, opened.get_type().committed(),
                h5py.h5a.get_info(item.id, name.encode()).cset,
                self.describe_value(item.file, item.attrs[name]))

    def describe_set(self, data):
        properties = data.id.get_create_plist()
        return {"type": (str(data.dtype), data.id.get_type().committed()),
                "extents": (data.shape, data.maxshape, data.chunks),
                "layout": properties.get_layout(),
                "filters": [properties.get_filter(i) for i in range(properties.get_nfilters())],
                "fill": (repr(float(data.fillvalue)) if data.dtype.kind == "f" else "",
                         properties.fill_value_defined(), properties.get_fill_time(),
                         properties.get_alloc_time()),
                "room for attributes": (properties.get_attr_phase_change(),
                                        properties.get_attr_creation_order()),
                "values": self.describe_value(data.file, data[()])}

    def describe_links(self, group):
        return {name: (group.id.links.get_info(name.encode()).cset,
                       getattr(group.get(name, getlink=True), "path", ""))
                for name in group}

    def walk(self, name):
        with self.read(name) as file:
            properties = file.id.get_create_plist()
            found = {"file": (properties.get_userblock(), properties.get_sizes())}

            def describe(path, item):
                found[path] = {"names": h5py.h5o.get_info(item.id).rc,
                               "comment": file.id.get_comment(path.encode()),
                               "attributes": {attribute: self.describe_attribute(item, attribute)
                                              for attribute in item.attrs}}
                if isinstance(item, h5py.Dataset):
                    found[path].update(self.describe_set(item))
                elif isinstance(item, h5py.Group):
                    found[path]["links"] = self.describe_links(item)

            file.visititems(describe)
            found["root"] = self.describe_links(file)
            return found

    def fill(self, file, data):
        file["Axes/time"] = np.arange(120) / 100
        file["Axes/time"].make_scale("time")
        data.dims[2].attach_scale(file["Axes/time"])
        data.dims[1].label = "side"
        file["Zed/Hard"] = data
        file["Soft"] = h5py.SoftLink("/Imu/X")
        file["Out"] = h5py.ExternalLink("other.h5", "/x")
        file["list"] = np.array([data.ref, file["Imu"].ref, h5py.Reference()], dtype=h5py.ref_dtype)
        file["kind"] = np.dtype([("count", ">i2"), ("set", h5py.ref_dtype)])
        file["kind"].attrs["of"] = data.ref
        kind = file["kind"].dtype
        data.attrs.create("row", np.array([(3, data.ref)], dtype=kind), dtype=file["kind"])
        for i in range(20):  # more than the header of an object has room for
            data.attrs[f"n{i}"] = np.arange(i, dtype=">f4")
        for name, value in (("text", "m/s\u00b2"), ("fixed", np.array([b"ab", b"c"])),
                            ("truth", True), ("opaque", np.void(b"\1\2")), ("\u00fc", 1j),
                            ("none", h5py.Empty("f4"))):
            data.attrs[name] = value
        h5py.h5o.set_comment(data.id, COMMENT)
        h5py.h5o.set_comment(file["Imu"].id, COMMENT)

    def test_stays_but_for_the_type_of_the_samples(self):
        for layout in ("CHUNKED", "CONTIGUOUS", "COMPACT"):
            for options in ({}, {"libver": "latest"}, {"userblock_size": 512, "track_order": True}):
                with self.subTest(layout=layout, **options):
                    with self.make(**options) as file:
                        properties = h5py.h5p.create(h5py.h5p.DATASET_CREATE)
                        properties.set_layout(getattr(h5py.h5d, layout))
                        properties.set_fill_value(np.array(7.0))
                        properties.set_fill_time(h5py.h5d.FILL_TIME_ALLOC)
                        properties.set_attr_phase_change(5, 3)
                        if layout == "CHUNKED":
                            properties.set_chunk((1, 1, 50))
                            properties.set_alloc_time(h5py.h5d.ALLOC_TIME_EARLY)
                            properties.set_fletcher32()
                        made = h5py.h5d.create(file.create_group("Imu").id, b"X",
                                               h5py.h5t.IEEE_F64LE,
                                               h5py.h5s.create_simple((1, 1, 120)), dcpl=properties)
                        made.write(h5py.h5s.ALL, h5py.h5s.ALL, np.zeros((1, 1, 120)))
                        file["Imu/X"].attrs["SampleRate"] = 100.0
                        self.fill(file, file["Imu/X"])
                    self.call(*OPPOSITE, "-o", "out.h5", "--force")
                    before, after = self.walk("in.h5"), self.walk("out.h5")
                    self.assertEqual(before["Imu/X"].pop("type"), ("float64", False))
                    self.assertEqual(after["Imu/X"].pop("type"), ("float32", False))
                    after["Imu/X"]["values"] = before["Imu/X"]["values"]
                    self.maxDiff = None
                    self.assertEqual(after, before)


class ListsInTables(host_test.HostTest):
    """Of several arrays of compounds with parts of varying length the HDF5 library 1.10 writes only
    the first one rightly. Here one is written at a time."""

    TEXTS = [[f"text {row} {column}" for column in range(2)] for row in range(3)]

    def pair(self, *more):
        return np.dtype([("mark", "i4"), ("text", h5py.string_dtype()), *more])

    def write_one_by_one(self, file, name, pair, fill):
        """Gives the data set its values, each an array of two."""
        type_ = np.dtype((pair, (2,)))
        made = h5py.h5d.create(file.id, name.encode(), h5py.h5t.py_create(type_, logical=True),
                               h5py.h5s.create_simple((3,)))
        for row in range(3):
            value = np.zeros((1, 2), pair)
            for column in range(2):
                value[0, column] = fill(row, column)
            there = made.get_space()
            there.select_hyperslab((row,), (1,))
            made.write(h5py.h5s.create_simple((1,)), there, value, h5py.h5t.py_create(type_))
        return made

    def read_texts(self, values):
        return [[pair["text"].decode() for pair in row] for row in values]

    def make_with_attribute(self, dtype, **options):
        """The bytes of an attribute, which can only be written as a whole, are put in the file."""
        pair = self.pair()
        with self.make() as file:
            data = add_set(file, "Imu/X", dtype, **options)
            made = self.write_one_by_one(file, "table", pair,
                                         lambda row, column: (0x5A5A + row, self.TEXTS[row][column]))
            type_ = made.get_type()
            made_one = h5py.h5a.create(data.id, b"pairs", type_, h5py.h5s.create_simple((3,)))
            values = np.zeros((3, 2), pair)
            values["mark"] = 0x5B5B
            values["text"] = ""
            made_one.write(values, h5py.h5t.py_create(np.dtype((pair, (2,)))))
            size, place = made.get_storage_size(), made.get_offset()
        content = bytearray((self.folder / "in.h5").read_bytes())
        wrong = content.index(0x5B5B.to_bytes(4, "little"))
        content[wrong:wrong + size] = content[place:place + size]
        (self.folder / "in.h5").write_bytes(content)
        with self.read("in.h5") as file:
            self.assertEqual(self.read_texts(file["Imu/X"].attrs["pairs"]), self.TEXTS)

    def refuse(self, reason, *words):
        before = (self.folder / "in.h5").read_bytes()
        result = host_test.run_host(self.folder, *words)
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn(f"'Imu/X' cannot be made anew: the HDF5 library does not keep the values of "
                      f"{reason}\n", result.stderr)
        self.assertEqual((self.folder / "in.h5").read_bytes(), before)
        self.assertEqual(os.listdir(self.folder), ["in.h5"])

    def test_an_attribute_that_would_lose_them_is_refused(self):
        for dtype, words in (("f8", OPPOSITE), ("f4", DOWNSAMPLE)):
            with self.subTest(dtype=dtype):
                self.make_with_attribute(dtype)
                self.refuse("its attribute 'pairs'", *words, "-o", "out.h5")
                self.refuse("its attribute 'pairs'", *words, "--in-place", "--accept", "narrowing")

    def test_one_of_a_set_that_stays_in_its_place_is_kept(self):
        self.make_with_attribute("f4")
        self.call(*OPPOSITE, "-o", "out.h5")
        with self.read() as file:
            self.assertEqual(self.read_texts(file["Imu/X"].attrs["pairs"]), self.TEXTS)

    def test_a_table_that_refers_to_the_set_and_would_lose_them_is_refused(self):
        with self.make() as file:
            data = add_set(file, "Imu/X", "f8")
            self.write_one_by_one(file, "table", self.pair(("set", h5py.ref_dtype)),
                                  lambda row, column: (row, self.TEXTS[row][column], data.ref))
        with self.read("in.h5") as file:
            self.assertEqual(self.read_texts(file["table"][...]), self.TEXTS)
        self.refuse("'/table', which refer to it", *OPPOSITE, "-o", "out.h5")

    def test_others_are_kept(self):
        pair = self.pair()
        lists = h5py.vlen_dtype("i4")
        with self.make() as file:
            data = add_set(file, "Imu/X", "f8")
            data.attrs["one"] = np.array([(1, "a"), (2, "")], dtype=pair)
            data.attrs["lists"] = np.array([np.arange(3, dtype="i4"), np.arange(0, dtype="i4")],
                                           dtype=lists)
            data.attrs["texts"] = np.array(["", "m/s"], dtype=h5py.string_dtype())
            data.attrs["none"] = np.zeros(0, pair)
            file["kind"] = np.dtype([("low", "i1"), ("high", "f8")], align=True)
            data.attrs.create("named", np.array([(1, np.nan)], dtype=file["kind"].dtype),
                              dtype=file["kind"])
        self.call(*OPPOSITE, "-o", "out.h5")
        with self.read("in.h5") as before, self.read() as after:
            old, new = before["Imu/X"].attrs, after["Imu/X"].attrs
            self.assertEqual(set(new) - {"talvora"}, set(old))
            for name in old:
                self.assertEqual(new.get_id(name).dtype, old.get_id(name).dtype)
                np.testing.assert_equal(new[name].tolist(), old[name].tolist())
            self.assertTrue(new.get_id("named").get_type().committed())


class UnknownFilters(host_test.HostTest):
    """A filter of another maker, which rounds to halves where it is told to (halving_filter.cpp)."""

    HALVING = 305

    def setUp(self):
        super().setUp()
        if not h5py.h5z.filter_avail(self.HALVING):
            self.skipTest("the filter cannot be loaded here")

    def make_filtered(self, rounds, dtype="f4"):
        with self.make() as file:
            properties = h5py.h5p.create(h5py.h5p.DATASET_CREATE)
            properties.set_chunk((1, 1, 40))
            properties.set_filter(self.HALVING, h5py.h5z.FLAG_MANDATORY, (int(rounds),))
            made = h5py.h5d.create(file.create_group("Imu").id, b"X",
                                   h5py.h5t.py_create(np.dtype(dtype)),
                                   h5py.h5s.create_simple((1, 1, 120)), dcpl=properties)
            made.write(h5py.h5s.ALL, h5py.h5s.ALL,
                       np.arange(120, dtype=dtype).reshape(1, 1, 120) + dtype.startswith("f") / 4)
            file["Imu/X"].attrs["SampleRate"] = np.float32(100)

    def test_one_that_keeps_what_it_takes_is_no_hindrance(self):
        for dtype in ("f4", "i4"):
            self.make_filtered(rounds=False, dtype=dtype)
            self.call(*OPPOSITE, "-o", "out.h5", "--force")
            with self.read() as file, self.read("in.h5") as before:
                np.testing.assert_array_equal(file["Imu/X"], -before["Imu/X"][...])
                self.assertEqual(file["Imu/X"].id.get_create_plist().get_filter(0)[0], self.HALVING)

    def test_samples_that_it_rounds_are_refused(self):
        (self.folder / "two.yaml").write_text(
            "steps:\n- unit: apply-set-butterworth\n"
            "  parameters: {SourceGroup: Imu, CutoffFrequency: 5, Order: 2}\n"
            "- unit: apply-set-opposite\n  parameters: {SourceGroup: Imu}\n")
        quarter = ["run", "apply-set-butterworth", "SourceGroup=Imu", "CutoffFrequency=5", "Order=2",
                   "in.h5"]
        self.make_filtered(rounds=True)
        before = (self.folder / "in.h5").read_bytes()
        for words in (quarter, ["recipe", "run", "two.yaml", "in.h5"]):
            for place in (["-o", "out.h5"], ["--in-place"], ["-o", "out.h5", "--dry-run"]):
                with self.subTest(words=words, place=place):
                    result = host_test.run_host(self.folder, *words, *place)
                    self.assertEqual(result.returncode, 5, result.stderr)
                    self.assertIn("'Imu/X' reads back other samples than were written to it: the "
                                  "filter 305 (halving), which is not known here, may round them",
                                  result.stderr)
                    self.assertEqual((self.folder / "in.h5").read_bytes(), before)
                    self.assertFalse((self.folder / "out.h5").exists())

    def test_what_no_step_writes_stays(self):
        self.make_filtered(rounds=True)
        self.call("run", "average-set", "SourceGroup=Imu", "DestinationGroup=Means", "in.h5", "-o",
                  "out.h5")
        with self.read() as file, self.read("in.h5") as before:
            np.testing.assert_array_equal(file["Imu/X"], before["Imu/X"])


class ReferencesElsewhere(host_test.HostTest):
    """What is kept in another file is not opened, and may lead to any set."""

    def add_external(self, file):
        references = file.create_dataset("List", (1,), h5py.ref_dtype,
                                         external=[(str(self.folder / "list.raw"), 0, 8)])
        references[0] = file["Imu/X"].ref

    def add_virtual(self, file):
        with h5py.File(self.folder / "list.h5", "w") as other:
            other.create_dataset("List", (1,), h5py.ref_dtype)
        layout = h5py.VirtualLayout((1,), h5py.ref_dtype)
        layout[:] = h5py.VirtualSource(self.folder / "list.h5", "List", (1,), h5py.ref_dtype)
        file.create_virtual_dataset("List", layout)

    def test_no_set_is_made_anew_or_smaller(self):
        for add in (self.add_external, self.add_virtual):
            for dtype, words, change in (("f8", OPPOSITE, "made anew"),
                                         ("f4", DOWNSAMPLE, "made smaller")):
                with self.subTest(add=add.__name__, change=change):
                    with self.make() as file:
                        add_set(file, "Imu/X", dtype, chunks=(1, 1, 50), maxshape=(1, 1, None))
                        add(file)
                    result = host_test.run_host(self.folder, *words, "-o", "out.h5")
                    self.assertEqual(result.returncode, 1, result.stderr)
                    self.assertIn(f"'Imu/X' cannot be {change}: '/List' holds references in another "
                                  "file, which may lead to it\n", result.stderr)
                    self.assertFalse((self.folder / "out.h5").exists())


class DeletedTargets(host_test.HostTest):
    """A reference to a region of what is there no more keeps nothing from being made smaller."""

    def test_a_region_of_nothing_is_no_hindrance(self):
        for version in ("earliest", "latest"):
            for later in (False, True):
                for last in (False, True):
                    with self.subTest(version=version, later=later, last=last):
                        self.make_region_of_nothing(version, later, last)
                        self.call(*DOWNSAMPLE, "-o", "out.h5", "--force")
                        with self.read() as file:
                            self.assertEqual(file["Imu/X"].shape, (1, 1, 60))

    def make_region_of_nothing(self, version, later, last):
        with self.make(libver=version) as file:
            if last:
                add_set(file, "Imu/X", chunks=(1, 1, 25), maxshape=(1, 1, None))
                file.flush()
            target = file.create_dataset("Target", data=np.arange(10.0))
            file.attrs.create("region", target.regionref[2:4], dtype=h5py.regionref_dtype)
            if not last:
                add_set(file, "Imu/X", chunks=(1, 1, 25), maxshape=(1, 1, None))
            if not later:
                del file["Target"]
        if later:
            with h5py.File(self.folder / "in.h5", "r+", libver=version) as file:
                del file["Target"]


class Scales(host_test.HostTest):
    """Of a set with dimension scales, as netCDF files have them."""

    def setUp(self):
        super().setUp()
        self.make_scales()

    def make_scales(self, dtype="f4", **options):
        with self.make() as file:
            made = add_set(file, "Imu/X", dtype, **options)
            for path, dimension, count in (("Axes/time", 2, 120), ("Axes/side", 1, 1)):
                file[path] = np.arange(count) / 100
                file[path].make_scale(path)
                made.dims[dimension].attach_scale(file[path])

    def refuse(self, *words):
        before = (self.folder / "in.h5").read_bytes()
        result = self.call(*words, code=1)
        self.assertIn("stale-scale: Imu/X: its dimension 2 was resized from 120 to 60, and the "
                      "attached dimension scale '/Axes/time' has 120 values ",
                      " ".join(result.stderr.split()))
        self.assertEqual((self.folder / "in.h5").read_bytes(), before)
        self.assertFalse((self.folder / "out.h5").exists())

    def test_a_resized_set_does_not_leave_a_scale_of_another_length(self):
        recipe = "steps:\n- unit: apply-set-downsample\n  to_rate: 50\n" \
                 "  parameters: {SourceGroup: Imu}\n"
        (self.folder / "slow.yaml").write_text(recipe)
        for options in ({}, {"dtype": "f8"}, {"chunks": (1, 1, 50)}):
            with self.subTest(**options):
                self.make_scales(**options)
                self.refuse(*DOWNSAMPLE, "-o", "out.h5")
                self.refuse(*DOWNSAMPLE, "-o", "out.h5", "--dry-run")
                self.refuse(*DOWNSAMPLE, "--in-place", "--accept", "narrowing")
                self.refuse("recipe", "run", "slow.yaml", "in.h5", "-o", "out.h5")

    def test_one_that_is_accepted_is_told_and_stays_as_it_was(self):
        result = self.call(*DOWNSAMPLE, "-o", "out.h5", "--accept", "stale-scale")
        self.assertIn("stale-scale (accepted): Imu/X: ", result.stderr)
        with self.read() as file:
            self.assertEqual(file["Imu/X"].shape, (1, 1, 60))
            self.assertEqual(file["Imu/X"].dims[2][0], file["Axes/time"])
            self.assertEqual(file["Axes/time"].shape, (120,))

    def test_a_set_that_keeps_its_length_has_its_scales(self):
        self.call(*OPPOSITE, "-o", "out.h5")
        with self.read() as file:
            self.assertEqual(file["Imu/X"].dims[2][0], file["Axes/time"])

    def test_a_scale_is_not_resized_without_its_sets(self):
        alone = ["run", "apply-set-downsample", "SourceSets=Axes/time", "--to-rate", "50", "in.h5"]
        for dtype in ("f4", "f8"):
            with self.subTest(dtype=dtype):
                self.make_scales()
                with h5py.File(self.folder / "in.h5", "r+") as file:
                    file["Imu/X"].dims[2].detach_scale(file["Axes/time"])
                    del file["Axes/time"]
                    file["Axes/time"] = np.arange(120).astype(dtype)
                    file["Axes/time"].attrs["SampleRate"] = np.float32(100)
                    file["Axes/time"].make_scale("time")
                    file["Imu/X"].dims[2].attach_scale(file["Axes/time"])
                result = self.call(*alone, "-o", "out.h5", "--force", code=1)
                self.assertIn("stale-scale: Axes/time: it was resized and has 60 values, and "
                              "dimension 2 of '/Imu/X', whose dimension scale it is, has the "
                              "length 120", result.stderr)
                both = [*alone[:2], "SourceSets=Axes/time", "SourceSets=Imu/X", *alone[3:]]
                self.call(*both, "-o", "out.h5", "--force")

    def test_a_scale_that_does_not_name_its_sets_is_not_resized_without_them(self):
        """As programs make them that attach scales by hand."""
        for left in ([], ["CLASS"], ["CLASS", "NAME"]):
            with self.subTest(left=left):
                self.make_scales()
                with h5py.File(self.folder / "in.h5", "r+") as file:
                    time = file["Axes/time"]
                    for name in set(time.attrs) - set(left):
                        del time.attrs[name]
                    time.attrs["SampleRate"] = np.float32(100)
                result = self.call("run", "apply-set-downsample", "SourceSets=Axes/time",
                                   "--to-rate", "50", "in.h5", "-o", "out.h5", "--accept",
                                   "narrowing", code=1)
                self.assertIn("stale-scale: Axes/time: it was resized and has 60 values, and "
                              "dimension 2 of '/Imu/X', whose dimension scale it is, has the "
                              "length 120", " ".join(result.stderr.split()))
                self.refuse(*DOWNSAMPLE, "-o", "out.h5")

    def test_scales_that_are_detached_or_deleted_are_none(self):
        with h5py.File(self.folder / "in.h5", "r+") as file:
            file["Imu/X"].dims[2].detach_scale(file["Axes/time"])
            del file["Axes/time"]
        self.call(*DOWNSAMPLE, "-o", "out.h5")

    def test_an_attribute_of_that_name_may_be_anything(self):
        for value in (3, "Axes/time", np.arange(5)):
            with self.subTest(value=value):
                with h5py.File(self.folder / "in.h5", "r+") as file:
                    file["Imu/X"].attrs["DIMENSION_LIST"] = value
                self.call(*DOWNSAMPLE, "-o", "out.h5", "--force")


class NamesWithControlCharacters(host_test.HostTest):
    def test_the_way_back_of_an_export_is_a_command_for_a_shell(self):
        with self.make() as file:
            for name, labels, unit in (("Two\nlines", ["left\nfoot", "it's \\ right"], "m"),
                                       ("Tab\there", ["a\tb", "c\x1b[1m"], "N\r\ns"),
                                       ("\u202eturned", ["x", "y"], "V")):
                made = file.create_dataset(f"Imu/{name}",
                                           data=np.random.default_rng(3).standard_normal(
                                               (2, 1, 40)).astype("f4"))
                made.attrs["SampleRate"] = np.float32(100)
                made.attrs["Labels"] = labels
                made.attrs["Unit"] = unit
        errors = self.call("export", "in.h5", "-o", "out.csv").stderr
        way = next(line.removeprefix("info: back: ") for line in errors.splitlines()
                   if line.startswith("info: back: "))
        self.assertNotIn("with other labels or units", errors)
        command = way.replace("talvora-host", host_test.PROGRAMS["host"]).replace("FILE.h5", "out.h5")
        done = subprocess.run(["bash", "-c", command], cwd=self.folder, capture_output=True,
                              check=False)
        self.assertEqual(done.returncode, 0, (command, done.stderr))
        with self.read("in.h5") as before, self.read() as after:
            self.assertEqual(list(after["Imu"]), list(before["Imu"]))
            for name, data in before["Imu"].items():
                np.testing.assert_array_equal(after["Imu"][name], data)
                self.assertEqual(list(after["Imu"][name].attrs["Labels"]),
                                 list(data.attrs["Labels"]))
                self.assertEqual(after["Imu"][name].attrs["Unit"], data.attrs["Unit"])


class NamesThatAreNoUtf8(host_test.HostTest):
    """The group b"Gr\xf6\xdfe", as programs of another time wrote it."""

    NAME = b"Gr\xf6\xdfe"

    def setUp(self):
        super().setUp()
        with self.make() as file:
            add_set(file, "Imu/X", "f4")
            file.move(b"Imu", self.NAME)

    def test_one_that_is_given_is_refused(self):
        for words in (["run", "apply-set-opposite", b"SourceGroup=" + self.NAME],
                      ["run", "apply-set-opposite", b"SourceSets=" + self.NAME + b"/X"],
                      ["run", "average-set", "SourceGroup=Gr*", b"DestinationGroup=\xff"]):
            result = self.call(*words, "in.h5", "-o", "out.h5", code=2)
            self.assertRegex(result.stderr, r"cannot be '.*\\x[FD][6F].*' \(allowed: UTF-8, as ")
        (self.folder / "walk.csv").write_text("t,X\n0,1\n0.1,2\n0.2,3\n")
        for words in (["walk.csv", "--group", self.NAME],
                      [b"in.h5::" + self.NAME, "--time-axis", "-1", "--rate", "100"]):
            self.assertIn("is no UTF-8, and the history cannot keep it",
                          self.call("import", *words, "-o", "out.h5", code=2).stderr)
        self.assertFalse((self.folder / "out.h5").exists())

    def test_one_that_a_pattern_chooses_is_kept_and_shown(self):
        os.rename(self.folder / "in.h5", os.fsencode(self.folder) + b"/\xff.h5")
        self.call("run", "apply-set-opposite", "SourceGroup=Gr??e", b"\xff.h5", "-o", "out.h5")
        with self.read() as file:
            self.assertIn("X", file[self.NAME])
            record = json.loads(file.attrs["talvora_history"][0])
        self.assertEqual(record["parameters"]["SourceGroup"], "Gr??e")
        self.assertEqual(record["sets"][0]["path"], r"Gr\xF6\xDFe/X")
        self.assertEqual(record["input"]["name"], r"\xFF.h5")
        self.call("recipe", "extract", "out.h5", "-o", "again.yaml")
        self.assertIn('SourceGroup: "Gr??e"', (self.folder / "again.yaml").read_text())
        self.call("run", "apply-set-opposite", "SourceGroup=Gr??e", b"\xff.h5", "-o", "out.h5",
                  "--resume")


if __name__ == "__main__":
    host_test.main()
