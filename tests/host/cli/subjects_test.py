"""A study of sixty made-up subjects whose files are as labs have them, through one recipe.

    subjects_test.py TALVORA_HOST PLUGIN [-v]

Each file ends with the right result, which SciPy and pandas tell in double precision, or with a
named refusal and no result. Whoever does what the refusals say gets right results of all but the
file that is broken.
"""

import pathlib
import tempfile
import unittest

import h5py
import numpy as np
import pandas
from scipy import signal

import host_test

COUNT = 60
SETS = {"Gyroscope": "deg/s", "Accelerometer": "m/s2"}
LABELS = ["X", "Y", "Z"]
MAX_GAP = 10  # samples
CUTOFF = 6.0  # Hz
SLOW_CUTOFF = 2.0
RECIPE = f"""steps:
  - name: fill
    unit: apply-set-fill-gap
    parameters: {{SourceGroup: Imu, MaxGapLength: {MAX_GAP}}}
  - name: smooth
    unit: apply-set-butterworth
    parameters: {{SourceGroup: Imu, CutoffFrequency: {CUTOFF}, Order: 4}}
  - name: means
    unit: average-set
    parameters: {{SourceGroup: Imu, DestinationGroup: Means}}
"""
# What is wrong with a file: the exit code, and what its error says.
REFUSALS = {
    "time first": (1, "fill: time-first: Imu/"),
    "no rate": (1, "At least one data set has no 'SampleRate'"),
    "too slow": (1, "smooth: unusable-filter: at 10 Hz"),
    "broken": (3, "error: "),
}
# One kind of file after the other, in turn.
KINDS = ["float32", "float64", "int16", "big endian", "gaps", "mixed rates", "time first", "no rate",
         "too slow", "float64", "gaps", "compressed"]
BROKEN = 37  # this subject's copy stopped half-way


def kind_of(subject):
    return "broken" if subject == BROKEN else KINDS[subject % len(KINDS)]


# --- what a subject's recording is


def make_samples(subject, name, rate):
    """[3, n] in double: some swings, a drift and noise."""
    random = np.random.default_rng([subject, len(name)])
    times = np.arange(int(8 * rate) + subject) / rate
    swings = [np.sin(2 * np.pi * random.uniform(0.5, 3) * times + phase) for phase in range(3)]
    return 100 * np.array(swings) + random.standard_normal((3, 1)) * times \
        + random.standard_normal((3, times.size))


def add_gaps(samples, subject):
    """Short ones, which are filled, a long one, and missing ends."""
    random = np.random.default_rng(subject)
    for line in samples:
        for start in random.integers(50, line.size - 100, 5):
            line[start:start + random.integers(1, MAX_GAP + 1)] = np.nan
    samples[1, 300:330] = np.nan
    samples[2, :4] = np.nan
    samples[2, -3:] = np.nan


def rate_of(subject, name):
    kind = kind_of(subject)
    if kind == "too slow":
        return 10.0
    return 25.0 if kind == "mixed rates" and name == "Accelerometer" else 100.0


def make_subject(subject):
    """Samples of each set in double, as they stand in the file."""
    sets = {}
    for name in SETS:
        samples = make_samples(subject, name, rate_of(subject, name))
        kind = kind_of(subject)
        if kind == "gaps":
            add_gaps(samples, subject)
        stored = {"int16": np.int16, "float32": np.float32, "gaps": np.float32}.get(kind)
        sets[name] = samples if stored is None else samples.astype(stored).astype(float)
    return sets


