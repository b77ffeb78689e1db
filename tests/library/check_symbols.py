#!/usr/bin/env python3
"""The library shows the functions of its header, those of its map, and nothing else.

    check_symbols.py NM LIBRARY HEADER MAP
"""

import pathlib
import re
import subprocess
import sys

VERSION = "TALVORA_0"


def main():
    nm, library, header, symbol_map = sys.argv[1:]
    declared = set(re.findall(r"^TALVORA_EXPORT [^;(]*\b(talvora_\w+)\(",
                              pathlib.Path(header).read_text(), re.M))
    mapped = set(re.findall(r"^ +(talvora_\w+);$", pathlib.Path(symbol_map).read_text(), re.M))
    shown = subprocess.run([nm, "-D", "--defined-only", "--format=posix", "--with-symbol-versions",
                            library], text=True, stdout=subprocess.PIPE, check=True).stdout
    exported = {line.split()[0] for line in shown.splitlines()} - {VERSION}
    wanted = {f"{name}@@{VERSION}" for name in declared}
    if mapped != declared:
        sys.exit(f"in one of header and map alone: {sorted(mapped ^ declared)}")
    if not wanted or exported != wanted:
        sys.exit(f"in one of header and library alone: {sorted(exported ^ wanted)}")


main()
