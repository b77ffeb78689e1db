"""Runs zero_phase_filter_bench and its SciPy peer in turn and prints both with ratios.

    /usr/bin/python3 bench/compare_zero_phase_filter.py BUILD_FOLDER [ROUNDS]

One round of one, then one round of the other, so that what else the machine does meets
both alike. Medians over the rounds in millions of samples a second of processor time;
in parentheses how many times SciPy's.
"""

import collections
import json
import pathlib
import statistics
import subprocess
import sys

HERE = pathlib.Path(__file__).parent


def measure(command, speeds):
    output = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    for line in output.splitlines():
        row = json.loads(line)
        for name, speed in row.items():
            if name != "work":
                speeds[row["work"]][name].append(speed)


def cell(name, speeds):
    if not speeds[name]:
        return "-"  # the machine was never quiet
    speed = statistics.median(speeds[name])
    if name in ("memcpy", "scipy"):
        return f"{speed:6.0f}"
    return f"{speed:6.0f} ({speed / statistics.median(speeds['scipy']):4.1f})"


def main():
    bench = pathlib.Path(sys.argv[1]) / "bench" / "zero_phase_filter_bench"
    peer = HERE / "peers" / "zero_phase_filter_peer.py"
    speeds = collections.defaultdict(lambda: collections.defaultdict(list))
    for _ in range(int(sys.argv[2]) if len(sys.argv) > 2 else 5):
        measure([bench, "--json", "1"], speeds)
        measure([sys.executable, peer, "1"], speeds)
    names = list(dict.fromkeys(name for of_work in speeds.values() for name in of_work))
    print("| work |", " | ".join(names), "|")
    print("| --- |" + " ---: |" * len(names))
    for work, of_work in speeds.items():
        print(f"| {work} |", " | ".join(cell(name, of_work) for name in names), "|")


main()
