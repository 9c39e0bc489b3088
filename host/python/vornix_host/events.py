"""Events about the bridge itself; Bridge.events() gives them beside its messages."""

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
    """A device was lost, or failed, before its services were known; nothing more comes from it.

    name: as in the log.
    """

    name: str


@dataclasses.dataclass(frozen=True)
class StreamLost(Event):
    """A stream that had begun is silent: the only sign that a device was lost after it was ready.

    stream: "motion", "measurement", "rms 1", "rms 2", "raw 1" or "raw 2".
    """

    stream: str
    seconds: float


@dataclasses.dataclass(frozen=True)
class TrustLost(Event):
    """A document is, or may be, damaged. The rest of the output may be the device's text that looks
    like messages, so nothing more comes of this run but its end. why: in words, for the user."""

    why: str


@dataclasses.dataclass(frozen=True)
class Ended(Event):
    """The bridge has ended, and all its output has come. status: its exit status, or minus the
    number of the signal that ended it."""

    status: int


@dataclasses.dataclass(frozen=True)
class Restarting(Event):
    pause: float  # seconds until the next start


@dataclasses.dataclass(frozen=True)
class GivenUp(Event):
    """The bridge is not started again. why: in words, for the user."""

    why: str
