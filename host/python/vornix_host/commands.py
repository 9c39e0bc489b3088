"""The lines that the bridge takes: check("FX_cmdWriteByte 3 256") raises CommandError.

The bridge ends itself on a wrong argument, and on a command for a device that is not ready. What is
checked here does not come to that. docs/messages.json has the same.
"""

from __future__ import annotations

import re
from typing import Optional, Set, Tuple

# What the bridge logs when it begins a command.
LOGS = {
    "CV_debutCalib": "cde : start CV calibration",
    "CV_finCalib": "cde : stop CV calibration",
    "CV_debutAcquisition": "cde : start CV acquisition",
    "CV_finAcquisition": "cde : stop CV acquistion",
    "FX_startRaw": "cde : start raw",
    "FX_stopRaw": "cde : stop raw",
    "FX_startRaw2": "cde : start raw 2",
    "FX_stopRaw2": "cde : stop raw 2",
    "FX_getJson": "cde : get json",
    "FX_cmdWriteInt": "cde : Fenwix Cmd Write Int",
    "FX_cmdWriteByte": "cde : Fenwix Cmd Write Byte",
    "kill": "cde : kill",
}
STOPS = {
    "CV_debutCalib": "CV_finCalib",
    "CV_debutAcquisition": "CV_finAcquisition",
    "FX_startRaw": "FX_stopRaw",
    "FX_startRaw2": "FX_stopRaw2",
}
# Not between a question for the document and its answer: what comes behind a reply that broke off
# is taken for its rest.
NOT_DURING_DOCUMENT = ("FX_getJson", "FX_cmdWriteInt", "FX_cmdWriteByte")
_DOCUMENT = 19  # its code

_DEVICES = {"CV_": "corvelta", "FX_": "fenwix"}
_MOST: Tuple[Tuple[str, int], ...] = (("FX_cmdWriteInt", 0xFFFFFFFF), ("FX_cmdWriteByte", 0xFF))


class CommandError(ValueError):
    """A line that would end the bridge, or that is no line."""


def word_of(line: str) -> Optional[str]:
    """The command that the bridge takes this line for; None for none."""
    for word, _ in _MOST:
        if line.startswith(word):  # what follows is looked at as arguments
            return word
    return line if line in LOGS else None


def asks_for_document(line: str) -> bool:
    """For a line that check() has let pass."""
    word = word_of(line)
    if word in dict(_MOST):
        return int(line.split(" ")[1]) == _DOCUMENT
    return word == "FX_getJson"


def both_halves(log: str) -> Set[str]:
    """The log texts of the command with this one, and of what stops or starts the same."""
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
    for numbered, most in _MOST:
        if word == numbered:
            _check_arguments(line, most)
    return _DEVICES.get(word[:3]) if word else None


def _check_arguments(line: str, most: int) -> None:
    fields = line.split(" ")
    for place, name, limit in ((1, "code", 0xFF), (2, "value", most)):
        text = fields[place] if place < len(fields) else ""
        if not re.fullmatch(r"-0+|\+?[0-9]+", text) or len(text.lstrip("+-0")) > 10:
            raise CommandError(f"the {name} is missing or no number: {line!r}")
        if int(text) > limit:
            raise CommandError(f"the {name} has to be 0 to {limit}: {line!r}")
