#!/usr/bin/env python3
"""Installs a build, moves it, and builds a plug-in, a host and a program in C against it.

    check_install.py BUILD CONSUMER CXX CC
"""

import json
import pathlib
import sys
import tempfile

from installed import (VERSION, check_library, check_program, check_python, expect,
                       expected_files, list_files, run)


def build_consumer(prefix, source, folder, compiler, c_compiler):
    run("cmake", "-S", source, "-B", folder, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={prefix}",
        f"-DCMAKE_CXX_COMPILER={compiler}", f"-DCMAKE_C_COMPILER={c_compiler}",
        "-DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF")
    run("cmake", "--build", folder)
    return folder / "consumer_host", folder / "consumer_plugin.so", folder / "consumer_program"


def main():
    build, consumer, compiler, c_compiler = sys.argv[1:]
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary).resolve()
        run("cmake", "--install", build, "--prefix", folder / "staged")
        prefix = (folder / "staged").rename(folder / "moved")
        host, plugin = check_program(prefix)
        expected = set().union(*expected_files(host).values())
        expect(list_files(prefix) == expected,
               f"installed otherwise: {list_files(prefix) ^ expected}")

        their_host, their_plugin, their_program = build_consumer(
            prefix, consumer, folder / "build", compiler, c_compiler)
        names = [unit["name"] for unit in json.loads(run(host, "units", "--json"))]
        expect(run(their_host, plugin).splitlines() == names, "their host sees other units")
        expect(run(host, "--plugin", their_plugin, "units").split()[:2] == ["consumer.idle", "1.0.0"],
               "talvora-host does not see their unit")
        expect(run(their_host, their_plugin) == "consumer.idle", "their host, their plug-in")
        expect(run(their_program) == f"{VERSION}: 1 2 3", "their program and the library")
        check_library(prefix, c_compiler, pathlib.Path(consumer) / "program.c", folder)
        check_python(prefix)


main()
