#!/usr/bin/env python3
"""Runs examples/Snakefile on two recordings; skipped (77) without Snakemake.

    check_snakefile.py TALVORA_HOST EXAMPLES

Each result has to be, byte for byte, what the recipe makes when it is run directly, and a
second call must find nothing to do.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
COLUMNS = [
    "--set", "AngularRate=Gyroscope X (deg/s),Gyroscope Y (deg/s),Gyroscope Z (deg/s)",
    "--set", "Acceleration=Accelerometer X (g),Accelerometer Y (g),Accelerometer Z (g)",
]


def main():
    host, examples = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    snakemake = shutil.which("snakemake")
    if snakemake is None:
        print("skipped: no snakemake here (scripts/setup check installs it)")
        sys.exit(SKIPPED)
    with tempfile.TemporaryDirectory() as folder:
        work = shutil.copytree(examples, pathlib.Path(folder) / "examples")
        environment = {**os.environ, "SOURCE_DATE_EPOCH": "1700000000", "HOME": folder,
                       "PATH": f"{host.parent}{os.pathsep}{os.environ['PATH']}"}

        def run(*words):
            done = subprocess.run(words, cwd=work, env=environment, text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            if done.returncode != 0:
                sys.exit(f"{' '.join(words)}: exit code {done.returncode}\n{done.stdout}")
            return done.stdout

        for sub_folder in ("recordings", "direct"):
            (work / sub_folder).mkdir()
        names = ["first.h5", "second walk.h5"]
        for name in names:
            run("talvora-host", "import", "imu_excerpt.csv", "-o", f"recordings/{name}",
                "--group", "Imu", *COLUMNS)
        rule = [snakemake, "--cores", "2", "--snakefile", "Snakefile"]
        run(*rule)
        run("talvora-host", "recipe", "run", "clean_imu.yaml",
            *(f"recordings/{name}" for name in names), "--out-dir", "direct")
        for name in names:
            if (work / "results" / name).read_bytes() != (work / "direct" / name).read_bytes():
                sys.exit(f"results/{name} differs from a direct run")
        second = run(*rule)
        if "Nothing to be done" not in second:
            sys.exit(f"a second call made something:\n{second}")


main()
