"""Whole jobs of talvora-host on HDF5 files next to the scripts that do the same, and to a bare program.

    /usr/bin/python3 bench/compare_filter_file.py BUILD_FOLDER [ROUNDS] [JOB ...]

Prints wall time, processor time and peak memory of each and their ratios: medians over
rounds in which one follows the other, so that what else the machine does meets all
alike, and the least. Then what each takes for a further 15 MB, of the jobs of 64 and of 640
sets, and the peak memory on a file of ten times what may be kept in memory. A JOB is the beginning
of a name in JOBS; without one all are done. The files stand in BUILD_FOLDER while it runs (up to
1.4 GB).

The bare program (peers/filter_file_bare.cpp) filters where the samples lie, without a copy, a sync or
a look at what it wrote. It gets a copy of the input, made before its time begins.

The memory of the program is what it takes at most, its libraries included. The system
counts in it what this script had taken up when it started the program, so this one
imports its heavy libraries in processes of their own.
"""

import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import typing

HERE = pathlib.Path(__file__).parent
LOW_PASS = "apply-set-butterworth SourceGroup=Signals CutoffFrequency=10 Order=4"
AVERAGE = "average-set SourceGroup=Signals DestinationGroup=Mean"


class Job(typing.NamedTuple):
    """What is done to which sets of how many files, by which unit and by which script."""

    name: str
    set_count: int
    shape: tuple
    unit: str = LOW_PASS
    script: str = "filter_file.py"
    storage: str = "contiguous"
    file_count: int = 1
    bare: str = ""

    def title(self):
        files = "" if self.file_count == 1 else f"{self.file_count} files of "
        how = "" if self.storage == "contiguous" else f", {self.storage}"
        return f"{self.name}, {files}{self.set_count} x {list(self.shape)}{how}"


BARE = "filter_file_bare"
JOBS = [
    Job("low pass", 64, (3, 1, 20_000), bare=BARE),
    Job("low pass", 640, (3, 1, 20_000), bare=BARE),
    Job("compressed low pass", 64, (3, 1, 20_000), storage="gzip", bare=BARE),
    Job("compressed low pass", 640, (3, 1, 20_000), storage="gzip", bare=BARE),
    Job("many files", 4, (3, 1, 2_000), file_count=60, bare=BARE),
    Job("lines", 1, (20_000, 1, 320)),
    Job("mean", 1, (20_000, 1, 320), unit=AVERAGE, script="average_file.py"),
]
# Pairs of jobs of which the second does ten times the work of the first on 15 MB.
TENFOLD = [(0, 1), (2, 3)]

# Units that work line by line, on sets that fit in memory and on one that does not.
KEPT_MIB = 64
LARGE_FILES = [(40, (4096, 1, 1024)), (1, (40 * 4096, 1, 1024))]
LINE_UNITS = {
    "mean": AVERAGE,
    "downsample by 2": "apply-set-downsample SourceGroup=Signals HintGroup=Half",
}

MAKE_FILE = """
import sys, h5py, numpy
path, storage, count, *shape = sys.argv[1:]
random = numpy.random.default_rng(1)
shape = tuple(map(int, shape))
chunks = dict(chunks=shape, shuffle=True, compression="gzip", compression_opts=4)
layout = chunks if storage == "gzip" else {}
with h5py.File(path, "w") as file:
    for i in range(int(count)):
        samples = random.standard_normal(shape, dtype=numpy.float32)
        data = file.create_dataset(f"Signals/Set{i:03}", data=samples, **layout)
        data.attrs["SampleRate"] = numpy.float32(100)
        data.attrs["StartTime"] = numpy.float32(0)
    half = {"SampleRate": numpy.float32(50), "NumSamples": shape[-1] // 2}
    file.create_group("Half").attrs.update(half)
"""


def make_file(path, storage, count, shape):
    words = [str(word) for word in (path, storage, count, *shape)]
    subprocess.run([sys.executable, "-c", MAKE_FILE, *words], check=True)


def make_files(folder, job):
    files = [folder / f"input{i:02}.h5" for i in range(job.file_count)]
    make_file(files[0], job.storage, job.set_count, job.shape)
    for file in files[1:]:
        shutil.copyfile(files[0], file)
    return files


