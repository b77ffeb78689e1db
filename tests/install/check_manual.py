#!/usr/bin/env python3
"""Renders the manual pages of a build; skipped (77) without `man`.

    check_manual.py TALVORA_HOST FOLDER

Each command has its page, with every option that its --help names and with examples, and
the formatter has nothing to complain of.
"""

import pathlib
import re
import shutil
import subprocess
import sys

from installed import ENVIRONMENT, expect, list_commands, run

SKIPPED = 77


def render(page):
    done = subprocess.run(["man", "--local-file", "--warnings", page], text=True,
                          capture_output=True,
                          env={**ENVIRONMENT, "LC_ALL": "C.UTF-8", "MANWIDTH": "100"})
    expect(done.returncode == 0 and not done.stderr, f"{page}: {done.stderr}")
    return re.sub(".\b", "", done.stdout)


def check_page(page, help_text):
    text = render(page)
    for option in re.findall(r"^  (?:-\w,)?(--[a-z-]+)", help_text, re.M):
        expect(re.search(rf"^ +(-\w, )?{option}\b", text, re.M), f"{page.name}: no {option}")
    for section in ("NAME", "SYNOPSIS", "EXAMPLES"):
        expect(re.search(rf"^{section}$", text, re.M), f"{page.name}: no section {section}")
    examples = help_text.partition("Examples:")[2].strip().splitlines()
    for line in examples:
        expect(line.strip() in text, f"{page.name}: lacks '{line}'")


def main():
    host, folder = (pathlib.Path(argument) for argument in sys.argv[1:])
    if shutil.which("man") is None:
        print("skipped: no man here (package man-db)")
        sys.exit(SKIPPED)
    commands = list_commands(host)
    expect(len(commands) > 5, f"few commands: {commands}")
    for command in commands:
        check_page(folder / f"talvora-host-{command}.1.gz", run(host, command, "--help"))
    check_page(folder / "talvora-host.1.gz", run(host, "--help"))


main()