def write_subject(path, subject):
    kind = kind_of(subject)
    dtype = {"int16": "<i2", "float32": "<f4", "gaps": "<f4", "big endian": ">f8"}.get(kind, "<f8")
    options = {"compression": "gzip", "shuffle": True} if kind == "compressed" else {}
    with h5py.File(path, "w") as file:
        for name, samples in make_subject(subject).items():
            samples = samples.T[:, np.newaxis, :] if kind == "time first" else samples[:, np.newaxis]
            made = file.create_dataset(f"Imu/{name}", data=samples.astype(dtype), **options)
            if kind != "no rate":
                made.attrs["SampleRate"] = rate_of(subject, name)
            made.attrs["Unit"] = SETS[name]
            made.attrs["Labels"] = LABELS
    if kind == "broken":
        content = path.read_bytes()
        path.write_bytes(content[:len(content) // 2])


# --- what is to come of it, in double


def fill_gaps(line):
    line = line.copy()
    edges = np.flatnonzero(np.diff(np.concatenate(([0], np.isnan(line).astype(int), [0]))))
    for start, end in zip(edges[::2], edges[1::2]):
        if start > 0 and end < line.size and end - start <= MAX_GAP:
            line[start:end] = np.interp(np.arange(start, end), [start - 1, end],
                                        [line[start - 1], line[end]])
    return line


def smooth(line, rate, cutoff):
    """Run by run; both passes together are 3 dB down at the cutoff, nearly."""
    b, a = signal.butter(2, (np.sqrt(2) - 1) ** -0.25 * cutoff / (rate / 2))
    edges = np.flatnonzero(np.diff(np.concatenate(([0], (~np.isnan(line)).astype(int), [0]))))
    runs = [run for run in zip(edges[::2], edges[1::2]) if run[1] - run[0] >= 3 * len(a) - 1]
    smoothed = line.copy()
    for start, end in runs:
        smoothed[start:end] = signal.filtfilt(b, a, line[start:end], padlen=3 * (len(a) - 1))
    smoothed[:runs[0][0]] = np.nan
    smoothed[runs[-1][1]:] = np.nan
    return smoothed


def expect_smooth(subject, name, cutoff=CUTOFF):
    rate = rate_of(subject, name)
    return np.array([smooth(fill_gaps(line), rate, cutoff) for line in make_subject(subject)[name]])


# ---


class Study(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        (cls.folder / "clean.yaml").write_text(RECIPE)
        (cls.folder / "slow.yaml").write_text(RECIPE.replace(str(CUTOFF), str(SLOW_CUTOFF)))
        for subject in range(COUNT):
            write_subject(cls.folder / cls.name(subject), subject)
        cls.before = {path.name: path.read_bytes() for path in cls.folder.glob("*.h5")}
        names = [cls.name(subject) for subject in range(COUNT)]
        cls.result = cls.call("recipe", "run", "clean.yaml", *names, "--out-dir", "clean", "--jobs",
                           "2", "--failed-to", "failed.txt")

    @staticmethod
    def name(subject):
        return f"s{subject:02}.h5"

    @classmethod
    def call(cls, *words):
        return host_test.run_host(cls.folder, *words)

    def done(self, *words):
        result = self.call(*words)
        self.assertEqual(result.returncode, 0, result.stderr)

    def assert_right(self, path, subject, cutoff=CUTOFF):
        with h5py.File(self.folder / path, "r") as file:
            for name in SETS:
                expected = expect_smooth(subject, name, cutoff)
                given = file[f"Imu/{name}"]
                self.assertEqual(given.dtype, np.float32)
                self.assertEqual(given.shape, (3, 1, expected.shape[1]))
                self.assertEqual(given.attrs["SampleRate"], rate_of(subject, name))
                np.testing.assert_allclose(given[:, 0], expected, rtol=0,
                                           atol=2e-6 * np.nanmax(np.abs(expected)))

    def test_every_file_has_its_result_or_its_refusal(self):
        self.assertNotEqual(self.result.returncode, 0)
        failed = []
        for subject in range(COUNT):
            name, kind = self.name(subject), kind_of(subject)
            with self.subTest(name, kind=kind):
                if kind not in REFUSALS:
                    self.assert_right(f"clean/{name}", subject)
                    continue
                failed.append(name)
                code, text = REFUSALS[kind]
                self.assertFalse((self.folder / "clean" / name).exists())
                self.assertTrue(any(name in line and text in line
                                    for line in self.result.stderr.splitlines()), self.result.stderr)
                self.assertRegex(self.result.stderr, rf"\n  {name} +{code}  ")
        self.assertEqual((self.folder / "failed.txt").read_text().split(), failed)
        self.assertEqual(len(failed), 16)

    # What the refusals and the documents say to do.
    def mend(self, subject):
        """The file that the recipe takes, and options of its run; nothing for the broken one."""
        file, fixed = self.name(subject), f"fixed/{self.name(subject)}"
        kind = kind_of(subject)
        if kind == "time first":
            self.done("import", file, "-o", fixed, "--time-axis", "0", "--rate", "100", "--group",
                      "/")
            return fixed
        if kind == "no rate":
            self.done("attributes", f"{file}::Imu/*", "SampleRate=100", "-o", fixed)
            return fixed
        return file if kind == "too slow" else None

    def test_what_is_refused_can_be_mended(self):
        (self.folder / "fixed").mkdir()
        mended = 0
        for subject in range(COUNT):
            file = self.mend(subject) if kind_of(subject) in REFUSALS else None
            if file is None:
                continue
            with self.subTest(file, kind=kind_of(subject)):
                result = f"fixed/clean-{self.name(subject)}"
                slow = kind_of(subject) == "too slow"
                self.done("recipe", "run", "slow.yaml" if slow else "clean.yaml", file, "-o", result)
                self.assert_right(result, subject, SLOW_CUTOFF if slow else CUTOFF)
                mended += 1
        self.assertEqual(mended, 15)

    def test_what_was_recorded_stays(self):
        for name, content in self.before.items():
            self.assertEqual((self.folder / name).read_bytes(), content)

    def test_means_stand_in_one_table(self):
        files = sorted(path.relative_to(self.folder) for path in self.folder.glob("clean/*.h5"))
        self.done("export", *(f"{file}::Means/**" for file in files), "--tidy", "-o", "means.csv")
        table = pandas.read_csv(self.folder / "means.csv")
        expected = {}
        for file in files:
            for name in SETS:
                for label, line in zip(LABELS, expect_smooth(int(file.stem[1:]), name)):
                    expected[str(file), f"Means/{name}", label] = line.mean()
        given = table.set_index(["file", "set", "component"])["value"]
        self.assertEqual(set(given.index), set(expected))
        wanted = pandas.Series(expected).reindex(given.index)
        np.testing.assert_allclose(given, wanted, rtol=0, atol=1e-3)
        self.assertEqual(set(table["unit"]), set(SETS.values()))


if __name__ == "__main__":
    host_test.main()
