#!/usr/bin/env python3
"""Writes what many payloads and command lines mean by docs/messages.json, for TableTest.cpp and
CommandsTest.cpp:

  cases.py TABLE PAYLOADS COMMANDS
"""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "documents"))

import table as tables  # noqa: E402


def payloads(table):
    for payload in [*tables.borders(table), *tables.anything(table, 20000)]:
        name, fields = tables.classify(table, payload) or ("-", {})
        values = [f"{field}={str(value).encode('ascii').hex()}" for field, value in fields.items()]
        yield " ".join([name, payload.encode("ascii").hex(), *values])


def commands(table):
    devices = {one["ready"]: one["name"].lower() for one in table["families"] if "ready" in one}
    for command in table["commands"]:
        device = devices.get(command.get("safeAfter"), "none")
        about = f"{device} {command.get('notDuring', '-')} {command.get('stop', '-')}"
        about += f" {command['line'].split()[0]}\t{command['log']}"
        for example in command["examples"]:
            yield f"good {about}\t{example['line']}"
        for name, field in command.get("arguments", {}).items():
            least, most = field["least"], field["most"]
            for verdict, values in (
                ("good", [least, most, f"0{most}"]),
                ("bad", [least - 1, most + 1, "", "x", "0x10", "1.0"]),
            ):
                for value in values:
                    line = tables.filled(command["line"], {"code": 1, "value": 1, name: value})
                    yield f"{verdict} {about}\t{line}"


def main(source, *targets):
    table = tables.load(source)
    for target, lines in zip(targets, (payloads(table), commands(table))):
        with open(target, "w", encoding="ascii") as file:
            file.writelines(line + "\n" for line in lines)


if __name__ == "__main__":
    main(*sys.argv[1:])
