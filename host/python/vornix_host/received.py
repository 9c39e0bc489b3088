"""What every message, and everything else that a Bridge tells, has."""

from __future__ import annotations

from typing import TypeVar

_Event = TypeVar("_Event", bound="Event")


class Event:
    """When this host received it; of no weight in comparisons.

    monotonic: seconds as time.monotonic() counts them, for distances. wall: seconds since 1970 as
    time.time() has them, for people. Both were taken when the bytes were read from the pipe.
    """

    monotonic: float = 0.0
    wall: float = 0.0

    def received(self: _Event, monotonic: float, wall: float) -> _Event:
        object.__setattr__(self, "monotonic", monotonic)
        object.__setattr__(self, "wall", wall)
        return self


class Message(Event):
    """A message of the bridge."""
