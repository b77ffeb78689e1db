"""Units run on signals, what is told of them, and files shared with the program.

    units_test.py TALVORA_HOST FAULTY_PLUGINS
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
import warnings

import h5py
import numpy as np

import talvora

HOST, FAULTY_PLUGINS = sys.argv[1:3]


def run_host(*words):
    return subprocess.run([HOST, *map(str, words)], check=True, capture_output=True,
                          text=True).stdout


def made_signal(rate=100, shape=(3, 1, 400)):
    samples = np.random.default_rng(6).standard_normal(shape).astype(np.float32)
    return talvora.Signal(samples, rate=rate, attributes={"Unit": "g", "Labels": ["X", "Y", "Z"],
                                                          "StartTime": 0.25})


class Described(unittest.TestCase):
    def test_as_the_program_tells(self):
        listed = json.loads(run_host("units", "--json"))
        self.assertEqual([unit.identifier for unit in talvora.units()],
                         [unit["name"] for unit in listed])
        self.assertEqual([unit.description for unit in talvora.units()],
                         [unit["description"] for unit in listed])

    def test_with_every_parameter(self):
        for unit in talvora.units():
            told = json.loads(run_host("describe", unit.identifier, "--json"))["parameters"]
            described = talvora.describe(unit.identifier)
            self.assertEqual(described, unit)
            self.assertEqual([(one.key, one.type, one.required) for one in described.parameters],
                             [(one["key"], one["type"], one["required"]) for one in told])

    def test_as_text(self):
        text = repr(talvora.describe("average-set"))
        self.assertRegex(text, r"(?m)^orvane\.signal\.average-set \d")
        self.assertRegex(text, r"(?m)^  SourceGroup +string +required$")
        self.assertRegex(repr(talvora.units()), r"(?m)^  orvane\.signal\.average-set ")

    def test_with_what_each_parameter_means(self):
        for unit in talvora.units():
            told = run_host("describe", unit.identifier).splitlines()
            text = repr(unit).splitlines()
            meanings = [line for line in told if line.startswith(" " * 6)]
            self.assertEqual([line for line in text if line.startswith(" " * 6)], meanings)
            choices = [line[3:-1] for line in told
                       if line.startswith("  (") and line != "  (a list is given by repeating its key)"]
            self.assertEqual(unit.choices, "; ".join(choices) or None)
            # Every one has a meaning.
            self.assertEqual(len(meanings), len(unit.parameters))
        edge = {one.key: one for one in talvora.describe("apply-set-butterworth").parameters}[
            "CutoffFrequency"]
        self.assertEqual((edge.measure, edge.allowed), ("Hz", "above 0"))
        self.assertIn("edge", edge.meaning)

    def test_names_the_nearest_of_an_unknown_one(self):
        with self.assertRaisesRegex(talvora.NotFoundError, "average-set"):
            talvora.describe("averge-set")
        with self.assertRaises(TypeError):
            talvora.describe(1)


class Runs(unittest.TestCase):
    def test_give_what_was_made(self):
        signal = made_signal()
        out = talvora.run("average-set", {"Imu/Rate": signal}, SourceGroup="Imu",
                          DestinationGroup="Mean")
        self.assertEqual(list(out), ["Mean/Rate"])
        np.testing.assert_allclose(out["Mean/Rate"].samples, signal.samples.mean(2, keepdims=True),
                                   atol=1e-6)
        self.assertEqual(out["Mean/Rate"].attributes["Unit"], "g")
        self.assertEqual(out["Mean/Rate"].attributes["Labels"], ["X", "Y", "Z"])

    def test_give_what_was_changed_and_leave_what_was_given(self):
        signal = made_signal()
        before = signal.samples.copy()
        out = talvora.run("apply-set-rectify", {"Imu/Rate": signal, "Other/Rate": signal},
                          SourceSets=["Imu/Rate"])
        self.assertEqual(list(out), ["Imu/Rate"])
        np.testing.assert_array_equal(out["Imu/Rate"].samples, abs(before))
        np.testing.assert_array_equal(signal.samples, before)
        self.assertEqual(out["Imu/Rate"].rate, 100)

    def test_give_what_attributes_alone_were_written_of(self):
        x = np.arange(60, dtype=np.float32).reshape(1, 1, 60)
        signals = {"Imu/A": talvora.Signal(x, rate=50), "B": talvora.Signal(x, rate=50)}
        made = talvora.run("apply-set-fill-gap", signals, SourceGroup="Imu", MaxGapLength=3)
        self.assertEqual(list(made), ["Imu/A"])
        self.assertEqual(made["Imu/A"].attributes["FillGapMaxGapLength"], 3)
        np.testing.assert_array_equal(made["Imu/A"].samples, x)

    def test_filter_as_butterworth_does(self):
        signal = made_signal()
        out = talvora.run("apply-set-butterworth", {"Imu/Rate": signal}, SourceGroup="Imu",
                          CutoffFrequency=6, Order=4)
        np.testing.assert_array_equal(
            out["Imu/Rate"].samples, talvora.butterworth(signal.samples, rate=100, cutoff=6))

    def test_take_the_rate_of_a_group(self):
        signals = talvora.Signals({"Imu/Rate": talvora.Signal(np.arange(10.0), rate=100)})
        signals.groups["Slow"] = {"SampleRate": 50.0}
        out = talvora.run("apply-set-downsample", signals, SourceGroup="Imu", HintGroup="Slow")
        np.testing.assert_array_equal(out["Imu/Rate"].samples.ravel(), [0, 2, 4, 6, 8])
        self.assertEqual(out["Imu/Rate"].rate, 50)

    def test_take_what_is_no_float32(self):
        for values in ([1, -2, 3], np.array([1.0, -2.0, 3.0]), np.array([-1, 2, -3])[::-1]):
            out = talvora.run("apply-set-rectify", {"A": talvora.Signal(values, rate=1)},
                              SourceSets=["A"])
            np.testing.assert_array_equal(np.sort(out["A"].samples.ravel()), [1, 2, 3])

    def test_take_parameters_of_numpy(self):
        signals = {"Imu/Rate": made_signal()}
        expected = talvora.run("average-set", signals, SourceGroup="Imu", DestinationGroup="Mean",
                               Axis=0)
        for axis in (np.array(0), np.int8(0)):
            out = talvora.run("average-set", signals, SourceGroup=np.array("Imu"),
                              DestinationGroup=np.str_("Mean"), Axis=axis)
            np.testing.assert_array_equal(out["Mean/Rate"].samples, expected["Mean/Rate"].samples)
        out = talvora.run("average-set", signals, SourceGroup="Imu", DestinationGroup="Mean",
                          NamesFilter=np.array(["Rate"]))
        self.assertEqual(list(out), ["Mean/Rate"])

    def test_honour_masks(self):
        signal = talvora.Signal([0.0], rate=100)
        signal.samples = np.ma.masked_array([[[1.0, 99.0, 3.0]]], mask=[[[0, 1, 0]]])
        out = talvora.run("apply-set-fill-gap", {"A": signal}, SourceSets=["A"], MaxGapLength=1)
        np.testing.assert_array_equal(out["A"].samples.ravel(), [1, 2, 3])

    def test_keep_samples_as_long_as_they_are_used(self):
        out = talvora.run("apply-set-rectify", {"A": made_signal()}, SourceSets=["A"])
        samples, expected = out["A"].samples, out["A"].samples.copy()
        del out
        for _ in range(50):
            talvora.run("apply-set-opposite", {"A": made_signal()}, SourceSets=["A"])
        np.testing.assert_array_equal(samples, expected)
        samples[:] = 0  # the caller's own

    def test_pass_through_a_chain(self):
        rectified = talvora.run("apply-set-rectify", {"A/B": made_signal()}, SourceGroup="A")
        mean = talvora.run("average-set", rectified, SourceGroup="A", DestinationGroup="C")
        np.testing.assert_allclose(mean["C/B"].samples,
                                   abs(made_signal().samples).mean(2, keepdims=True), atol=1e-6)


class SignalsOfSignals(unittest.TestCase):
    def test_keep_rate_and_attributes(self):
        signal = talvora.Signal(made_signal())
        self.assertEqual((signal.rate, signal.attributes), (100, made_signal().attributes))
        np.testing.assert_array_equal(signal.samples, made_signal().samples)

    def test_have_others_when_given(self):
        signal = talvora.Signal(made_signal(), rate=50, attributes={"Unit": "m/s2"})
        self.assertEqual(signal.rate, 50)
        self.assertEqual(signal.attributes, {**made_signal().attributes, "Unit": "m/s2",
                                             "SampleRate": 50})
        self.assertEqual(made_signal().attributes["Unit"], "g")

    def test_are_copied_with_their_groups(self):
        signals = talvora.Signals({"A": made_signal()})
        signals.groups["B"] = {"Side": "left"}
        copied = signals.copy()
        copied.groups["C"] = {}
        self.assertIsInstance(copied, talvora.Signals)
        self.assertEqual(signals.groups, {"B": {"Side": "left"}})
        self.assertEqual(copied.groups["B"], {"Side": "left"})


class Failures(unittest.TestCase):
    def run_filter(self, **others):
        parameters = {"SourceGroup": "Imu", "CutoffFrequency": 60, "Order": 4, **others}
        return talvora.run("apply-set-butterworth", {"Imu/Rate": made_signal()}, **parameters)

    def test_name_the_guard_that_can_be_accepted(self):
        with self.assertRaises(talvora.GuardError) as caught:
            self.run_filter()
        self.assertEqual(caught.exception.guard, "unusable-filter")
        with warnings.catch_warnings(record=True) as caught:
            warnings.simplefilter("always")
            out = self.run_filter(accept=["unusable-filter", "not-finite"])
        self.assertEqual(list(out), ["Imu/Rate"])
        self.assertTrue(any(issubclass(warning.category, talvora.UnitWarning)
                            for warning in caught))

    def test_of_parameters_are_told(self):
        for error, text, parameters in (
                (ValueError, "Bandform", {"Bandform": "notch"}),
                (talvora.NotFoundError, "CutoffFrequency", {"CutoffFrequenzy": 1}),
                (ValueError, "Order", {"Order": "four"}),
                (TypeError, "Order", {"Order": 4j}),
                (TypeError, "Order", {"Order": None}),
                (ValueError, "zero character", {"SourceGroup": "a\0b"})):
            with self.subTest(**parameters):
                with self.assertRaisesRegex(error, text):
                    self.run_filter(**parameters)

    def test_of_guards_that_there_are_not_are_told(self):
        with self.assertRaisesRegex(talvora.NotFoundError, "no-such-guard"):
            self.run_filter(accept=["no-such-guard"])

    def test_of_units_come_with_their_messages(self):
        with self.assertRaises(talvora.UnitError) as caught:
            talvora.run("apply-set-butterworth", {"A": talvora.Signal(np.zeros(50))},
                        SourceSets=["A"], CutoffFrequency=6, Order=4)
        self.assertTrue(any("SampleRate" in text for text in caught.exception.messages))

    def test_of_signals_are_told(self):
        for error, path, signal in (
                (TypeError, "A", np.zeros(5, complex)), (TypeError, 1, np.zeros(5)),
                (ValueError, "", np.zeros(5)), (ValueError, "A\0", np.zeros(5)),
                (ValueError, "A", np.array([1e300])), (ValueError, "A", 1.0)):
            with self.subTest(path=path, signal=signal):
                with self.assertRaises(error):
                    talvora.run("apply-set-rectify", {path: signal}, SourceSets=["A"])
        with self.assertRaisesRegex(TypeError, "mapping"):
            talvora.run("apply-set-rectify", [made_signal()], SourceSets=["A"])
        with self.assertRaisesRegex(TypeError, "name of a guard is 1"):
            talvora.run("apply-set-rectify", {"A": made_signal()}, SourceSets=["A"], accept=[1])
        with self.assertRaises(TypeError):
            talvora.Signal([1.0], rate="fast")
        with self.assertRaisesRegex(TypeError, "Colour"):
            talvora.run("apply-set-rectify",
                        {"A": talvora.Signal([1.0], attributes={"Colour": 1j})}, SourceSets=["A"])

    def test_of_attributes_name_them_and_where_they_are(self):
        for error, text, value in (
                (TypeError, "complex|1j", 1j), (TypeError, "None", None), (TypeError, "b'x'", b"x"),
                (TypeError, "texts", ["x", 1]), (ValueError, "64 bits", 2**63),
                (ValueError, "64 bits", np.uint64(2**63)), (ValueError, "64 bits", -2**63 - 1),
                (ValueError, "64 bits", [1, 2**70]), (ValueError, "no array", [[1], [2, 3]]),
                (ValueError, "masked", np.ma.array([1, 2], mask=[0, 1])),
                (ValueError, "zero character", "a\0b"), (ValueError, "UTF-8", "\ud800")):
            with self.subTest(value=value):
                with self.assertRaisesRegex(error, f"'Colour' of 'Imu/A'.*({text})"):
                    talvora.run("apply-set-rectify", {"Imu/A": talvora.Signal(
                        [1.0], rate=1, attributes={"Colour": value})}, SourceGroup="Imu")
        signals = talvora.Signals({"A": talvora.Signal([1.0], rate=1)})
        signals.groups[""] = {"Visits": 2**63}
        with self.assertRaisesRegex(ValueError, "'Visits' of the root is 9223372036854775808"):
            talvora.run("apply-set-rectify", signals, SourceSets=["A"])
        with self.assertRaisesRegex(TypeError, "attributes are int"):
            talvora.Signal([1.0], attributes=5)

    def test_of_rates_are_told(self):
        for rate in (1e39, -1e39, np.inf, np.nan, 0, -5, 1e-50):
            with self.subTest(rate=rate):
                with self.assertRaisesRegex(ValueError, "rate is "):
                    talvora.Signal([1.0], rate=rate)
        with self.assertRaisesRegex(ValueError, "rate is beyond"):
            talvora.Signal([1.0], rate=10**400)
        signal = talvora.Signal([1.0], rate=1)
        with self.assertRaisesRegex(ValueError, "rate is 1e\\+39"):
            signal.rate = 1e39
        self.assertEqual(signal.rate, 1)
        signal.attributes["SampleRate"] = 1e39
        with self.assertRaisesRegex(ValueError, "the rate of 'A' is 1e\\+39"):
            talvora.run("apply-set-rectify", {"A": signal}, SourceSets=["A"])

    def test_of_words_are_told(self):
        for words in (None, 5, b"mean-off", {"mean-off": 1}):
            with self.subTest(accept=words):
                with self.assertRaisesRegex(TypeError, "accept is .*; names of guards are wanted"):
                    self.run_filter(accept=words)
        with self.assertRaisesRegex(ValueError, "plugin is ''"):
            talvora.units("")
        with self.assertRaisesRegex(TypeError, "plugin is 5; a path is wanted"):
            talvora.units(5)
        with self.assertRaisesRegex(TypeError, "Order is None"):
            self.run_filter(Order=np.ma.masked)
        with self.assertRaisesRegex(ValueError, "path of a signal is .* as UTF-8"):
            talvora.run("apply-set-rectify", {"/\ud800": made_signal()}, SourceSets=["A"])

    def test_of_plug_ins_are_told(self):
        for name in ("no_entry", "throws_at_entry", "bad_signature", "there_is_none"):
            with self.subTest(plugin=name):
                with self.assertRaises(talvora.PluginError):
                    talvora.units(pathlib.Path(FAULTY_PLUGINS) / f"{name}.so")


class Files(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def test_come_back_as_they_were(self):
        signals = talvora.Signals({"Imu/Rate": made_signal(), "B": talvora.Signal([1.0])})
        signals.groups[""] = {"Subject": "S1", "Visits": [1, 2, 3]}
        signals.groups["Imu"] = {"Side": "left"}
        path = self.folder / "made.h5"
        talvora.write(path, signals)
        back = talvora.read(path)
        self.assertEqual(sorted(back), ["B", "Imu/Rate"])
        np.testing.assert_array_equal(back["Imu/Rate"].samples, signals["Imu/Rate"].samples)
        self.assertEqual((back["Imu/Rate"].rate, back["B"].rate), (100, None))
        self.assertEqual(back["Imu/Rate"].attributes["Labels"], ["X", "Y", "Z"])
        self.assertEqual(back["Imu/Rate"].attributes["StartTime"], 0.25)
        self.assertEqual(back.groups["Imu"], {"Side": "left"})
        self.assertEqual(list(back.groups[""]["Visits"]), [1, 2, 3])

    def test_are_those_of_the_program(self):
        path, after = self.folder / "made.h5", self.folder / "after.h5"
        talvora.write(path, {"Imu/Rate": made_signal()})
        run_host("run", "apply-set-rectify", "SourceGroup=Imu", path, "-o", after)
        back = talvora.read(after)
        np.testing.assert_array_equal(back["Imu/Rate"].samples, abs(made_signal().samples))
        self.assertEqual(back["Imu/Rate"].rate, 100)

    def test_are_what_h5py_reads_and_writes(self):
        path = self.folder / "made.h5"
        talvora.write(path, {"Imu/Rate": made_signal()})
        with h5py.File(path) as file:
            self.assertEqual(file["Imu/Rate"].dtype, np.float32)
            self.assertEqual(file["Imu/Rate"].attrs["SampleRate"], 100)
            np.testing.assert_array_equal(file["Imu/Rate"][...], made_signal().samples)
        with h5py.File(self.folder / "theirs.h5", "w") as file:
            file["Level"] = np.arange(6).reshape(2, 3)
            file["Name"] = "no signal"
            file.attrs["SampleRate"] = 50
        signals = talvora.read(self.folder / "theirs.h5")
        np.testing.assert_array_equal(signals["Level"].samples, [[0, 1, 2], [3, 4, 5]])
        self.assertIsNone(signals["Level"].rate)  # as in the terminal
        self.assertEqual(signals.groups[""]["SampleRate"], 50)
        self.assertTrue(any("Name" in text for text in signals.messages))

    def test_warn_of_digits_that_float32_does_not_hold(self):
        path = self.folder / "made.h5"
        steps = np.arange(20.0)
        with self.assertWarnsRegex(talvora.NarrowingWarning,
                                   "made.h5: 'B' is of 64-bit floats, .* lie between 1e.09 and "
                                   "1.00000002e.09; as 32-bit floats they change by up to 19, "):
            talvora.write(path, {"A": talvora.Signal(steps), "B": talvora.Signal([steps, 1e9 + steps])})
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            talvora.write(path, {"A": talvora.Signal(steps * 0.1), "C": talvora.Signal(steps * 0 + 0.1),
                                 "N": talvora.Signal(np.full(3, np.nan)), "E": talvora.Signal([[]])},
                          replace=True)

    def test_take_sets_by_their_own_names(self):
        with h5py.File(self.folder / "theirs.h5", "w") as file:
            for name in ("Imu/a", "Imu/b"):
                file[name] = np.float32([[[1, 2]]])
                file[name].attrs["SampleRate"] = 100.0
            file["Derived/z"] = h5py.SoftLink("/Imu/b")
            file["Copy"] = h5py.SoftLink("/Imu")
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            signals = talvora.read(self.folder / "theirs.h5")
        self.assertEqual(sorted(signals), ["Imu/a", "Imu/b"])
        self.assertEqual(len([text for text in signals.messages if "a link to" in text]), 2)
        self.assertEqual(sorted(talvora.run("apply-set-opposite", signals, SourceGroup="Imu")),
                         ["Imu/a", "Imu/b"])
        with h5py.File(self.folder / "theirs.h5", "a") as file:
            file["Again"] = file["Imu/b"]
        with self.assertWarnsRegex(talvora.LeftOutWarning,
                                   "left out: 'Imu/b', another name of 'Again'"):
            talvora.read(self.folder / "theirs.h5")

    def test_warn_of_attributes_that_are_left_out(self):
        with h5py.File(self.folder / "theirs.h5", "w") as file:
            file["time"] = np.float32([0, 1])
            file["time"].make_scale()
            file["a"] = np.float32([1, 2])
            file["a"].dims[0].attach_scale(file["time"])
            file.attrs["Device"] = np.uint64(2**63)
        with self.assertWarnsRegex(talvora.LeftOutWarning, "left out: .*'Device'") as told:
            signals = talvora.read(self.folder / "theirs.h5")
        self.assertEqual(len(told.warnings), 1)
        self.assertEqual(len([text for text in signals.messages if "_LIST'" in text]), 2)

    def test_warn_of_files_of_which_float32_holds_too_few_digits(self):
        with h5py.File(self.folder / "theirs.h5", "w") as file:
            file["Rate"] = np.arange(20.0)
            file["Counts"] = 1e9 + np.arange(20.0)
        with self.assertWarnsRegex(talvora.NarrowingWarning,
                                   "theirs.h5: 'Counts' is of 64-bit floats between 1e.09 and ") as told:
            signals = talvora.read(self.folder / "theirs.h5")
        self.assertEqual((len(told.warnings), told.filename), (1, __file__))
        np.testing.assert_array_equal(signals["Counts"].samples, np.full(20, 1e9, "f4"))

    def test_round_whole_numbers_once(self):
        path = self.folder / "made.h5"
        random = np.random.default_rng(3)
        signed = random.integers(-2**63, 2**63, 3000, dtype=np.int64) >> random.integers(0, 12, 3000)
        signed[:4] = [2**60 + 2**36 + 1, -2**60 - 3 * 2**36 + 1, 2**53 + 1, -2**63]
        masked = talvora.Signal(np.ma.array(signed, mask=signed < 0)).samples.ravel()
        np.testing.assert_array_equal(masked.astype(np.float32),
                                      np.where(signed < 0, np.nan, signed.astype(np.float32)))
        taken = talvora.Signal([0.0])
        taken.samples = signed
        talvora.write(path, {"A": taken}, replace=True)
        np.testing.assert_array_equal(talvora.read(path)["A"].samples, signed.astype(np.float32))
        unsigned = random.integers(0, 2**64, 3000, dtype=np.uint64)
        unsigned[:2] = [2**63 + 2**39 + 1, 2**64 - 1]
        for whole in (signed, unsigned):
            talvora.write(path, {"A": talvora.Signal(whole)}, replace=True)
            np.testing.assert_array_equal(talvora.read(path)["A"].samples.ravel(),
                                          whole.astype(np.float32))

    def test_keep_empty_groups(self):
        path = self.folder / "theirs.h5"
        with h5py.File(path, "w") as file:
            file["Full/Imu/Rate"] = np.float32([1])
            file.create_group("Empty/Inside")
        signals = talvora.read(path)
        self.assertEqual(signals.groups, {"Empty/Inside": {}})
        talvora.write(path, signals, replace=True)
        with h5py.File(path) as file:
            self.assertEqual((list(file), list(file["Empty"])), (["Empty", "Full"], ["Inside"]))

    def test_share_no_memory_with_what_they_were_made_of(self):
        samples = np.arange(10, dtype=np.float32)
        whole = talvora.run("apply-set-fill-gap", {"A": talvora.Signal(samples, rate=10)},
                            SourceSets=["A"], MaxGapLength=3)["A"]
        self.assertFalse(np.shares_memory(whole.samples, samples))
        np.testing.assert_array_equal(whole.samples.ravel(), samples)

    def test_have_one_rate(self):
        path = self.folder / "made.h5"
        talvora.write(path, {"A": talvora.Signal([1.0, 2.0], rate=100)})
        signals = talvora.read(path)
        for change, expected in ((lambda signal: signal.attributes.update(SampleRate=50.0), 50),
                                 (lambda signal: setattr(signal, "rate", 25), 25),
                                 (lambda signal: signal.attributes.pop("SampleRate"), None),
                                 (lambda signal: setattr(signal, "rate", 12.5), 12.5),
                                 (lambda signal: setattr(signal, "rate", None), None)):
            change(signals["A"])
            self.assertEqual(signals["A"].rate, expected)
            talvora.write(path, signals, replace=True)
            signals = talvora.read(path)
            self.assertEqual(signals["A"].rate, expected)
            self.assertEqual("SampleRate" in signals["A"].attributes, expected is not None)

    def test_refuse_two_rates(self):
        with self.assertRaisesRegex(ValueError, "the attribute 'SampleRate' is 50, and rate is 100"):
            talvora.Signal([1.0], rate=100, attributes={"SampleRate": 50})
        self.assertEqual(talvora.Signal([1.0], rate=50, attributes={"SampleRate": 50}).rate, 50)
        self.assertEqual(talvora.Signal([1.0], attributes={"SampleRate": 50}).rate, 50)
        self.assertIsNone(talvora.Signal([1.0], attributes={"SampleRate": "fast"}).rate)
        self.assertEqual(talvora.Signal(talvora.Signal([1.0], rate=100),
                                        attributes={"SampleRate": 50}).rate, 50)
        self.assertEqual(talvora.Signal(talvora.Signal([1.0], attributes={"SampleRate": 50}),
                                        rate=100).rate, 100)

    def test_refuse_lists_of_which_numpy_rounds_whole_numbers(self):
        for items in ([2**63 + 1, -1], (2**62 + 1, 2**63), [2**53 + 1, 0.5], [[2**53 + 1], [1.5]]):
            with self.assertRaisesRegex(ValueError, "attribute 'k' of 'A' holds [0-9]+, which"):
                talvora.write(self.folder / "made.h5",
                              {"A": talvora.Signal([1.0], attributes={"k": items})})
        talvora.write(self.folder / "made.h5", {"A": talvora.Signal([1.0], attributes={
            "k": [2**53, 0.5], "l": [2**53 + 1, 2], "m": np.array([2**63, 0.5])})})
        attributes = talvora.read(self.folder / "made.h5")["A"].attributes
        self.assertEqual(attributes["k"].tolist(), [2.0**53, 0.5])
        self.assertEqual(attributes["l"].tolist(), [2**53 + 1, 2])

    def test_keep_attributes_without_values(self):
        signals = talvora.Signals({"A": talvora.Signal([1.0], attributes={
            "Numbers": [], "Counts": np.zeros((2, 0), int), "Texts": np.array([], str)})})
        path = self.folder / "made.h5"
        talvora.write(path, signals)
        for _ in range(2):
            back = talvora.read(path)
            attributes = back["A"].attributes
            self.assertEqual({name: (np.shape(value), np.asarray(value).dtype.kind)
                              for name, value in attributes.items()},
                             {"Numbers": ((0,), "f"), "Counts": ((2, 0), "i"), "Texts": ((0,), "U")})
            talvora.write(path, back, replace=True)

    def test_that_are_none_are_refused(self):
        with self.assertRaises(FileNotFoundError):
            talvora.read(self.folder / "none.h5")
        for call in (talvora.read, lambda path: talvora.write(path, {"A": made_signal()})):
            with self.assertRaisesRegex(ValueError, "zero character"):
                call(f"{self.folder}/a\0b.h5")
        broken = self.folder / "broken.h5"
        broken.write_bytes(b"no HDF5")
        with self.assertRaises(OSError):
            talvora.read(broken)
        with self.assertRaisesRegex(FileNotFoundError, "no folder for"):
            talvora.write(self.folder / "no" / "folder.h5", {"A": made_signal()})
        with self.assertRaises(IsADirectoryError):
            talvora.read(self.folder)
        with self.assertRaises(IsADirectoryError):
            talvora.write(self.folder, {"A": made_signal()}, replace=True)
        with self.assertRaisesRegex(TypeError, "path is 5; a path is wanted"):
            talvora.read(5)

    def test_are_replaced_when_asked(self):
        path = self.folder / "made.h5"
        talvora.write(path, {"A": made_signal()})
        before = path.read_bytes()
        with self.assertRaisesRegex(FileExistsError, "replace=True.*made.h5"):
            talvora.write(path, {"B": made_signal()})
        with self.assertRaisesRegex(TypeError, "replace is 'no'"):
            talvora.write(path, {"B": made_signal()}, replace="no")
        self.assertEqual(path.read_bytes(), before)
        talvora.write(path, {"B": made_signal()}, replace=True)
        self.assertEqual(list(talvora.read(path)), ["B"])
        self.assertEqual(os.listdir(self.folder), ["made.h5"])


unittest.main(argv=sys.argv[:1])
