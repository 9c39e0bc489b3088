"""Decides whether, and when, a bridge that has ended is started again: docs/host-protocol.md, 6.

It only decides and never waits, so that a test can play years of it.
"""

from __future__ import annotations

import dataclasses
import signal
from typing import Optional, Set, Union

from vornix_host.commands import both_halves

PAUSES = (1.0, 2.0, 4.0, 8.0)  # seconds
HEALTHY = 60.0  # seconds; after a life of this length the pauses begin anew
MOST = 5  # shorter lives in a row after which it gives up

SERIAL_IS_ZERO = "Erreur à l'init du Fenwix"
COMMAND = "cde : "
ABORTED = (-signal.SIGABRT, 128 + signal.SIGABRT)  # other signals come from outside the bridge


@dataclasses.dataclass(frozen=True)
class End:
    """How a run of the bridge ended."""

    status: int  # the exit status; for a signal minus its number, or 128 plus it from a shell
    lived: float  # seconds
    last_log: Optional[str]  # the text of the last log line
    radio: Optional[str] = None  # why the radio is unusable: RadioUnusable.reason
    is_loss: bool = False  # the host ended the bridge because a device was lost


@dataclasses.dataclass(frozen=True)
class Again:
    pause: float  # seconds before the next start


@dataclasses.dataclass(frozen=True)
class Over:
    """why: in words, for the user."""

    why: str


class Recipe:
    def __init__(self) -> None:
        self._short_lives = 0
        self._last_fault: Optional[str] = None
        # Log texts of commands that have ended the bridge twice, and of their counterparts that
        # stop or start the same.
        self.avoided: Set[str] = set()

    def after(self, end: End) -> Union[Again, Over]:
        if end.radio:
            return Over(f"Bluetooth is {end.radio}")
        if 0 <= end.status < 128 and not end.is_loss:
            if end.last_log == SERIAL_IS_ZERO:
                return Over("the Fenwix could not start: its serial number is 0")
            return Over(f"the bridge has ended with {end.status}")
        is_healthy = end.lived >= HEALTHY
        self._short_lives = 0 if is_healthy else self._short_lives + 1
        repeated = self._repeats(end, is_healthy)
        if repeated and not repeated.startswith(COMMAND):
            return Over(f"a device is faulty: twice the bridge ended after {repeated!r}")
        if repeated:
            self.avoided |= both_halves(repeated)
            self._short_lives = 0  # the cause is gone
        if self._short_lives >= MOST:
            return Over(f"{MOST} starts in a row came to nothing")
        return Again(PAUSES[min(max(self._short_lives - 1, 0), len(PAUSES) - 1)])

    def _repeats(self, end: End, is_healthy: bool) -> Optional[str]:
        """The last log line, if that of the run before was the same."""
        if end.is_loss or end.status not in ABORTED:
            return None
        before, self._last_fault = self._last_fault, None if is_healthy else end.last_log
        return end.last_log if self._last_fault and self._last_fault == before else None
