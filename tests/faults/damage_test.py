"""Tries the commands of talvora-host on HDF5 files that are damaged.

    damage_test.py TALVORA_HOST PLUGIN [--reads TROUBLED_READS] [--count N] [--seed SEED]

Bytes of small files of several layouts are changed at random, and each command that reads a file
reads them. Right is exit code 0, 1, 3 or 5 in time, for a failure a complete line, every file as
it was, and nothing left. With TROUBLED_READS, which is preloaded, the HDF5 library crashes, hangs,
is stopped, asks for all the memory or takes its time where it reads: the file is to blame, but
where it only is slow.

A case is named by the seed and its number; --only NUMBER runs it alone, --keep FOLDER leaves the
damaged file there.
"""

import argparse
import collections
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import h5py

import fault_test

IDLE_TIME = 2  # seconds
TIME_LIMIT = IDLE_TIME + 20
# Little besides what tells of the samples: a byte at random most often is one of those.
FILES = {
    "contiguous": ({}, {}),
    "chunked": ({}, {"chunks": (3, 1, 20)}),
    "compressed": ({}, {"chunks": (3, 1, 20), "compression": "gzip"}),
    "newest": ({"libver": "latest"}, {"chunks": (3, 1, 20), "maxshape": (3, 1, None)}),
}
MAP = "sets: [{data: '*/*', time: last, rate: {attribute: SampleRate}}]\n"
RECTIFY = ["run", "apply-set-rectify", "SourceGroup=Imu"]
COMPLETE = ["complete", "--", "tree", "bad.h5::"]
COMMANDS = [
    [*RECTIFY, "bad.h5", "-o", "out.h5"],
    [*RECTIFY, "bad.h5", "--in-place"],
    [*RECTIFY, "good.h5", "-o", "bad.h5", "--resume"],
    ["recipe", "run", "steps.yaml", "bad.h5", "--in-place", "--backup"],
    ["recipe", "check", "steps.yaml", "bad.h5"],
    ["recipe", "extract", "bad.h5"],
    ["import", "table.csv", "-o", "bad.h5", "--append", "--group", "More", "--time", "t"],
    ["import", "bad.h5", "-o", "out.h5", "--time-axis", "-1", "--rate", "100"],
    ["import", "bad.h5", "-o", "out.h5", "--map", "map.yaml"],
    ["import", "good.h5", "-o", "bad.h5", "--time-axis", "-1", "--rate", "100", "--append",
     "--group", "More"],
    ["export", "bad.h5", "-o", "out.csv"],
    ["export", "bad.h5::Imu/Rate", "-o", "-"],
    ["attributes", "bad.h5"],
    ["attributes", "bad.h5::Imu/Rate", "SampleRate=50", "--in-place"],
    ["attributes", "bad.h5::Imu/*", "SampleRate=50", "-o", "out.h5"],
    ["tree", "bad.h5", "--attributes"],
    ["tree", "bad.h5", "--statistics", "--json"],
    ["history", "bad.h5"],
    ["plot", "bad.h5", "-o", "out.html"],
    ["plot", "good.h5", "--with", "bad.h5", "-o", "out.svg"],
    COMPLETE,
]
ALLOWED_CODES = {0, 1, 3, 5}
# What damage only seems to be (exit code 4): a history with another letter in it is that of another
# plug-in.
SEEMS = ("which the history names",)


class Wrong(Exception):
    """What a command did, and should not."""


def expect(holds, text):
    if not holds:
        raise Wrong(text)


def outputs_of(words):
    """The files that a command may make or replace."""
    named = {words[words.index("-o") + 1]} if "-o" in words else set()
    return named | ({"bad.h5", "bad.h5.bak"} if "--in-place" in words else set())


