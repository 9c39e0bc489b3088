"""The commands of the bridge: check("FX_cmdWriteByte 3 256") raises CommandError.

The bridge ends itself on a wrong argument, and on a command for a device that is not ready. The
checks here keep it from that. The commands are in table.py.
"""

from __future__ import annotations

import re
from typing import Optional, Set

from vornix_host.table import LOGS, MOST, NEEDS, STOPS

_DOCUMENT = 19  # the code of the command that asks for the document


class CommandError(ValueError):
    """Raised for a line that would end the bridge, or that is more than one line."""


def word_of(line: str) -> Optional[str]:
    """The command that the bridge sees in this line; None for none."""
    for word in MOST:
        if line.startswith(word):  # the rest of the line is read as arguments
            return word
    return line if line in LOGS else None


def asks_for_document(line: str) -> bool:
    """Whether a line, which check() has accepted, asks for the document."""
    word = word_of(line)
    if word in MOST:
        return int(line.split(" ")[1]) == _DOCUMENT
    return word == "FX_getJson"


def both_halves(log: str) -> Set[str]:
    """The log texts of the command with this log text, and of its counterpart that stops or starts
    the same."""
    for pair in STOPS.items():
        logs = {LOGS[word] for word in pair}
        if log in logs:
            return logs
    return {log}


def check(line: str) -> Optional[str]:
    """The device that has to be ready for this line: "corvelta", "fenwix", or None."""
    if "\n" in line:
        raise CommandError(f"not one line: {line!r}")
    line = line[:-1] if line.endswith("\r") else line
    word = word_of(line)
    if word in MOST:
        _check_arguments(line, MOST[word])
    return NEEDS.get(word) if word else None


def _check_arguments(line: str, most: int) -> None:
    fields = line.split(" ")
    for place, name, limit in ((1, "code", 0xFF), (2, "value", most)):
        text = fields[place] if place < len(fields) else ""
        if not re.fullmatch(r"-0+|\+?[0-9]+", text) or len(text.lstrip("+-0")) > 10:
            raise CommandError(f"the {name} is missing or no number: {line!r}")
        if int(text) > limit:
            raise CommandError(f"the {name} has to be 0 to {limit}: {line!r}")
