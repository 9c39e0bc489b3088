"""The base classes of messages and of all other events of a Bridge."""

from __future__ import annotations

from typing import TypeVar

_Event = TypeVar("_Event", bound="Event")


class Event:
    """An event with the time at which this host received it, which comparisons ignore.

    monotonic: seconds of time.monotonic(), for intervals. wall: seconds of time.time(), for people.
    Both are the time when the bytes were read from the pipe.
    """

    monotonic: float = 0.0
    wall: float = 0.0

    def received(self: _Event, monotonic: float, wall: float) -> _Event:
        object.__setattr__(self, "monotonic", monotonic)
        object.__setattr__(self, "wall", wall)
        return self


class Message(Event):
    """A message of the bridge."""