class Workshop:
    """A folder with files, in which the program is called."""

    def __init__(self, options, folder):
        self.options = options
        self.folder = folder
        (folder / "table.csv").write_text(fault_test.TABLE)
        (folder / "steps.yaml").write_text(fault_test.RECIPE)
        (folder / "map.yaml").write_text(MAP)
        self.files = {name: self.make(name, *options) for name, options in FILES.items()}
        (folder / "good.h5").write_bytes(self.files["contiguous"])
        self.before = self.contents()

    def make(self, name, of_file, of_set):
        """With a history, so that there is one to be damaged."""
        path = self.folder / "made.h5"
        with h5py.File(path, "w", **of_file) as file:
            fault_test.add_set(file, "Imu/Rate", 1200, **of_set)
            fault_test.add_set(file, "Other/Kept", 120)
        result = self.call([*RECTIFY, "made.h5", "--in-place"])
        expect(result.returncode == 0, f"{name}: {result.stderr}")
        content = path.read_bytes()
        path.unlink()
        return content

    def contents(self):
        return {path.name: path.read_bytes() for path in self.folder.iterdir()}

    def call(self, words, **environment):
        words = [str(self.options.host), "--plugin", str(self.options.plugin), *words]
        variables = {**os.environ, "SOURCE_DATE_EPOCH": "1700000000", **environment}
        process = subprocess.Popen(words, cwd=self.folder, env=variables, encoding="utf-8",
                                   errors="replace", stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   start_new_session=True)
        try:
            output, errors = process.communicate(timeout=TIME_LIMIT)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            raise Wrong(f"takes more than {TIME_LIMIT} s") from None
        return subprocess.CompletedProcess(words, process.returncode, output, errors)

    def try_on(self, content, words, codes=ALLOWED_CODES, **environment):
        """The result of a command on the file bad.h5; every file is as before again then."""
        bad = self.folder / "bad.h5"
        bad.write_bytes(content)
        before = {**self.before, "bad.h5": content}
        try:
            result = self.call(words, **environment)
            self.judge(result, words, before, codes)
            return result
        finally:
            for name in self.contents().keys() - self.before.keys():
                (self.folder / name).unlink()

    def judge(self, result, words, before, codes):
        expect(result.returncode in codes or any(text in result.stderr for text in SEEMS),
               f"exit code {result.returncode}: {result.stderr}")
        after = self.contents()
        left = [name for name in after if "talvora" in name]
        expect(not left, f"left {left}")
        changed = {name for name in before.keys() | after.keys()
                   if before.get(name) != after.get(name)}
        if result.returncode == 0:
            changed -= outputs_of(words)
            expect(not changed, f"changed {changed}, which it was to read alone")
            return
        expect(not changed, f"failed, and changed {changed}")
        lines = [line for line in result.stderr.splitlines() if not line.startswith("warning: ")]
        expect(lines and lines[0].startswith("error: "), f"tells no error: {result.stderr!r}")
        expect(result.stderr.endswith("\n"), f"no complete line: {result.stderr!r}")
        self.judge_output(result, words)

    def judge_output(self, result, words):
        """A failure has no result, but with --json a document that tells of it."""
        if "--json" not in words:
            expect(not result.stdout, f"a failure has a result: {result.stdout[:200]!r}")
            return
        try:
            told = json.loads(result.stdout)["exit_code"]
        except (ValueError, KeyError) as error:
            raise Wrong(f"no document of a failure: {result.stdout[:200]!r}") from error
        expect(told == result.returncode, f"tells of exit code {told}")


# --- reads that run into trouble


