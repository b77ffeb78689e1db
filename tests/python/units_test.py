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
        self.assertEqual(signals["Level"].rate, 50)
        self.assertTrue(any("Name" in text for text in signals.messages))

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
        with self.assertRaises(OSError):
            talvora.write(self.folder / "no" / "folder.h5", {"A": made_signal()})

    def test_are_replaced_when_asked(self):
        path = self.folder / "made.h5"
        talvora.write(path, {"A": made_signal()})
        before = path.read_bytes()
        with self.assertRaises(OSError):
            talvora.write(path, {"B": made_signal()})
        self.assertEqual(path.read_bytes(), before)
        talvora.write(path, {"B": made_signal()}, replace=True)
        self.assertEqual(list(talvora.read(path)), ["B"])
        self.assertEqual(os.listdir(self.folder), ["made.h5"])


unittest.main(argv=sys.argv[:1])
