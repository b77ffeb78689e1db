"""Makes every fallible call of the main jobs fail once.

    fault_test.py TALVORA_HOST PLUGIN FAILING_CALLS [--all | --sample COUNT]
                  [--job NAME] [--file NAME] [--sanitizer LIBRARY]

Each job runs on files of several layouts while the n-th read, write, sync, rename, truncate,
close, open, lock, mkdir or link below its folder fails, once or from then on; n = 1, 2, ... until the
job needs fewer of them. In its place the n-th write of samples has one bit turned ("spoil").
Without --all only COUNT n are tried (5 unless told), the first and the last among them. A program
that is built with a sanitizer takes its run-time before all else that is preloaded; what it finds
ends the job with another exit code.

Right is exit code 0 and all that an undisturbed run leaves (every file, group, set, sample and
attribute), or exit code 3 or 5, a message, and every file as it was before; nothing else is left.
"""

import argparse
import errno
import hashlib
import json
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile

import h5py
import numpy

KINDS = ["open", "read", "write", "sync", "rename", "truncate", "close", "lock", "mkdir",
         "link", "unlink", "spoil"]
# What the system answers where a disk is full or breaks. A file that cannot be removed is left,
# whatever a program does; killed_test.py asks that it is told.
ERRORS = {"open": [errno.EIO], "read": [errno.EIO], "write": [errno.ENOSPC, errno.EIO],
          "sync": [errno.EIO], "rename": [errno.EIO], "truncate": [errno.ENOSPC],
          "close": [errno.EIO], "lock": [errno.ENOLCK, errno.EIO], "mkdir": [errno.ENOSPC],
          "link": [errno.EIO, errno.EPERM], "unlink": [], "spoil": [0]}
SAMPLED_POSITIONS = 5
TIME_LIMIT = 60

# --- the files


def samples(byte_count):
    count = byte_count // 12
    signal = numpy.sin(numpy.arange(3 * count) * 0.1).astype("f4") * 100
    return signal.reshape(3, 1, count)


def add_set(file, name, byte_count, **options):
    made = file.create_dataset(name, data=samples(byte_count), **options)
    made.attrs["SampleRate"] = numpy.float32(100)
    made.attrs["Labels"] = ["x", "y", "z"]


def make_contiguous(byte_count):
    def make(path):
        with h5py.File(path, "w") as file:
            add_set(file, "Imu/Rate", byte_count)
            add_set(file, "Imu/Force", byte_count)
            add_set(file, "Other/Kept", byte_count)
    return make


def make_chunked(**options):
    def make(path):
        with h5py.File(path, "w") as file:
            add_set(file, "Imu/Rate", 60_000, chunks=(3, 1, 1000), **options)
            add_set(file, "Other/Kept", 18_000, chunks=(3, 1, 500), **options)
    return make


def make_newest(path):
    with h5py.File(path, "w", libver="latest") as file:
        add_set(file, "Imu/Rate", 60_000)
        add_set(file, "Imu/Force", 60_000, chunks=(3, 1, 1000), maxshape=(3, 1, None))


FILES = {
    "contiguous-6k": make_contiguous(6_000),
    "contiguous-18k": make_contiguous(18_000),
    "contiguous-60k": make_contiguous(60_000),
    "contiguous-240k": make_contiguous(240_000),
    "chunked": make_chunked(),
    "compressed": make_chunked(compression="gzip"),
    "newest": make_newest,
}

TABLE = "t,X,Y\n" + "".join(f"{i / 100},{i % 7},{-i}\n" for i in range(3000))
RECIPE = ("steps:\n"
          "  - unit: apply-set-rectify\n"
          "    parameters: {SourceGroup: Imu}\n"
          "  - unit: apply-set-butterworth\n"
          "    parameters: {SourceGroup: Imu, CutoffFrequency: 5.0, Order: 4}\n")