def try_troubled_reads(workshop):
    trouble = {"LD_PRELOAD": str(workshop.options.reads), "TROUBLED_FILE": "bad.h5"}
    good = workshop.files["chunked"]
    limits = ["--idle-time", "1"]

    def blames_the_file(words, text, kind, after=0):
        result = workshop.try_on(good, words, {3}, TROUBLE=kind, TROUBLE_AFTER=str(after),
                                 **trouble)
        line = result.stderr.splitlines()[0]
        expect("bad.h5" in line and text in line, f"{words}: {result.stderr}")

    # A shell that completes a line has no use for messages.
    silent = workshop.try_on(good, COMPLETE, {0}, TROUBLE="crash", TROUBLE_AFTER="0", **trouble)
    expect(not silent.stdout and not silent.stderr, f"{COMPLETE}: {silent}")
    for words in COMMANDS:
        for after in (0, 3) if words != COMPLETE else ():
            blames_the_file(words, "it is damaged: the HDF5 library crashed on it (SIGSEGV)",
                            "crash", after)
    for words in (COMMANDS[0], COMMANDS[6], ["tree", "bad.h5"]):
        blames_the_file([*words, *limits], "made no progress with it for 1 s", "loop")
        blames_the_file([*words, *limits], "was stopped and did not go on for 1 s", "stop")
        blames_the_file([*words, "--read-memory", "256"], "Cannot allocate memory", "hoard")
    slow = workshop.try_on(good, ["tree", "bad.h5", "--statistics", *limits], {0}, TROUBLE="slow",
                           **trouble)
    expect("Imu/Rate" in slow.stdout, slow.stdout)
    print("troubled reads: as expected", flush=True)


# --- bytes at random


def damage(content, chance):
    """Some bytes in one place, or a few bits anywhere."""
    changed = bytearray(content)
    if chance.random() < 0.5:
        start = chance.randrange(len(changed))
        for at in range(start, min(start + chance.choice([1, 2, 4, 8, 32]), len(changed))):
            changed[at] = chance.choice([0, 0xFF, chance.randrange(256)])
    else:
        for _ in range(chance.choice([1, 2, 4, 16])):
            changed[chance.randrange(len(changed))] ^= 1 << chance.randrange(8)
    return bytes(changed)


def make_case(files, seed, number):
    chance = random.Random(f"{seed}:{number}")
    kind = list(files)[number % len(files)]
    return kind, damage(files[kind], chance), chance.choice(COMMANDS)


def describe(result):
    for text in ("crashed", "made no progress", "was killed"):
        if text in result.stderr:
            return f"{result.returncode}, {text}"
    return str(result.returncode)


def try_random_damage(workshop):
    options = workshop.options
    ends = collections.Counter()
    wrong = 0
    longest = 0.0
    numbers = range(options.count) if options.only is None else [options.only]
    for number in numbers:
        kind, content, words = make_case(workshop.files, options.seed, number)
        if options.keep:
            (options.keep / f"damaged-{options.seed}-{number}.h5").write_bytes(content)
        begin = time.monotonic()
        try:
            result = workshop.try_on(content, ["--idle-time", str(IDLE_TIME), *words])
            ends[describe(result)] += 1
            if options.only is not None:
                print(words, result.returncode, result.stdout, result.stderr, sep="\n")
        except Wrong as error:
            wrong += 1
            print(f"case {number} of seed {options.seed} ({kind}): {' '.join(words)}: {error}",
                  flush=True)
        longest = max(longest, time.monotonic() - begin)
    print(f"seed {options.seed}: {len(numbers)} damaged files, {wrong} wrong; at most "
          f"{longest:.1f} s; exit codes "
          + "; ".join(f"{end}: {count}" for end, count in sorted(ends.items())), flush=True)
    return wrong


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("host", type=pathlib.Path)
    parser.add_argument("plugin", type=pathlib.Path)
    parser.add_argument("--reads", type=pathlib.Path)
    parser.add_argument("--count", type=int, default=100)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", type=int)
    parser.add_argument("--keep", type=pathlib.Path)
    options = parser.parse_args()
    for name in ("host", "plugin", "reads"):
        if path := getattr(options, name):
            setattr(options, name, path.resolve())
    with tempfile.TemporaryDirectory() as temporary:
        workshop = Workshop(options, pathlib.Path(temporary))
        if options.reads:
            try_troubled_reads(workshop)
        return 1 if try_random_damage(workshop) else 0


if __name__ == "__main__":
    sys.exit(main())
