"""The in-place units against NumPy and pandas: prints the table of bench/RESULTS.md.

    /usr/bin/python3 bench/peers/inplace_units_peer.py BENCH PLUGIN [ROUNDS]

BENCH is inplace_units_bench. Each round runs it once and then does the same work on the
same samples here, so that what else the machine does meets both alike. Figures are
medians over the rounds, in millions of samples a second of one thread's processor time.

A unit reads each line from the host that holds it and writes it back. So do the peers
marked "to and fro", on a copy of the whole array; the others work on the array itself and
need no copies at all.
"""

import json
import os
import statistics
import subprocess
import sys
import time
import warnings

os.environ["OMP_NUM_THREADS"] = "1"

import numpy
import pandas

SHAPES = [(64, 100_000), (20_000, 320)]


def make_samples(shape):
    count = shape[0] * shape[1]
    samples = (numpy.arange(count) * 7919 % 10007).astype(numpy.float32) / numpy.float32(64)
    return samples.reshape(shape)


def remove_bursts(samples):
    """Bursts of 5 to 50 missing samples, each behind nineteen times as many valid ones."""
    flat = samples.reshape(-1)
    position = burst = 0
    while True:
        length = 5 + burst * 17 % 46
        position += 19 * length
        if position + length > flat.size:
            return samples
        flat[position:position + length] = numpy.nan
        position += length
        burst += 1


def fill_with_pandas(samples):
    return pandas.DataFrame(samples.T).interpolate(limit_area="inside").to_numpy().T


def fill_with_numpy(samples):
    for line in samples:
        missing = numpy.isnan(line)
        valid = numpy.flatnonzero(~missing)
        inside = numpy.flatnonzero(missing)
        inside = inside[(inside > valid[0]) & (inside < valid[-1])]
        line[inside] = numpy.interp(inside, valid, line[valid])


def remove_offset(samples):
    opening = samples[:, :10]
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        opening.mean(axis=1) / opening.std(axis=1, ddof=1)
    samples -= numpy.median(opening, axis=1, keepdims=True)


def downsample(samples):
    return samples[:, ::10].copy()


def negate(samples):
    samples *= numpy.float32(-1)


def to_and_fro(work):
    def read_work_write(samples):
        own = samples.copy()
        work(own)
        samples[...] = own
    return read_work_write


def downsample_own(samples):
    return samples.copy()[:, ::10].copy()


PEERS = {
    "fill gap": [("pandas interpolate", fill_with_pandas), ("numpy.interp", fill_with_numpy)],
    "baseline offset": [
        ("numpy.median, to and fro", to_and_fro(remove_offset)),
        ("numpy.median, in place", remove_offset),
    ],
    "downsample by 10": [
        ("NumPy slice, to and fro", downsample_own),
        ("NumPy slice", downsample),
    ],
    "opposite": [
        ("NumPy product, to and fro", to_and_fro(negate)),
        ("NumPy product, in place", negate),
    ],
}


def time_peer(work, unit, shape):
    samples = make_samples(shape)
    if unit == "fill gap":
        remove_bursts(samples)
    start = time.thread_time()
    work(samples)
    return samples.size / (time.thread_time() - start)


def run_bench(bench, plugin):
    output = subprocess.run([bench, plugin, "3"], check=True, capture_output=True, text=True)
    return [json.loads(line) for line in output.stdout.splitlines()]


def collect(bench, plugin, round_count):
    rates = {}
    for _ in range(round_count):
        for row in run_bench(bench, plugin):
            key = (row["unit"], (row["lines"], row["length"]))
            rates.setdefault((*key, "talvora"), []).append(row["talvora"])
            rates.setdefault((*key, "memcpy"), []).append(row["memcpy"])
        for unit, peers in PEERS.items():
            for shape in SHAPES:
                for name, work in peers:
                    rates.setdefault((unit, shape, name), []).append(time_peer(work, unit, shape))
    return {key: statistics.median(values) / 1e6 for key, values in rates.items()}


def main():
    bench, plugin = sys.argv[1:3]
    rates = collect(bench, plugin, int(sys.argv[3]) if len(sys.argv) > 3 else 7)
    print("| unit | lines x samples | talvora | memcpy | of memcpy | peer | its rate | times |")
    print("| --- | --- | ---: | ---: | ---: | --- | ---: | ---: |")
    for unit, peers in PEERS.items():
        for shape in SHAPES:
            ours, copies = rates[unit, shape, "talvora"], rates[unit, shape, "memcpy"]
            for name, _ in peers:
                theirs = rates[unit, shape, name]
                print(f"| {unit} | {shape[0]:,} x {shape[1]:,} | {ours:,.0f} | {copies:,.0f} "
                      f"| {ours / copies:.2f} | {name} | {theirs:,.0f} | {ours / theirs:.1f} |")


main()
