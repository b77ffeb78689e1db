"""Makes a table of what filter_libraries_bench prints (see scripts/bench-filter).

A cell holds million samples a second before and after, and their ratio.
"""

import json
import sys


def cell(row):
    if row is None or "before" not in row:
        return "-"  # a path that is not there, or a machine that was never quiet
    before, after = row["before"], row["after"]
    note = "" if row["same_bits"] else ", other bits"
    return f"{before:.0f}, {after:.0f}: {after / before:.2f}{note}"


def main():
    rows = {}
    for line in sys.stdin:
        row = json.loads(line)
        rows.setdefault(row["work"], {})[row["path"]] = row
    paths = list(dict.fromkeys(path for of_work in rows.values() for path in of_work))
    print("| lines x samples |", " | ".join(paths), "|")
    print("| --- |" + " ---: |" * len(paths))
    for work, of_work in rows.items():
        print(f"| {work} |", " | ".join(cell(of_work.get(path)) for path in paths), "|")


main()