RECTIFY = ["run", "apply-set-rectify", "SourceGroup=Imu"]
JOBS = {
    "run-in-place": [*RECTIFY, "walk.h5", "--in-place"],
    "run-with-backup": [*RECTIFY, "walk.h5", "--in-place", "--backup"],
    "run-with-newer-backup": [*RECTIFY, "walk.h5", "--in-place", "--backup", "--force"],
    "run-into-folder": [*RECTIFY, "walk.h5", "second.h5", "--out-dir", "results"],
    "import-append": ["import", "table.csv", "-o", "walk.h5", "--append", "--group", "Table",
                      "--time", "t"],
    "import-mapped": ["import", "walk.h5", "-o", "mapped.h5", "--time-axis", "-1", "--rate", "100"],
    "attributes": ["attributes", "walk.h5::Imu/*", "SampleRate=50", "Unit=N", "--remove", "Labels",
                   "--in-place", "--backup"],
    "export": ["export", "walk.h5::Imu/*", "-o", "samples.csv"],
    "plot": ["plot", "walk.h5::Imu/*", "-o", "plot.html"],
    "recipe": ["recipe", "run", "steps.yaml", "walk.h5", "-o", "result.h5"],
}
# Done for files one by one: those that were written before one failed stay.
WRITES_SEVERAL = {"run-into-folder"}
REPLACES_A_BACKUP = {"run-with-newer-backup"}


def make_folder(folder, make_file, job):
    make_file(folder / "walk.h5")
    make_file(folder / "second.h5")
    if job in REPLACES_A_BACKUP:
        (folder / "walk.h5.bak").write_text("older")
    (folder / "table.csv").write_text(TABLE)
    (folder / "steps.yaml").write_text(RECIPE)


# --- what is in a folder


def values_of(attribute):
    if isinstance(attribute, numpy.ndarray) and attribute.dtype == object:
        return [str(value) for value in attribute.ravel()]
    return numpy.asarray(attribute).tobytes()


def without_time(records):
    """The history but for the moment at which the steps were run."""
    loaded = [json.loads(record) for record in records]
    for record in loaded:
        record.pop("time", None)
    return loaded


def attributes_of(item):
    return {name: without_time(value) if name == "talvora_history" else values_of(value)
            for name, value in item.attrs.items()}


def content_of_hdf5(path):
    found = {}

    def visit(name, item):
        data = (item.shape, str(item.dtype), item[()].tobytes()) \
            if isinstance(item, h5py.Dataset) else None
        found[name] = (data, attributes_of(item))

    with h5py.File(path, "r") as file:
        found["/"] = (None, attributes_of(file))
        file.visititems(visit)
    return found


def content_of(path):
    if path.suffix == ".h5":
        return content_of_hdf5(path)
    return hashlib.sha256(path.read_bytes()).hexdigest()


def files_below(folder):
    return sorted(path for path in folder.rglob("*") if path.is_file())


def contents(folder):
    return {str(path.relative_to(folder)): content_of(path) for path in files_below(folder)}


def bytes_below(folder):
    return {str(path.relative_to(folder)): hashlib.sha256(path.read_bytes()).hexdigest()
            for path in files_below(folder)}


# --- one job, with one call failing


