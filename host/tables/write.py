#!/usr/bin/env python3
"""Generates the tables of the packages for hosts from docs/messages.json:

  write.py            writes host/vornix_host/Table.h and host/python/vornix_host/table.py
  write.py --check    only checks that they are up to date

The two are kept in the repository, since authors of hosts read them, and so that building the
packages needs nothing but a compiler, or Python.
"""

import json
import pathlib
import sys

import cpp
import facts
import python

HOST = pathlib.Path(__file__).resolve().parent.parent


def main(*arguments):
    table = json.loads((HOST.parent / "docs/messages.json").read_text(encoding="utf-8"))
    facts.check(table)
    stale = []
    for made, path in (
        (cpp.header(table), HOST / "vornix_host/Table.h"),
        (python.module(table), HOST / "python/vornix_host/table.py"),
    ):
        if path.is_file() and path.read_text(encoding="utf-8") == made:
            continue
        stale.append(path)
        if "--check" not in arguments:
            path.write_text(made, encoding="utf-8")
    for path in stale:
        print(path, "is not" if "--check" in arguments else "was not", "what docs/messages.json says")
    return 1 if stale and "--check" in arguments else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
