"""Cuts the bridge's output into lines and checks them.

    reader = LineReader()
    for line in reader.feed(data): ...      # data: bytes in pieces of any size
    for line in reader.finish(): ...        # the output has ended

A line is a Log, a Payload or a Damage. The same lines come however the bytes were cut.
"""

import binascii
import dataclasses
import re

LONGEST_MESSAGE = 65549  # bytes, with frame and line feed: a PJSON; with 65535 bytes of text
LONGEST_LOG = 1 << 20  # the bridge has no bound; a host that sends no long lines gets none back

_LOG = re.compile(rb"<@(\d\d:\d\d:\d\d\.\d\d\d) : (.*)>\n", re.S)
_MESSAGE = re.compile(rb"<(.*)([0-9A-F]{4})>\n", re.S)
_JSON = b"<PJSON;"


@dataclasses.dataclass(frozen=True)
class Log:
    time: str  # "hh:mm:ss.mmm", local
    text: str


@dataclasses.dataclass(frozen=True)
class Payload:
    text: str  # without checksum


@dataclasses.dataclass(frozen=True)
class Damage:
    data: bytes


def checksum(payload: bytes) -> int:
    return binascii.crc_hqx(payload.replace(b"\r\n", b"\n"), 0xFFFF)


class LineReader:
    def __init__(self):
        self._buffer = bytearray()
        self._searched = 0  # of a PJSON;, whose end is not before this place
        self._has_ended = False

    def feed(self, data):
        self._buffer += data
        while self._buffer and (line := self._next()):
            self._searched = 0
            yield line

    def finish(self):
        self._has_ended = True
        yield from self.feed(b"")

    def _next(self):
        if not self._buffer.startswith(b"<"):
            return self._damage()
        if self._buffer.startswith(b"<@"):
            return self._log()
        if self._buffer.startswith(_JSON):
            return self._json()
        return self._message()

    def _log(self):
        end = self._first(b"<>")
        if end is None:
            return self._wait(LONGEST_LOG)
        match = _LOG.fullmatch(self._buffer, 0, end + 2)
        if not match:
            return self._damage()
        time, text = (part.decode("utf-8", "backslashreplace") for part in match.groups())
        del self._buffer[: end + 2]
        return Log(time, text.replace("&inf;", "<").replace("&sup;", ">"))

    def _message(self):
        end = self._first(b"<>\n")
        if end is None:
            return self._wait(LONGEST_MESSAGE)
        return self._payload(end) or self._damage()

    def _json(self):
        """Ends where a checksum is right, not before: the text is the device's own."""
        while (end := self._buffer.find(b">\n", self._searched)) >= 0:
            if self._buffer[end - 5 : end - 4] == b";" and (payload := self._payload(end)):
                return payload
            self._searched = end + 1
        self._searched = max(len(self._buffer) - 1, 0)
        return self._wait(LONGEST_MESSAGE)

    def _payload(self, end):
        match = _MESSAGE.fullmatch(self._buffer, 0, end + 2)
        if not match or checksum(match[1]) != int(match[2], 16) or not match[1].isascii():
            return None
        text = match[1].decode("ascii")
        del self._buffer[: end + 2]
        return Payload(text)

    def _first(self, stops):
        """Where the first of these bytes is behind the "<"; None while what follows may matter."""
        found = re.compile(b"[" + stops + b"]").search(self._buffer, 1)
        if not found or (found.end() == len(self._buffer) and not self._has_ended):
            return None
        return found.start()

    def _wait(self, longest):
        is_lost = self._has_ended or len(self._buffer) >= longest
        return self._damage() if is_lost else None

    def _damage(self):
        """Up to the next "<" after the first byte."""
        end = self._buffer.find(b"<", 1)
        data = bytes(self._buffer[: end if end > 0 else len(self._buffer)])
        del self._buffer[: len(data)]
        return Damage(data)
