"""Whole jobs of talvora-host on HDF5 files next to the scripts that do the same.

    /usr/bin/python3 bench/compare_filter_file.py BUILD_FOLDER [ROUNDS]

Prints wall time, processor time and peak memory of both and their ratios: medians over
rounds in which one follows the other, so that what else the machine does meets both
alike, and the least. Then the peak memory on a file of ten times what may be kept in
memory. The files stand in BUILD_FOLDER while it runs (up to 1.4 GB).

The memory of the program is what it takes at most, its libraries included. The system
counts in it what this script had taken up when it started the program, so this one
imports its heavy libraries in processes of their own.
"""

import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).parent
LOW_PASS = "apply-set-butterworth SourceGroup=Signals CutoffFrequency=10 Order=4"
AVERAGE = "average-set SourceGroup=Signals DestinationGroup=Mean"

# What is done to which sets, by which unit and by which script.
JOBS = [
    ("low pass", 64, (3, 1, 20_000), LOW_PASS, "filter_file.py"),
    ("low pass", 640, (3, 1, 20_000), LOW_PASS, "filter_file.py"),
    ("low pass", 1, (20_000, 1, 320), LOW_PASS, "filter_file.py"),
    ("mean", 1, (20_000, 1, 320), AVERAGE, "average_file.py"),
]

# Units that work line by line, on sets that fit in memory and on one that does not.
KEPT_MIB = 64
LARGE_FILES = [(40, (4096, 1, 1024)), (1, (40 * 4096, 1, 1024))]
LINE_UNITS = {
    "mean": AVERAGE,
    "downsample by 2": "apply-set-downsample SourceGroup=Signals HintGroup=Half",
}

MAKE_FILE = """
import sys, h5py, numpy
path, count, *shape = sys.argv[1:]
random = numpy.random.default_rng(1)
with h5py.File(path, "w") as file:
    for i in range(int(count)):
        samples = random.standard_normal(tuple(map(int, shape)), dtype=numpy.float32)
        data = file.create_dataset(f"Signals/Set{i:03}", data=samples)
        data.attrs["SampleRate"] = numpy.float32(100)
        data.attrs["StartTime"] = numpy.float32(0)
    half = {"SampleRate": numpy.float32(50), "NumSamples": int(shape[-1]) // 2}
    file.create_group("Half").attrs.update(half)
"""


def make_file(path, count, shape):
    words = [str(word) for word in (path, count, *shape)]
    subprocess.run([sys.executable, "-c", MAKE_FILE, *words], check=True)


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


def host_command(host, unit, source, destination, *options):
    return [host, "run", *unit.split(), source, "-o", destination, "--force", "--quiet", *options]


def compare(host, peer, unit, source, output, rounds):
    ours, theirs = [], []
    for _ in range(rounds):
        ours.append(measure(host_command(host, unit, source, output)))
        theirs.append(measure([sys.executable, peer, source, output]))
    return list(zip(*ours)), list(zip(*theirs))


def print_job(name, ours, theirs):
    def cells(values):
        return f"{statistics.median(values):,.0f} ({min(values):,.0f})"

    ratios = [statistics.median(own) / statistics.median(other) for own, other in zip(ours, theirs)]
    for who, values in (("talvora-host", ours), ("script", theirs)):
        print(f"| {name} | {who} | {' | '.join(cells(value) for value in values)} |")
    print(f"| {name} | ratio | {' | '.join(f'{ratio:.3f}' for ratio in ratios)} |", flush=True)


def compare_jobs(host, folder, rounds):
    print("| job | by | wall ms (least) | processor ms (least) | peak MiB (least) |")
    print("| --- | --- | ---: | ---: | ---: |")
    for job, count, shape, unit, peer in JOBS:
        source = folder / "input.h5"
        make_file(source, count, shape)
        name = f"{job}, {count} x {list(shape)}"
        print_job(name, *compare(host, HERE / "peers" / peer, unit, source, folder / "out.h5",
                                 rounds))


def measure_large_files(host, folder):
    print(f"\n| ten times the {KEPT_MIB} MiB that may be kept | wall ms | peak MiB |")
    print("| --- | ---: | ---: |")
    for count, shape in LARGE_FILES:
        source = folder / "input.h5"
        make_file(source, count, shape)
        for name, unit in LINE_UNITS.items():
            wall, _, peak = measure(host_command(host, unit, source, folder / "out.h5",
                                                 "--memory", str(KEPT_MIB)))
            print(f"| {name}, {count} x {list(shape)} | {wall:,.0f} | {peak:.0f} |")


def main():
    build = pathlib.Path(sys.argv[1])
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 9
    with tempfile.TemporaryDirectory(dir=build) as folder:
        compare_jobs(build / "talvora-host", pathlib.Path(folder), rounds)
        measure_large_files(build / "talvora-host", pathlib.Path(folder))


main()
