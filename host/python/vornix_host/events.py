"""What becomes of the bridge itself, beside its messages: all come from Bridge.events()."""

from __future__ import annotations

import dataclasses

from vornix_host.received import Event


@dataclasses.dataclass(frozen=True)
class Started(Event):
    start: int  # 1 for the first


@dataclasses.dataclass(frozen=True)
class RadioChanged(Event):
    """state: "on", "off", "resetting", "unauthorized", "unsupported" or "unknown"."""

    state: str


@dataclasses.dataclass(frozen=True)
class DeviceLost(Event):
    """It was lost, or failed, before its services were known: it stays silent.

    name: as the log has it.
    """

    name: str


@dataclasses.dataclass(frozen=True)
class StreamLost(Event):
    """A stream that had begun is silent. Nothing else tells that a device is lost by then.

    stream: "motion", "measurement", "rms 1", "rms 2", "raw 1" or "raw 2".
    """

    stream: str
    seconds: float


@dataclasses.dataclass(frozen=True)
class TrustLost(Event):
    """A document is damaged, or may be. What follows may be a device's text that looks like
    messages: of this run nothing comes any more but its end. why: in words, for the user."""

    why: str


@dataclasses.dataclass(frozen=True)
class Ended(Event):
    """The bridge has ended; all that it wrote has come before. status: minus a signal's number."""

    status: int


@dataclasses.dataclass(frozen=True)
class Restarting(Event):
    pause: float  # seconds until the next start


@dataclasses.dataclass(frozen=True)
class GivenUp(Event):
    """It is not started again. why: in words, for the user."""

    why: str
