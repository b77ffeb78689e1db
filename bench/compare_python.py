"""What a call from Python costs and how fast it filters, next to SciPy, and to the library called
with everything prepared.

    PYTHONPATH=build/release/python /usr/bin/python3 bench/compare_python.py [ROUNDS]

Every round runs each way on each work in turn, so that what else the machine does meets all alike;
the best of the rounds, in millions of samples a second of processor time. In parentheses how many
times SciPy's. With two workers it is time on the clock, which takes an idle machine.
"""

import collections
import os
import pathlib
import sys
import time
import timeit

os.environ["OMP_NUM_THREADS"] = "1"
sys.path.insert(0, str(pathlib.Path(__file__).parent / "peers"))

import numpy as np
from scipy import signal

import talvora
from talvora import _arrays, _library
from zero_phase_filter_peer import LOW_PASS, random_samples, samples_with_bursts

PAD = 3 * max(map(len, LOW_PASS))
ROUNDS = int(sys.argv[1]) if len(sys.argv) > 1 else 5


def works():
    for dtype in (np.float32, np.float64):
        name = np.dtype(dtype).name
        samples = random_samples().astype(dtype)
        yield f"64 x 100,000, {name}", samples.reshape(64, -1)
        yield f"20,000 x 320, {name}", samples.reshape(20_000, -1)
        yield f"192 x 20,000, {name}", samples[:192 * 20_000].reshape(192, -1)
        yield f"100,000 x 64 along the first axis, {name}", samples.reshape(-1, 64)
        yield (f"64 x 100,000, bursts missing, {name}",
               samples_with_bursts().astype(dtype).reshape(64, -1))


def axis_of(x):
    return 0 if x.shape == (100_000, 64) else 1


def prepare_library(x):
    """The call as a program in C makes it, with the result in memory that was written before."""
    out = np.zeros_like(x)
    b, b_count = _arrays.take_coefficients(LOW_PASS[0], "b")
    a, a_count = _arrays.take_coefficients(LOW_PASS[1], "a")
    options = _library.ffi.new("talvora_filter_options *", {
        "struct_size": _library.ffi.sizeof("talvora_filter_options"), "axis": axis_of(x),
        "pad": _library.lib.TALVORA_PAD_SCIPY})
    taken, kept_for_taken = _arrays.describe_array(x)
    given, kept_for_given = _arrays.describe_array(out)
    kept = (out, kept_for_taken, kept_for_given)

    def run(kept=kept):
        _library.call(_library.lib.talvora_filtfilt, b, b_count, a, a_count, taken, given, options)

    return run


def filter_with_scipy(x):
    if not np.isnan(x[0]).any():
        return signal.filtfilt(*LOW_PASS, x, axis_of(x))
    result = np.full(x.shape, np.nan)
    for line, of_line in zip(x, result):
        valid = np.flatnonzero(~np.isnan(line))
        for run in np.split(valid, np.flatnonzero(np.diff(valid) > 1) + 1):
            if len(run) > PAD:
                of_line[run[0]:run[-1] + 1] = signal.filtfilt(*LOW_PASS, line[run[0]:run[-1] + 1])
    return result


def make_ways(x):
    out = np.zeros_like(x)
    return {
        "library": prepare_library(x),
        "talvora, out=": lambda: talvora.filtfilt(*LOW_PASS, x, axis_of(x), out=out),
        "talvora": lambda: talvora.filtfilt(*LOW_PASS, x, axis_of(x)),
        "scipy": lambda: filter_with_scipy(x),
    }


def seconds_of(work, clock):
    start = clock()
    work()
    return clock() - start


def compare_ways():
    times = collections.defaultdict(lambda: collections.defaultdict(list))
    sizes = {}
    for name, x in works():
        sizes[name] = x.size
        ways = make_ways(x)
        for way in ways.values():
            way()  # untimed: the first one meets cold memory
        for _ in range(ROUNDS):
            for way, run in ways.items():
                times[name][way].append(seconds_of(run, time.thread_time))
    print("| million samples a second | library | talvora, `out=` | talvora | SciPy |")
    print("| --- | ---: | ---: | ---: | ---: |")
    for name, of_work in times.items():
        speeds = {way: sizes[name] / min(seconds) / 1e6
                  for way, seconds in of_work.items()}
        cells = [f"{speed:.0f} ({speed / speeds['scipy']:.1f})" if way != "scipy" else f"{speed:.0f}"
                 for way, speed in speeds.items()]
        print(f"| {name} |", " | ".join(cells), "|")


def compare_workers():
    print("\n| times one worker's speed | two workers |\n| --- | ---: |")
    for name, x in works():
        out = np.zeros_like(x)
        seconds = collections.defaultdict(list)
        for _ in range(ROUNDS):
            for workers in (1, 2):
                seconds[workers].append(seconds_of(
                    lambda: talvora.filtfilt(*LOW_PASS, x, axis_of(x), workers=workers, out=out),
                    time.perf_counter))
        print(f"| {name} | {min(seconds[1]) / min(seconds[2]):.2f} |")


def measure_calls():
    x = random_samples()[:100].astype(float)
    print("\n| microseconds a call on 100 samples | |\n| --- | ---: |")
    for name, call in {
            "library": prepare_library(x[np.newaxis]),
            "talvora.filtfilt": lambda: talvora.filtfilt(*LOW_PASS, x),
            "talvora.butterworth": lambda: talvora.butterworth(x, rate=100, cutoff=5),
            "talvora.fill_gaps": lambda: talvora.fill_gaps(x),
            "scipy.signal.filtfilt": lambda: signal.filtfilt(*LOW_PASS, x)}.items():
        seconds = min(timeit.repeat(call, timer=time.process_time, number=2000, repeat=9)) / 2000
        print(f"| {name} | {seconds * 1e6:.1f} |")


measure_calls()
print()
compare_ways()
compare_workers()
