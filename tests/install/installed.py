"""What the tests of installation share."""

import os
import pathlib
import re
import subprocess
import sys

UNIT_TABLE = pathlib.Path(__file__).resolve().parent.parent / "support/unit_table.h"

# Nothing of the build may be found by chance.
ENVIRONMENT = {key: value for key, value in os.environ.items() if key != "TALVORA_PLUGIN_PATH"}


def run(*words, **options):
    """Runs a program; what it prints, without the last line end."""
    done = subprocess.run([str(word) for word in words], env=ENVIRONMENT, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)
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


def list_files(folder):
    return {str(path.relative_to(folder)) for path in pathlib.Path(folder).rglob("*")
            if not path.is_dir()}


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
    }
    for package, names in files.items():
        names.add(f"share/doc/{package}/changelog.gz")
    for package in ("kpl-talvora-signal", "talvora-host"):
        files[package].add(f"share/doc/{package}/copyright")
    return files
