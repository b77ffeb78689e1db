"""What the tests of installation share."""

import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
UNIT_TABLE = ROOT / "tests/support/unit_table.h"
VERSION = re.search(r"VERSION (\d+\.\d+\.\d+)", (ROOT / "CMakeLists.txt").read_text())[1]

# Nothing of the build may be found by chance.
ENVIRONMENT = {key: value for key, value in os.environ.items() if key != "TALVORA_PLUGIN_PATH"}


def run(*words, more=None, **options):
    """Runs a program, with more in its environment; what it prints, without the last line end."""
    done = subprocess.run([str(word) for word in words], env={**ENVIRONMENT, **(more or {})},
                          text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, words))}: exit code {done.returncode}\n{done.stdout}")
    return done.stdout.rstrip("\n")


def expect(condition, text):
    if not condition:
        sys.exit(text)


def list_identifiers():
    """Of every row of the plug-in's table, in order."""
    return re.findall(r'^    \{"([^"]+)"', UNIT_TABLE.read_text(), re.M)


def check_program(prefix):
    """The program of an installation runs a unit of the plug-in beside it."""
    host = prefix / "bin/talvora-host"
    plugin = prefix / "lib/talvora/kpl-talvora_signal.so"
    version = run(host, "version").splitlines()
    expect(version[-1] == f"loaded from {plugin}", f"another plug-in: {version}")
    expect(run(host, "--version") == version[0], "--version differs from version")
    units = [line.split()[0] for line in run(host, "units").splitlines()]
    # The program lists current identifiers before older ones.
    expect(sorted(units) == sorted(list_identifiers()), f"other units than in {UNIT_TABLE}: {units}")
    return host, plugin


def check_library(prefix, compiler, program, folder):
    """A program in C is built by what pkg-config tells of the library, and runs."""
    words = run("pkg-config", "--cflags", "--libs", "talvora",
                more={"PKG_CONFIG_PATH": f"{prefix}/lib/pkgconfig"}).split()
    run(compiler, program, *words, "-o", folder / "program")
    printed = run(folder / "program", more={"LD_LIBRARY_PATH": f"{prefix}/lib"})
    expect(printed == f"{VERSION}: 1 2 3", f"with the library: {printed}")


def read_machine(program):
    return re.search(r"Machine: +(.*)", run("readelf", "-h", program))[1]


def check_python(prefix):
    """The Python package of an installation takes the library of it, unless that was built for
    another architecture than the interpreter of this system."""
    if read_machine("/usr/bin/python3") != read_machine(prefix / "lib/libtalvora.so.0"):
        return
    package = prefix / "lib/python3/dist-packages"
    printed = run("/usr/bin/python3", "-c", "import talvora; print(talvora.__file__, "
                  "talvora.__version__, talvora.fill_gaps([1, float('nan'), 3]).tolist())",
                  more={"PYTHONPATH": str(package), "PYTHONDONTWRITEBYTECODE": "1"})
    expect(printed == f"{package}/talvora/__init__.py {VERSION} [1.0, 2.0, 3.0]",
           f"from Python: {printed}")


def list_files(folder):
    """Those that are named after the kind of the build by the word KIND."""
    return {re.sub(r"(talvoraConfig-)\w+", r"\1KIND", str(path.relative_to(folder)))
            for path in pathlib.Path(folder).rglob("*") if not path.is_dir()}


def list_modules():
    """Of the Python package, those that are not made by the build."""
    return [path.name for path in (ROOT / "python/talvora").glob("*.py")]


def list_commands(host):
    return run(host, "complete", "--", "").splitlines()


def expected_files(host):
    """By package: what an installation consists of, below its prefix."""
    pages = ["talvora-host"] + [f"talvora-host-{command}" for command in list_commands(host)]
    files = {
        "kpl-talvora-signal": {"lib/talvora/kpl-talvora_signal.so"},
        "talvora-signal-dev": {
            "include/talvora_signal/plugin/host_interfaces.h",
            "include/talvora_signal/plugin/plugin_api.h",
            "share/cmake/talvora_signal/talvora_signalConfig.cmake",
            "share/cmake/talvora_signal/talvora_signalConfigVersion.cmake",
        },
        "talvora-host": {
            "bin/talvora-host",
            "share/bash-completion/completions/talvora-host",
            "share/doc/talvora-host/hdf5_license",
            "share/doc/talvora-host/uplot_license",
            *(f"share/man/man1/{page}.1.gz" for page in pages),
        },
        "libtalvora0": {"lib/libtalvora.so.0", f"lib/libtalvora.so.{VERSION}"},
        "libtalvora-dev": {
            "include/talvora/talvora.h",
            "lib/cmake/talvora/talvoraConfig.cmake",
            "lib/cmake/talvora/talvoraConfig-KIND.cmake",
            "lib/cmake/talvora/talvoraConfigVersion.cmake",
            "lib/libtalvora.so",
            "lib/pkgconfig/talvora.pc",
        },
        "python3-talvora": {
            f"lib/python3/dist-packages/talvora/{name}"
            for name in ("_version.py", "py.typed", "talvora.h", *list_modules())
        },
    }
    for package, names in files.items():
        names.add(f"share/doc/{package}/changelog.gz")
    for package in ("kpl-talvora-signal", "talvora-host", "libtalvora0"):
        files[package].add(f"share/doc/{package}/copyright")
    return files
