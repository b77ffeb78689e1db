#!/usr/bin/env python3
"""Compares the list of checks in docs/validator.md with the program's own.

    check_validator_page.py TALVORA_HOST validator.md [--write]
"""

import json
import pathlib
import re
import subprocess
import sys

host, page = sys.argv[1], pathlib.Path(sys.argv[2])
listed = json.loads(subprocess.run([host, "validate", "--list", "--json"], check=True,
                                   stdout=subprocess.PIPE).stdout)
rows = "".join(f"| `{check['id']}` | {check['description']} |\n" for check in listed)
expected = f"| check | what a good plug-in does |\n| --- | --- |\n{rows}"
text = page.read_text()
if "--write" in sys.argv:
    page.write_text(re.sub(r"\| check \|.*?\n\n", lambda _: expected + "\n", text, flags=re.S))
elif len(listed) < 30 or expected not in text:
    sys.exit(f"{page.name} does not list the checks as 'validate --list' does:\n{expected}")
