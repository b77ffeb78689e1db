"""The work of zero_phase_filter_bench done with scipy.signal.filtfilt: one JSON line each.

    /usr/bin/python3 bench/peers/zero_phase_filter_peer.py [ROUNDS]

The samples are the same, float32 in and out, or float64; lines of equal length are filtered in
one call, runs between gaps one by one. Medians over the rounds, in millions of samples a
second of one thread's processor time.
"""

import json
import os
import statistics
import sys
import time

os.environ["OMP_NUM_THREADS"] = "1"

import numpy
from scipy import signal

SAMPLE_COUNT = 6_400_000
LOW_PASS = signal.butter(2, 0.1)
BAND_PASS = signal.butter(4, [0.1, 0.3], "bandpass")


def random_words(count):
    """The generator of Steele, Lea and Flood by position, as in the benchmark."""
    words = numpy.arange(1, count + 1, dtype=numpy.uint64) * numpy.uint64(0x9E3779B97F4A7C15)
    words = (words ^ (words >> numpy.uint64(30))) * numpy.uint64(0xBF58476D1CE4E5B9)
    words = (words ^ (words >> numpy.uint64(27))) * numpy.uint64(0x94D049BB133111EB)
    return words ^ (words >> numpy.uint64(31))


def random_samples():
    words = random_words(SAMPLE_COUNT) >> numpy.uint64(40)
    return words.astype(numpy.float32) * numpy.float32(2.0**-23) - numpy.float32(1)


def samples_with_bursts():
    samples = random_samples()
    spacings = 200 + random_words(10_000) % numpy.uint64(1500)
    start = 0
    for spacing in spacings:
        if start + 50 >= SAMPLE_COUNT:
            break
        start += int(spacing)
        samples[start:start + 50] = numpy.nan
        start += 50
    return samples


def samples_that_fall_silent():
    samples = random_samples().reshape(64, -1)
    samples[:, samples.shape[1] // 10:] = 0
    return samples


def filter_lines(design, samples):
    b, a = design
    pad = 3 * (len(a) - 1)
    samples[:] = signal.filtfilt(b, a, samples.astype(float, copy=False), axis=-1, padlen=pad)


def filter_runs(design, samples):
    tap_count = len(design[0])
    for line in samples:
        missing = numpy.concatenate(([True], numpy.isnan(line), [True]))
        edges = numpy.flatnonzero(numpy.diff(missing))
        for start, end in zip(edges[::2], edges[1::2]):
            if end - start >= 3 * tap_count - 1:
                filter_lines(design, line[start:end])


def filter_sets(design, samples):
    for line in samples:
        filter_lines(design, line)


def works():
    yield "64 x 100,000", filter_lines, LOW_PASS, random_samples().reshape(64, -1)
    yield "20,000 x 320", filter_lines, LOW_PASS, random_samples().reshape(20_000, -1)
    yield "64 x 100,000, bursts missing", filter_runs, LOW_PASS, samples_with_bursts().reshape(64, -1)
    yield "1 x 6,400,000", filter_lines, LOW_PASS, random_samples().reshape(1, -1)
    yield "64 x 100,000, band pass", filter_lines, BAND_PASS, random_samples().reshape(64, -1)
    yield "64 x 100,000, silent", filter_lines, LOW_PASS, samples_that_fall_silent()
    yield "64 sets of 1 x 100,000", filter_sets, LOW_PASS, random_samples().reshape(64, -1)
    yield "64 sets of 1 x 100,000, silent", filter_sets, LOW_PASS, samples_that_fall_silent()
    doubles = random_samples().astype(float)
    yield "64 x 100,000, doubles", filter_lines, LOW_PASS, doubles.reshape(64, -1)
    yield "20,000 x 320, doubles", filter_lines, LOW_PASS, doubles.reshape(20_000, -1)
    yield "192 x 20,000, doubles", filter_lines, LOW_PASS, doubles[:3_840_000].reshape(192, -1)
    yield "64 x 100,000, band pass, doubles", filter_lines, BAND_PASS, doubles.reshape(64, -1)


def main():
    round_count = int(sys.argv[1]) if len(sys.argv) > 1 else 3
    for name, run, design, samples in works():
        run(design, samples.copy())  # untimed: the first one meets cold memory
        seconds = []
        for _ in range(round_count):
            work = samples.copy()
            start = time.thread_time()
            run(design, work)
            seconds.append(time.thread_time() - start)
        speed = samples.size / statistics.median(seconds) / 1e6
        print(json.dumps({"work": name, "scipy": round(speed, 1)}), flush=True)


if __name__ == "__main__":
    main()
