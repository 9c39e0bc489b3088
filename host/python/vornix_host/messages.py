"""What the bridge's payloads mean: decode("V;") gives CorveltaOnMains().

The types and their fields are those of docs/messages.json. A payload is taken for a known kind only
when all its fields are there, none is too many and each is within its range; everything else is an
UnknownMessage. Numbers without a unit are the device's own: its maker knows what they mean.
"""

from __future__ import annotations

import dataclasses
import re
from typing import Callable, Dict, List, Optional, Sequence, Tuple, TypeVar

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


@dataclasses.dataclass(frozen=True)
class RadioUnusable(Message):
    """The bridge ends a second later. reason: "off", "unsupported" (or its state is unknown), or
    "unauthorized"."""

    reason: str


@dataclasses.dataclass(frozen=True)
class ProbeFound(Message):
    model: str  # "ilo" or "tenoval"


@dataclasses.dataclass(frozen=True)
class ProbeMeasurement(Message):
    """model: of the ProbeFound before it, or None where that was missed."""

    battery: Optional[int]  # None until known
    first: int
    second: int  # 0 from an Ilo
    model: Optional[str] = dataclasses.field(default=None, compare=False)


@dataclasses.dataclass(frozen=True)
class TramselFound(Message):
    pass


@dataclasses.dataclass(frozen=True)
class TramselMotion(Message):
    battery: Optional[int]  # None until known
    values: Tuple[int, ...]  # nine, -32768 to 32767


@dataclasses.dataclass(frozen=True)
class CorveltaBattery(Message):
    """The device is ready for commands."""

    level: int


@dataclasses.dataclass(frozen=True)
class CorveltaOnMains(Message):
    pass


@dataclasses.dataclass(frozen=True)
class CorveltaCalibration(Message):
    value: int


@dataclasses.dataclass(frozen=True)
class CorveltaCalibrationError(Message):
    code: int


@dataclasses.dataclass(frozen=True)
class CorveltaContraction(Message):
    first: int
    second: int
    third: int


@dataclasses.dataclass(frozen=True)
class FenwixIdentity(Message):
    """The device is ready for commands."""

    serial: int
    model: int
    firmware: int
    hardware: int
    system_id: int


@dataclasses.dataclass(frozen=True)
class FenwixBattery(Message):
    level: int
    health: int


@dataclasses.dataclass(frozen=True)
class FenwixRms(Message):
    stream: int  # 1 or 2
    value: int  # ten-millionths, 64 bits


@dataclasses.dataclass(frozen=True)
class FenwixRaw(Message):
    stream: int  # 1 or 2
    data: bytes


@dataclasses.dataclass(frozen=True)
class FenwixJson(Message):
    """The device's own text, not yet parsed, and not to be trusted."""

    text: str


@dataclasses.dataclass(frozen=True)
class UnknownMessage(Message):
    """Whole and with the right checksum, and none of the above."""

    payload: str


_BYTE = range(256)
_BATTERY = range(-1, 256)
_U16, _U24, _U32 = range(1 << 16), range(1 << 24), range(1 << 32)
_S16, _S64 = range(-(1 << 15), 1 << 15), range(-(1 << 63), 1 << 63)
_REASONS = {"2": "off", "3": "unsupported", "4": "unauthorized"}

_Make = Callable[[Sequence[int]], Message]


def _level(number: int) -> Optional[int]:
    return None if number < 0 else number


# What a payload begins with, the ranges of the numbers that follow, and what is made of these. A
# constant zero is a number with one value.
_NUMBERS: List[Tuple[str, List[range], _Make]] = [
    ("B;", [_BATTERY] + 9 * [_S16], lambda n: TramselMotion(_level(n[0]), tuple(n[1:]))),
    ("S;", [_BATTERY, _U16, _U16], lambda n: ProbeMeasurement(_level(n[0]), n[1], n[2])),
    ("P1;", [_S64], lambda n: FenwixRms(1, n[0])),
    ("P2;", [_S64], lambda n: FenwixRms(2, n[0])),
    ("K;MC;", [_U16, _BYTE, _U24], lambda n: CorveltaContraction(*n)),
    ("K;NC;", [_BYTE], lambda n: CorveltaCalibration(*n)),
    ("K;EC;", [_BYTE], lambda n: CorveltaCalibrationError(*n)),
    ("P0;", [_BYTE, _BYTE], lambda n: FenwixBattery(*n)),
    ("C;4;0;", [_BYTE, range(1)], lambda n: CorveltaBattery(n[0])),
    ("C;5;0;", [range(1, 1 << 32)] + 4 * [_U32], lambda n: FenwixIdentity(*n)),
]
_CONSTANTS: Dict[str, Callable[[], Message]] = {
    "C;1;": lambda: ProbeFound("ilo"),
    "C;2;": lambda: ProbeFound("tenoval"),
    "C;3;0;": TramselFound,
    "V;": CorveltaOnMains,
}
_INTEGER = re.compile(r"0|-?[1-9][0-9]{0,19}")  # no kind has more digits


def _numbers(fields: str, ranges: List[range]) -> Optional[List[int]]:
    """None unless each field is a number of its range, as the bridge writes it."""
    texts = fields.split(";")
    if texts.pop() or len(texts) != len(ranges) or not all(map(_INTEGER.fullmatch, texts)):
        return None
    numbers = [int(text) for text in texts]
    return numbers if all(map(range.__contains__, ranges, numbers)) else None


def decode(payload: str) -> Message:
    if payload in _CONSTANTS:
        return _CONSTANTS[payload]()
    for beginning, ranges, make in _NUMBERS:
        if payload.startswith(beginning):
            numbers = _numbers(payload[len(beginning) :], ranges)
            return UnknownMessage(payload) if numbers is None else make(numbers)
    if match := re.fullmatch(r"PR([12]);((?:[0-9A-F]{2})*);", payload):
        return FenwixRaw(int(match[1]), bytes.fromhex(match[2]))
    if match := re.fullmatch(r"PJSON;(.*);", payload, re.S):
        return FenwixJson(match[1])
    if match := re.fullmatch(r"Z;([234]);", payload):
        return RadioUnusable(_REASONS[match[1]])
    return UnknownMessage(payload)
