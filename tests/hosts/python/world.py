#!/usr/bin/env python3
"""Reads what bridges write in simulated sessions (tests/world), in which devices and stack
misbehave: each line has to be whole, each message known, and nothing may cost the bridge its
trust."""

import os
import re
import subprocess
import unittest

import place  # noqa: F401  (where the package is)

from vornix_host import (
    DamagedLine, FenwixJson, LineReader, LogEntry, Payload, UnknownMessage, decode)
from vornix_host.commands import CommandError, asks_for_document, check
from vornix_host.life import Life

WORLD = os.environ["VORNIX_WORLD"]
SEEDS = range(1, 41)
BANNER = "Demarrage de Vornix"
# A line as the program prints it: "   1.046692  > <@ : text>", with the log's time left out.
WRITTEN = re.compile(rb" *\d+\.\d+  > (.*)", re.DOTALL)
COMMAND = re.compile(rb" *\d+\.\d+  < (.*)", re.DOTALL)
# The beginning of any entry; line feeds within a document do not look like this.
PRINTED = re.compile(rb"^(?= *\d+\.\d{6}  )", re.MULTILINE)


def session(seed):
    """The lines between the host and its bridges, each as ("<" or ">", its bytes)."""
    done = subprocess.run([WORLD, "--seed", str(seed)], capture_output=True, check=True)
    for printed in PRINTED.split(done.stdout):
        if written := WRITTEN.fullmatch(printed.rstrip(b"\n")):
            line = written[1].replace(b"<@ : ", b"<@12:34:56.789 : ", 1)
            yield ">", line + b"\n"
        elif command := COMMAND.fullmatch(printed.rstrip(b"\n")):
            yield "<", command[1]


class Sessions(unittest.TestCase):
    def play(self, seed, kinds):
        life = Life()
        unawaited = 0  # documents: the sessions' host also asks while it awaits one
        for way, data in session(seed):
            if way == "<":
                try:
                    check(data.decode())
                    unawaited += life.awaits_document and asks_for_document(data.decode())
                    life.note_sent(data.decode())
                except CommandError:
                    pass  # the bridge ends by it
                continue
            reader = LineReader()
            found = [*reader.feed(data), *reader.finish()]
            self.assertEqual(len(found), 1, data)
            self.assertNotIsInstance(found[0], DamagedLine, data)
            if isinstance(found[0], LogEntry) and found[0].text.startswith(BANNER):
                life = Life()
                unawaited = 0
            event = decode(found[0].text) if isinstance(found[0], Payload) else found[0]
            kinds.add(type(event).__name__)
            told = life.note(event.received(0.0, 0.0))
            self.assertEqual(life.why_distrusted, "", data)
            unknown = [one for one in told if isinstance(one, UnknownMessage)]
            if unknown and unawaited > 0 and isinstance(event, FenwixJson):
                unawaited -= 1
                continue
            self.assertFalse(unknown, data)

    def test_are_read(self):
        kinds = set()
        for seed in SEEDS:
            with self.subTest(seed=seed):
                self.play(seed, kinds)
        self.assertGreaterEqual(len(kinds), 12, kinds)


if __name__ == "__main__":
    unittest.main()
