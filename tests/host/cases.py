#!/usr/bin/env python3
"""What many payloads are by docs/messages.json, for TableTest.cpp: cases.py TABLE CASES"""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "documents"))

import table as tables  # noqa: E402


def main(source, target):
    table = tables.load(source)
    with open(target, "w", encoding="ascii") as file:
        for payload in [*tables.borders(table), *tables.anything(table, 20000)]:
            kind = tables.classify(table, payload)
            file.write(f"{kind[0] if kind else '-'} {payload.encode('ascii').hex()}\n")


if __name__ == "__main__":
    main(*sys.argv[1:])
