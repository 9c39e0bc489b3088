"""Cuts the bridge's output into lines and checks them.

    reader = LineReader()
    for line in reader.feed(data): ...      # data: bytes in pieces of any size
    for line in reader.finish(): ...        # the output has ended

A line is a LogEntry, a Payload or a DamagedLine. The same lines come however the bytes were cut.
"""

from __future__ import annotations

import binascii
import dataclasses
import re
from typing import Iterator, Optional, Union

from vornix_host.messages import Event

LONGEST_MESSAGE = 65549  # bytes, with frame and line feed: a PJSON; with 65535 bytes of text
LONGEST_LOG = 1 << 20  # the bridge has no bound; a host that sends no long lines gets none back

_LOG = re.compile(
    rb"<@((?:[01]\d|2[0-3]):[0-5]\d:[0-5]\d\.\d\d\d) : ([^<>]*)>\n"
)
_MESSAGE = re.compile(rb"<(.*)([0-9A-F]{4})>\n", re.S)
_JSON = b"<PJSON;"


@dataclasses.dataclass(frozen=True)
class LogEntry(Event):
    """A line for people. time: "hh:mm:ss.mmm", local. text: "<" and ">" are put back; a text that
    had "&inf;" or "&sup;" itself cannot be told from one that had these."""

    time: str
    text: str


@dataclasses.dataclass(frozen=True)
class Payload:
    text: str  # without checksum


@dataclasses.dataclass(frozen=True)
class DamagedLine(Event):
    """Bytes that are no line; what they were is lost.

    may_be_document: they begin like a document, or stand so near behind one that they may be its
    text. Then what follows may be its text, too, and look like lines of the bridge.
    """

    data: bytes
    may_be_document: bool = dataclasses.field(default=False, compare=False)


Line = Union[LogEntry, Payload, DamagedLine]


def checksum(payload: bytes) -> int:
    return binascii.crc_hqx(payload.replace(b"\r\n", b"\n"), 0xFFFF)


class LineReader:
    def __init__(self) -> None:
        self._buffer = bytearray()
        self._searched = 1  # no end of the line is before this place
        self._has_ended = False
        self._since_document = LONGEST_MESSAGE  # bytes, no more than these

    def feed(self, data: bytes) -> Iterator[Line]:
        self._buffer += data
        while self._buffer:
            size, is_document = len(self._buffer), self._buffer.startswith(_JSON)
            line = self._next()
            if line is None:
                return
            self._searched = 1
            if isinstance(line, DamagedLine):
                is_near = self._since_document < LONGEST_MESSAGE
                line = DamagedLine(line.data, is_document or is_near)
            passed = self._since_document + size - len(self._buffer)
            self._since_document = 0 if is_document else min(passed, LONGEST_MESSAGE)
            yield line

    def finish(self) -> Iterator[Line]:
        self._has_ended = True
        yield from self.feed(b"")

    def _next(self) -> Optional[Line]:
        if not self._buffer.startswith(b"<"):
            return self._outside()
        if self._buffer.startswith(b"<@"):
            return self._log()
        if self._buffer.startswith(_JSON):
            return self._json()
        return self._message()

    def _outside(self) -> Optional[Line]:
        found = _OUTSIDE_STOPS.search(self._buffer, self._searched - 1, LONGEST_LOG)
        if not found:
            return self._wait(LONGEST_LOG)
        return self._damage(found.start() if found[0] == b"<" else found.end())

    def _log(self) -> Optional[Line]:
        stop = _LOG_STOPS.search(self._buffer, self._searched, LONGEST_LOG)
        if not stop or stop.end() == min(len(self._buffer), LONGEST_LOG):
            return self._wait(LONGEST_LOG, stop)
        if stop[0] == b"<":
            return self._damage(stop.start())
        if self._buffer[stop.end()] != ord("\n"):
            return self._damage(stop.end())
        match = _LOG.fullmatch(self._buffer, 0, stop.end() + 1)
        if not match:
            return self._damage(stop.end() + 1)
        time, text = (part.decode("utf-8", "backslashreplace") for part in match.groups())
        del self._buffer[: match.end()]
        return LogEntry(time, text.replace("&inf;", "<").replace("&sup;", ">"))

    def _message(self) -> Optional[Line]:
        stop = _MESSAGE_STOPS.search(self._buffer, self._searched, LONGEST_MESSAGE)
        if not stop or stop.end() == min(len(self._buffer), LONGEST_MESSAGE):
            return self._wait(LONGEST_MESSAGE, stop)
        if stop[0] == b"<":
            return self._damage(stop.start())
        if stop[0] == b"\n" or self._buffer[stop.end()] != ord("\n"):
            return self._damage(stop.end())
        return self._payload(stop.start()) or self._damage(stop.end() + 1)

    def _json(self) -> Optional[Line]:
        """The text may hold "<", ">" and line feeds, as JSON not ">" and a line feed together."""
        end = self._buffer.find(b">\n", self._searched, LONGEST_MESSAGE)
        size = min(len(self._buffer), LONGEST_MESSAGE)
        if end < 0 and not self._has_ended and size < LONGEST_MESSAGE:
            self._searched = max(size - 1, 1)
            return None
        if end >= 0 and not self._is_later_line(end):
            if payload := self._payload(end):
                return payload
        lost = end + 2 if end >= 0 else size
        next_frame = self._buffer.find(b"<", 1, lost)
        return self._damage(next_frame if next_frame > 0 else lost)

    def _is_later_line(self, end: int) -> bool:
        """Whether a line of its own ends here, one that followed a document that was cut off. Its
        digits can be right for the document as well, by chance."""
        begin = self._buffer.rfind(b"<", 0, end)
        match = _MESSAGE.fullmatch(self._buffer, begin, end + 2) if begin > 0 else None
        return match is not None and checksum(match[1]) == int(match[2], 16)

    def _payload(self, end: int) -> Optional[Payload]:
        match = _MESSAGE.fullmatch(self._buffer, 0, end + 2)
        if not match or checksum(match[1]) != int(match[2], 16) or not match[1].isascii():
            return None
        text = match[1].decode("ascii")
        del self._buffer[: end + 2]
        return Payload(text)

    def _wait(self, longest: int, stop: Optional[re.Match[bytes]] = None) -> Optional[DamagedLine]:
        """The line's end, or the byte behind `stop`, is not there; perhaps it never will be."""
        size = min(len(self._buffer), longest)
        if self._has_ended or size == longest:
            return self._damage(size)
        self._searched = stop.start() if stop else max(size, 1)
        return None

    def _damage(self, size: int) -> DamagedLine:
        data = bytes(self._buffer[:size])
        del self._buffer[:size]
        return DamagedLine(data)


_OUTSIDE_STOPS = re.compile(b"[<\n]")
_LOG_STOPS = re.compile(b"[<>]")
_MESSAGE_STOPS = re.compile(b"[<>\n]")
