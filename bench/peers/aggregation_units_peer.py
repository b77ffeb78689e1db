"""The work of aggregation_units_bench next to NumPy and pandas on the same samples.

    /usr/bin/python3 bench/peers/aggregation_units_peer.py BENCHMARK PLUGIN [ROUNDS]

Every round runs the benchmark program, for three rounds of its own, and each of the peers
once, so that what else the machine does meets all of them alike. Prints a table of medians,
in millions of samples a second of one thread's processor time, and checks that all peers
agree on the result.

nanmean and nanmax are the peers that treat missing samples; mean and max, which reduce
the array where it lies and know nothing of them, stand beside as the bound.
"""

import json
import os
import statistics
import subprocess
import sys
import time

os.environ["OMP_NUM_THREADS"] = "1"

import numpy
import pandas

SAMPLE_COUNT = 6_400_000
SHAPES = {"64 x 100,000": (64, 100_000), "20,000 x 320": (20_000, 320)}
COLUMNS = ["memcpy", "memcpy of lines", "average-set", "average-set-2", "numpy.nanmean",
           "pandas mean", "numpy.mean", "extract-set-maximum-extrema", "numpy.nanmax",
           "pandas max", "numpy.max"]


def make_samples():
    positions = numpy.arange(SAMPLE_COUNT, dtype=numpy.uint64)
    return (positions * 7919 % 10007).astype(numpy.float32) / numpy.float32(64)


def peers(lines, frame):
    """The frame has a column per line: pandas keeps columns contiguous."""
    return {
        "numpy.nanmean": lambda: numpy.nanmean(lines, axis=1),
        "pandas mean": lambda: frame.mean().to_numpy(),
        "numpy.mean": lambda: lines.mean(axis=1),
        "numpy.nanmax": lambda: numpy.nanmax(lines, axis=1),
        "pandas max": lambda: frame.max().to_numpy(),
        "numpy.max": lambda: lines.max(axis=1),
    }


def check_results(work):
    """All means agree to single precision, all maxima exactly."""
    results = {name: run() for name, run in work.items()}
    for name in ("numpy.nanmean", "pandas mean"):
        numpy.testing.assert_allclose(results[name], results["numpy.mean"], rtol=1e-4)
    for name in ("numpy.nanmax", "pandas max"):
        numpy.testing.assert_array_equal(results[name], results["numpy.max"])


def time_peer(run):
    start = time.thread_time()
    run()
    return SAMPLE_COUNT / (time.thread_time() - start)


def run_benchmark(program, plugin):
    output = subprocess.run([program, plugin, "3"], check=True, capture_output=True, text=True)
    return [json.loads(line) for line in output.stdout.splitlines()]


def measure(program, plugin, round_count):
    samples = make_samples()
    works = {name: peers(lines, pandas.DataFrame(lines.T))
             for name, shape in SHAPES.items() for lines in [samples.reshape(shape)]}
    for work in works.values():
        check_results(work)
    speeds = {(name, column): [] for name in SHAPES for column in COLUMNS}
    for _ in range(round_count):
        for row in run_benchmark(program, plugin):
            speeds[row["shape"], row["work"]].append(row["samples_per_second"])
        for name, work in works.items():
            for column, run in work.items():
                speeds[name, column].append(time_peer(run))
    return {key: statistics.median(values) for key, values in speeds.items()}


def print_table(medians):
    print("| million samples a second | " + " | ".join(SHAPES) + " |")
    print("| --- |" + " ---: |" * len(SHAPES))
    for column in COLUMNS:
        cells = [f"{medians[name, column] / 1e6:.0f}" for name in SHAPES]
        print(f"| {column} | " + " | ".join(cells) + " |")


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    round_count = int(sys.argv[3]) if len(sys.argv) > 3 else 11
    print_table(measure(sys.argv[1], sys.argv[2], round_count))


main()