class Bench:
    """Runs jobs on copies of one folder."""

    def __init__(self, programs, sanitizer, root, job, file):
        self.host, self.plugin, failing_calls = map(os.path.abspath, programs)
        self.preloaded = ":".join(filter(None, [sanitizer, failing_calls]))
        self.words = JOBS[job]
        self.several = job in WRITES_SEVERAL
        self.name = f"{job} on {file}"
        self.start = root / "start"
        self.work = root / "work"
        self.counts = root / "counts"
        self.start.mkdir()
        make_folder(self.start, FILES[file], job)
        self.before = bytes_below(self.start)
        code, message, self.needed, _ = self.run("")
        assert code == 0, f"{self.name}: undisturbed: {message}"
        self.after = contents(self.work)

    def run(self, plan):
        shutil.rmtree(self.work, ignore_errors=True)
        shutil.copytree(self.start, self.work)
        self.counts.write_bytes(bytes(8 * (len(KINDS) + 1)))
        environment = {**os.environ, "LD_PRELOAD": self.preloaded, "FAILING_CALL": plan,
                       "FAILING_BELOW": str(self.work), "FAILING_COUNTS": str(self.counts),
                       "TALVORA_PLUGIN_PATH": self.plugin,
                       # What the HDF5 library keeps of a file that failed is its own.
                       "ASAN_OPTIONS": "detect_leaks=0"}
        done = subprocess.run([self.host, *self.words], cwd=self.work, env=environment,
                              capture_output=True, text=True, timeout=TIME_LIMIT, check=False)
        *calls, failed = struct.unpack(f"{len(KINDS) + 1}Q", self.counts.read_bytes())
        return done.returncode, done.stderr, dict(zip(KINDS, calls)), failed

    def find_fault(self, code, message):
        """What is wrong with the end of a run, or None."""
        now = bytes_below(self.work)
        if code == 0:
            return self.find_loss()
        if code not in (3, 5):
            return f"exit code {code}: {message.strip()}"
        if "error: " not in message:
            return f"exit code {code} without a message"
        changed = {name for name in now.keys() | self.before.keys()
                   if now.get(name) != self.before.get(name)}
        if self.several:
            changed -= {name for name in changed if self.is_complete(name)}
        return f"exit code {code}, and not as before: {sorted(changed)}" if changed else None

    def is_complete(self, name):
        path = self.work / name
        return name not in self.before and path.exists() and name in self.after \
            and content_of(path) == self.after[name]

    def find_loss(self):
        try:
            now = contents(self.work)
        except OSError as error:
            return f"exit code 0, and a file that cannot be read: {error}"
        names = {name for name in now.keys() | self.after.keys()
                 if now.get(name) != self.after.get(name)}
        return f"exit code 0, and not the whole result: {sorted(names)}" if names else None


def positions(needed, sample):
    """Which of the calls are to fail: as many as `sample`, or all when there is none."""
    if sample is None or needed <= sample:
        return range(1, needed + 1)
    step = (needed - 1) / (sample - 1)
    return sorted({round(1 + i * step) for i in range(sample)})


def plans(needed, sample):
    for kind in KINDS:
        for number in positions(needed[kind], sample):
            for error in ERRORS[kind]:
                for times in ("once", "always"):
                    yield f"{kind}:{number}:{error}:{times}"


def try_job(options, job, file):
    """How many faults were tried, and what went wrong."""
    with tempfile.TemporaryDirectory() as root:
        bench = Bench(options.programs, options.sanitizer, pathlib.Path(root).resolve(), job, file)
        tried, wrong = 0, []
        for plan in plans(bench.needed, None if options.all else options.sample):
            code, message, _, failed = bench.run(plan)
            if failed == 0:
                continue  # another order of threads needed fewer calls
            tried += 1
            fault = bench.find_fault(code, message)
            if fault:
                wrong.append(f"{bench.name}: {plan}: {fault}")
        return tried, wrong


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("programs", nargs=3)
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--sample", type=int, default=SAMPLED_POSITIONS)
    parser.add_argument("--sanitizer")
    parser.add_argument("--job", choices=JOBS, action="append")
    parser.add_argument("--file", choices=FILES, action="append")
    options = parser.parse_args()
    total, wrong = 0, []
    for job in options.job or JOBS:
        for file in options.file or FILES:
            tried, found = try_job(options, job, file)
            print(f"{job:21} {file:16} tried {tried:5}, wrong {len(found)}", flush=True)
            total += tried
            wrong += found
    print(*wrong, sep="\n", end="\n" if wrong else "")
    print(f"tried {total}, wrong {len(wrong)}")
    return 1 if wrong or total == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
