#!/usr/bin/env python3
"""Builds each program in C of a page as C99, runs it and compares what it prints with the block
that follows.

    check_example.py PAGE CC INCLUDE LIBRARY [FLAG ...]
"""

import pathlib
import re
import subprocess
import sys
import tempfile

EXAMPLE = re.compile(r"^```c\n(#include.*?)^```\n(?:(?!^```).)*?^```\n(.*?)^```$", re.S | re.M)


def check(number, program, expected, compiler, include, library, flags):
    with tempfile.TemporaryDirectory() as folder:
        source, built = pathlib.Path(folder) / "example.c", pathlib.Path(folder) / "example"
        source.write_text(program)
        subprocess.run([compiler, "-std=c99", "-pedantic", "-Wall", "-Wextra", "-Werror", *flags,
                        f"-I{include}", source, library, f"-Wl,-rpath,{library.parent}", "-lm",
                        "-o", built], check=True)
        done = subprocess.run([built], cwd=folder, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT)
        if done.returncode != 0 or done.stdout != expected:
            sys.exit(f"example {number}: exit code {done.returncode}, prints\n{done.stdout}")


def main():
    page, compiler, include, library, *flags = sys.argv[1:]
    examples = EXAMPLE.findall(pathlib.Path(page).read_text())
    if not examples:
        sys.exit(f"{page}: no example")
    for number, (program, expected) in enumerate(examples, 1):
        check(number, program, expected, compiler, include, pathlib.Path(library), flags)


main()
