"""Cuts the bridge's output into lines and checks them.

    reader = LineReader()
    for line in reader.feed(data): ...      # data: bytes in pieces of any size
    for line in reader.finish(): ...        # the output has ended

A line is a LogEntry, a Payload or a DamagedLine. The lines do not depend on how the bytes are cut.
"""

from __future__ import annotations

import binascii
import dataclasses
import re
from typing import Iterator, Optional, Union

from vornix_host.messages import Event

LONGEST_MESSAGE = 65549  # bytes, with frame and line feed: a PJSON; with 65535 bytes of text
LONGEST_LOG = 1 << 20  # bytes; the bridge has no limit, but long lines only echo a host's own

_LOG = re.compile(
    rb"<@((?:[01]\d|2[0-3]):[0-5]\d:[0-5]\d\.\d\d\d) : ([^<>]*)>\n"
)
_MESSAGE = re.compile(rb"<(.*)([0-9A-F]{4})>\n", re.S)
_JSON = b"<PJSON;"


@dataclasses.dataclass(frozen=True)
class LogEntry(Event):
    """A line for people. time: "hh:mm:ss.mmm", local. text: with "<" and ">" in place of "&inf;"
    and "&sup;", also where the text itself contained these."""

    time: str
    text: str


@dataclasses.dataclass(frozen=True)
class Payload:
    text: str  # without checksum


@dataclasses.dataclass(frozen=True)
class DamagedLine(Event):
    """Bytes that are no valid line.

    may_be_document: they begin like a document, or follow one so closely that they may be its text.
    What follows may then be its text, too, and look like lines of the bridge.
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
        self._since_document = LONGEST_MESSAGE  # bytes since the last one, counted up to this bound

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
        """The text may contain "<", ">" and line feeds, but JSON never ">" and a line feed
        together."""
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
        """Whether the end at this place is that of a later line, after a document that was cut off;
        by chance its checksum may be right for the document as well."""
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
        """Handles a line whose end, or the byte after `stop`, has not come and perhaps never will."""
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
