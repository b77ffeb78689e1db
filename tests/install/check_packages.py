#!/usr/bin/env python3
"""Makes the Debian packages of a build, looks into them and runs what they hold.

    check_packages.py BUILD VERSION ARCHITECTURE CC
"""

import pathlib
import re
import sys
import tempfile

from installed import (check_library, check_program, check_python, expect, expected_files, list_files,
                       run)

# Package: its architecture, if it is not that of the build, its section, and what it depends on,
# among others.
EXPECTED = {
    "kpl-talvora-signal": (None, "science", ["libc6", "libstdc++6"]),
    "talvora-host": (None, "science", ["kpl-talvora-signal", "libc6", "libfmt9", "libhdf5-103-1"]),
    "talvora-signal-dev": ("all", "libdevel", []),
    "libtalvora0": (None, "libs", ["kpl-talvora-signal", "libc6", "libstdc++6", "libfmt9"]),
    "libtalvora-dev": (None, "libdevel", ["libtalvora0"]),
    "python3-talvora": ("all", "python", ["libtalvora0", "python3-cffi", "python3-numpy"]),
}


def check_fields(package, file, version, built_for):
    architecture, section, dependencies = EXPECTED[package]
    for field, value in (("Version", version), ("Architecture", architecture or built_for),
                         ("Section", section)):
        expect(run("dpkg-deb", "-f", file, field) == value, f"{file.name}: {field}")
    expect("\n " in run("dpkg-deb", "-f", file, "Description"), f"{file.name}: no description")
    depends = re.findall(r"([a-z0-9.+-]+)(?: \([^)]*\))?", run("dpkg-deb", "-f", file, "Depends"))
    missing = set(dependencies) - set(depends)
    expect(not missing, f"{file.name}: depends on {depends}, not on {missing}")


def check_rights(file):
    for line in run("dpkg-deb", "-c", file).splitlines():
        rights, owner = line.split()[:2]
        expect(owner == "root/root" and rights[7] == "r", f"{file.name}: {line}")


def main():
    build, version, built_for, compiler = sys.argv[1:]
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary).resolve()
        run("cpack", "--config", pathlib.Path(build) / "CPackConfig.cmake", "-B", folder / "made")
        made = {file.name.split("_")[0]: file for file in (folder / "made").glob("*.deb")}
        expect(made.keys() == EXPECTED.keys(), f"made: {sorted(made)}")
        contents = {}
        for package, file in made.items():
            check_fields(package, file, version, built_for)
            check_rights(file)
            run("dpkg-deb", "-x", file, folder / package)
            run("dpkg-deb", "-x", file, folder / "all")
            contents[package] = list_files(folder / package / "usr")
        host, _ = check_program(folder / "all/usr")
        program = pathlib.Path(__file__).resolve().parent / "consumer/program.c"
        check_library(folder / "all/usr", compiler, program, folder)
        check_python(folder / "all/usr")
        linked = run("readelf", "-d", host)
        expect("libhdf5" in linked, f"the packaged program carries HDF5 in itself: {linked}")
        for package, files in expected_files(host).items():
            files.discard("share/doc/talvora-host/hdf5_license")  # of what is not in it
            expect(contents[package] == files, f"{package}: {contents[package] ^ files}")


main()
