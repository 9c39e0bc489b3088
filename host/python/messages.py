"""What the bridge's payloads mean: decode("V;") gives OnMains().

A payload is taken for a known kind only when all its fields are there, none is too many and each is
within its range; everything else is Unknown.
"""

import dataclasses
import re


@dataclasses.dataclass(frozen=True)
class RadioUnusable:
    """The bridge ends a second later. reason: "off", "unsupported" or "unauthorized"."""

    reason: str


@dataclasses.dataclass(frozen=True)
class Found:
    device: str  # "ilo", "tenoval" or "tramsel"


@dataclasses.dataclass(frozen=True)
class Motion:
    battery: int | None
    values: tuple[int, ...]


@dataclasses.dataclass(frozen=True)
class Measurement:
    """Of a probe. An Ilo's second value is always 0."""

    battery: int | None
    first: int
    second: int


@dataclasses.dataclass(frozen=True)
class CorveltaBattery:
    level: int


@dataclasses.dataclass(frozen=True)
class OnMains:
    pass


@dataclasses.dataclass(frozen=True)
class Calibration:
    value: int


@dataclasses.dataclass(frozen=True)
class CalibrationError:
    code: int


@dataclasses.dataclass(frozen=True)
class Contraction:
    a: int
    b: int
    c: int


@dataclasses.dataclass(frozen=True)
class FenwixIdentity:
    serial: int
    model: int
    firmware: int
    hardware: int
    system: int


@dataclasses.dataclass(frozen=True)
class FenwixBattery:
    level: int
    health: int


@dataclasses.dataclass(frozen=True)
class Rms:
    stream: int
    ten_millionths: int


@dataclasses.dataclass(frozen=True)
class Raw:
    stream: int
    data: bytes


@dataclasses.dataclass(frozen=True)
class Json:
    """The device's own text, not yet parsed, and not to be trusted."""

    text: str


@dataclasses.dataclass(frozen=True)
class Unknown:
    payload: str


_BYTE = range(256)
_BATTERY = range(-1, 256)
_UNSIGNED = {bits: range(1 << bits) for bits in (16, 24, 32)}
_SIGNED = {bits: range(-1 << (bits - 1), 1 << (bits - 1)) for bits in (16, 64)}
_REASONS = {"2": "off", "3": "unsupported", "4": "unauthorized"}
_DEVICES = {"C;1;": "ilo", "C;2;": "tenoval", "C;3;0;": "tramsel"}


def _level(number):
    return None if number < 0 else number


# What a payload begins with, the ranges of the numbers that follow, and what is made of these.
_NUMBERS = [
    ("B;", [_BATTERY] + 9 * [_SIGNED[16]], lambda level, *rest: Motion(_level(level), rest)),
    ("S;", [_BATTERY] + 2 * [_UNSIGNED[16]], lambda level, *m: Measurement(_level(level), *m)),
    ("C;4;0;", [_BYTE, range(1)], lambda level, _: CorveltaBattery(level)),
    ("C;5;0;", 5 * [_UNSIGNED[32]], FenwixIdentity),
    ("V;", [], OnMains),
    ("K;NC;", [_BYTE], Calibration),
    ("K;EC;", [_BYTE], CalibrationError),
    ("K;MC;", [_UNSIGNED[16], _BYTE, _UNSIGNED[24]], Contraction),
    ("P0;", [_BYTE, _BYTE], FenwixBattery),
    ("P1;", [_SIGNED[64]], lambda value: Rms(1, value)),
    ("P2;", [_SIGNED[64]], lambda value: Rms(2, value)),
]
_INTEGER = re.compile(r"0|-?[1-9][0-9]*")


def _numbers(fields, ranges):
    """None unless each field is a number of its range, as the bridge writes it."""
    if not fields.endswith(";") and ranges:
        return None
    texts = fields.split(";")[:-1]
    if len(texts) != len(ranges) or not all(map(_INTEGER.fullmatch, texts)):
        return None
    numbers = [int(text) for text in texts]
    return numbers if all(map(range.__contains__, ranges, numbers)) else None


def decode(payload):
    if payload in _DEVICES:
        return Found(_DEVICES[payload])
    if match := re.fullmatch(r"Z;([234]);", payload):
        return RadioUnusable(_REASONS[match[1]])
    if match := re.fullmatch(r"PR([12]);((?:[0-9A-F]{2})*);", payload):
        return Raw(int(match[1]), bytes.fromhex(match[2]))
    if match := re.fullmatch(r"PJSON;(.*);", payload, re.S):
        return Json(match[1])
    for beginning, ranges, make in _NUMBERS:
        if payload.startswith(beginning):
            numbers = _numbers(payload[len(beginning) :], ranges)
            return Unknown(payload) if numbers is None else make(*numbers)
    return Unknown(payload)
