#!/usr/bin/env python3
"""Runs the example of a page of docs/units and compares what it prints.

    check_unit_pages.py TALVORA_HOST EXAMPLES PAGE.md

The page's code blocks that begin with "talvora-host" are run as a shell script in a copy
of EXAMPLES; every other block must be found in what they print, line by line in order.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile


def read_blocks(page):
    blocks = re.findall(r"^```\n(.*?)^```$", page.read_text(), re.S | re.M)
    commands = [block for block in blocks if block.startswith("talvora-host")]
    outputs = [block for block in blocks if not block.startswith("talvora-host")]
    if not commands or not outputs:
        sys.exit(f"{page}: no example with its output")
    return commands, outputs


def run(host, examples, commands):
    with tempfile.TemporaryDirectory() as folder:
        work = shutil.copytree(examples, pathlib.Path(folder) / "examples")
        path = f"{host.parent}{os.pathsep}{os.environ['PATH']}"
        done = subprocess.run(["sh", "-e", "-c", "\n".join(commands)], cwd=work, text=True,
                              stdout=subprocess.PIPE, env={**os.environ, "PATH": path})
    if done.returncode != 0:
        sys.exit(f"the example failed with {done.returncode}")
    return done.stdout.splitlines()


def find_in_order(expected, printed):
    lines = iter(printed)
    return [line for line in expected if not any(line == candidate for candidate in lines)]


def main():
    host, examples, page = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    commands, outputs = read_blocks(page)
    printed = run(host, examples, commands)
    missing = find_in_order("".join(outputs).splitlines(), printed)
    if missing:
        sys.exit("\n".join([f"{page.name}: not printed:", *missing, "but:", *printed]))


main()
