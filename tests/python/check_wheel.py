"""Looks at what an installed wheel needs: Python packages, and shared libraries.

    check_wheel.py ENVIRONMENT PACKAGE
"""

import importlib.metadata
import pathlib
import re
import subprocess
import sys

# What every system has that runs NumPy from a wheel, and how old it may be (docs/python.md).
RUN_TIME = {"ld-linux-x86-64.so.2", "libc.so.6", "libgcc_s.so.1", "libm.so.6", "libstdc++.so.6"}
NEWEST = {"GLIBC": (2, 34), "GLIBCXX": (3, 4, 29), "CXXABI": (1, 3, 13), "GCC": (4, 0, 0)}
CARRIED = {"libacl.so.1", "libattr.so.1", "libtalvora.so.0", "kpl-talvora_signal.so"}


def ask(*command):
    return subprocess.run(command, text=True, stdout=subprocess.PIPE, check=True).stdout


def find_faults(package):
    libraries = {file.name: file for file in package.glob("*.so*")}
    if set(libraries) != CARRIED:
        yield f"{package} holds {sorted(libraries)}; {sorted(CARRIED)} are expected"
    for name, file in libraries.items():
        needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", ask("readelf", "-dW", file)))
        if not needed or needed - RUN_TIME - CARRIED:
            yield f"{name} needs {sorted(needed - RUN_TIME)}"
        for kind, version in re.findall(r"Name: ([A-Z]+)_([0-9.]+) ", ask("readelf", "-VW", file)):
            if kind in NEWEST and tuple(map(int, version.split("."))) > NEWEST[kind]:
                yield f"{name} needs {kind} {version}; {NEWEST[kind]} is allowed"
    # As the loader finds them.
    for name, path in re.findall(r"(\S+) => (\S+)", ask("ldd", package / "libtalvora.so.0")):
        if name in CARRIED and pathlib.Path(path).resolve() != libraries[name].resolve():
            yield f"libtalvora.so.0 takes {name} from {path}"


def main():
    environment, package = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    faults = list(find_faults(package))
    if environment not in package.parents:
        faults.append(f"{package} is not the installed one")
    needed = set(importlib.metadata.requires("talvora"))
    if needed != {"numpy", "cffi"}:
        faults.append(f"the wheel needs {sorted(needed)}")
    if "GNU LESSER GENERAL PUBLIC LICENSE" not in (package / "licenses/copyright").read_text():
        faults.append("the wheel lacks the terms of what it carries")
    sys.exit("\n".join(faults) or 0)


main()
