#!/usr/bin/env python3
"""Writes a dictionary for a fuzzer: dictionary.py OUTPUT TABLE KIND WORDS

The words of a file, and those that docs/messages.json has: its commands, its names of devices, or
the payloads of its examples.
"""

import json
import sys


def commands(table):
    for command in table["commands"]:
        yield command["line"].split()[0] + (" " if "arguments" in command else "\n")


def names(table):
    for family in table["families"]:
        for name in family["names"]:
            yield from (name, name.upper())


def payloads(table):
    return (example["payload"] for message in table["messages"] for example in message["examples"])


KINDS = {"commands": commands, "names": names, "payloads": payloads}


def quoted(word):
    escaped = (f"\\x{ord(c):02x}" if c in '"\\' or not 32 <= ord(c) < 127 else c for c in word)
    return f'"{"".join(escaped)}"'


def main(output, table, kind, own):
    with open(table, encoding="utf-8") as file:
        words = [quoted(word) for word in KINDS[kind](json.load(file))]
    with open(own, encoding="utf-8") as file:
        words += file.read().splitlines()
    with open(output, "w", encoding="utf-8") as file:
        print(*words, sep="\n", file=file)


if __name__ == "__main__":
    main(*sys.argv[1:])