def copy_files(files, folder):
    """Copies that have reached the disk."""
    folder.mkdir(exist_ok=True)
    copies = [folder / file.name for file in files]
    for file, copy in zip(files, copies):
        shutil.copyfile(file, copy)
        subprocess.run(["sync", copy], check=True)
    return copies


def measure(command):
    """Wall and processor time in milliseconds, peak memory in MiB."""
    start = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, used = os.wait4(process.pid, 0)
    wall = time.perf_counter() - start
    process.returncode = status
    if status != 0:
        sys.exit(f"failed: {' '.join(map(str, command))}")
    return 1e3 * wall, 1e3 * (used.ru_utime + used.ru_stime), used.ru_maxrss / 1024


def host_command(host, unit, sources, output, *options):
    place = "-o" if len(sources) == 1 else "--out-dir"
    words = ["run", *unit.split(), *sources, place, output, "--force", "--quiet"]
    # Sets of many short lines are what is measured, not a mistake.
    return [host, *words, "--accept", "time-first", *options]


def compare(build, job, folder, rounds):
    """What each takes in each round, by its name."""
    sources = make_files(folder, job)
    output = folder / "out"
    if job.file_count > 1:
        output.mkdir(exist_ok=True)
    script = [sys.executable, HERE / "peers" / job.script, *sources, output]
    host = host_command(build / "talvora-host", job.unit, sources, output)
    taken = {"talvora-host": [], "script": []} | ({"bare": []} if job.bare else {})
    for _ in range(rounds):
        taken["talvora-host"].append(measure(host))
        taken["script"].append(measure(script))
        if job.bare:
            copies = copy_files(sources, folder / "copies")
            taken["bare"].append(measure([build / "bench" / job.bare, *copies]))
    shutil.rmtree(output) if output.is_dir() else output.unlink()
    return taken


def medians(rounds):
    return [statistics.median(values) for values in zip(*rounds)]


def print_row(name, who, cells):
    print(f"| {name} | {who} | {' | '.join(cells)} |", flush=True)


def print_ratios(name, taken):
    own = taken["talvora-host"]
    for who, other in taken.items():
        if other is not own:
            print_row(name, f"of {who}", [f"{a / b:.3f}" for a, b in zip(own, other)])


def print_job(name, taken):
    for who, rounds in taken.items():
        print_row(name, who, [f"{statistics.median(values):,.0f} ({min(values):,.0f})"
                              for values in zip(*rounds)])
    print_ratios(name, {who: medians(rounds) for who, rounds in taken.items()})


def print_further(name, small, large):
    """What a ninth of the difference takes: the cost of a further 15 MB."""
    further = {who: [(b - a) / 9 for a, b in zip(medians(small[who])[:2], medians(large[who])[:2])]
               for who in small}
    for who, values in further.items():
        print_row(name, who, [f"{value:,.1f}" for value in values] + [""])
    print_ratios(name, further)


def compare_jobs(build, folder, rounds, names):
    print("| job | by | wall ms (least) | processor ms (least) | peak MiB (least) |")
    print("| --- | --- | ---: | ---: | ---: |")
    taken = {}
    for job in JOBS:
        if not names or any(job.title().startswith(name) for name in names):
            taken[job] = compare(build, job, folder, rounds)
            print_job(job.title(), taken[job])
    for small, large in ((JOBS[a], JOBS[b]) for a, b in TENFOLD):
        if small in taken and large in taken:
            print_further(f"{small.name}, a further 15 MB", taken[small], taken[large])


def measure_large_files(host, folder):
    print(f"\n| ten times the {KEPT_MIB} MiB that may be kept | wall ms | peak MiB |")
    print("| --- | ---: | ---: |")
    for count, shape in LARGE_FILES:
        source = folder / "input.h5"
        make_file(source, "contiguous", count, shape)
        for name, unit in LINE_UNITS.items():
            wall, _, peak = measure(host_command(host, unit, [source], folder / "out.h5",
                                                 "--memory", str(KEPT_MIB)))
            print(f"| {name}, {count} x {list(shape)} | {wall:,.0f} | {peak:.0f} |")


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 9
    names = sys.argv[3:]
    with tempfile.TemporaryDirectory(dir=build) as folder:
        compare_jobs(build, pathlib.Path(folder), rounds, names)
        if not names:
            measure_large_files(build / "talvora-host", pathlib.Path(folder))


main()
