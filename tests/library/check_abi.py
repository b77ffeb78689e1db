#!/usr/bin/env python3
"""Compares what programs were built against, the functions and structures of the library's
header, with the reference kept beside this script.

    check_abi.py CC HEADER [--renew]

A change here is one for every program that was built before. Where it is meant, as a new function
or a new member at the end of a structure is, --renew takes it over.

What is described is a library of empty functions, made from the header: the real one has types of
C++ behind its pointers.
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

REFERENCE = pathlib.Path(__file__).resolve().parent / "talvora.abi"
DESCRIBE = ["abidw", "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs", "--no-elf-needed"]
SKIPPED = 77


def make_stubs(header):
    declarations = re.findall(r"^TALVORA_EXPORT ([^;]*);", header.read_text(), re.M)
    if len(declarations) < 5:
        sys.exit(f"{header}: its functions are not found")
    return "".join(["#include <talvora/talvora.h>\n",
                    *(f"{declaration} {{ __builtin_trap(); }}\n" for declaration in declarations)])


def build_stubs(compiler, header, folder):
    source, library = folder / "stubs.c", folder / "stubs.so"
    source.write_text(make_stubs(header))
    subprocess.run([compiler, "-std=gnu99", "-g", "-gdwarf-4", "-O0", "-shared", "-fPIC",
                    "-nostdlib", f"-ffile-prefix-map={folder}=/", f"-ffile-prefix-map={header.parent.parent}=/",
                    f"-I{header.parent.parent}", source, "-o", library], check=True)
    return library


def main():
    compiler, header = sys.argv[1], pathlib.Path(sys.argv[2]).resolve()
    if not shutil.which("abidiff"):
        print("skipped: there is no abidiff; scripts/setup installs it (abigail-tools)")
        sys.exit(SKIPPED)
    with tempfile.TemporaryDirectory() as folder:
        library = build_stubs(compiler, header, pathlib.Path(folder))
        if "--renew" in sys.argv:
            with REFERENCE.open("w") as file:
                subprocess.run([*DESCRIBE, library], stdout=file, check=True)
            return
        done = subprocess.run(["abidiff", "--harmless", "--no-architecture", REFERENCE, library])
        sys.exit(done.returncode)


main()
