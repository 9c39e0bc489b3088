"""Reads recordings of vornix-scope: docs/recording.md.

    from vornix_host import recording
    for piece in recording.pieces("session.vnx"):
        print(piece.seconds, piece.kind, piece.data)

Damaged records and an incomplete end are skipped.
"""

import pathlib
import struct
import zlib
from typing import Iterator, List, NamedTuple, Optional, Tuple

NAME = b"VNXREC1\n"
HEAD = struct.Struct("<IIcq")
LONGEST = 2 << 20

SESSION, OUTPUT, INPUT, COMMAND = b"S", b"o", b"i", b"c"
INPUT_END, MISSED, STALLED, END = b"x", b"m", b"w", b"e"
KINDS = (SESSION, OUTPUT, INPUT, COMMAND, INPUT_END, MISSED, STALLED, END)


class Piece(NamedTuple):
    kind: bytes  # one of the above
    seconds: float  # since the session began; for SESSION itself since 1970, in UTC
    data: bytes


class NoRecording(Exception):
    """Raised for a file that is no recording."""


def _at(data: memoryview, at: int) -> Optional[Tuple[Piece, int]]:
    """The piece in the record at this place, and the end of the record; None if it is damaged."""
    if len(data) - at < HEAD.size:
        return None
    size, total, kind, time = HEAD.unpack_from(data, at)
    end = at + HEAD.size + size
    if kind not in KINDS or size > LONGEST or end > len(data):
        return None
    if zlib.crc32(data[at + 8:end], zlib.crc32(data[at:at + 4])) != total:
        return None
    return Piece(kind, time / 1e6, bytes(data[at + HEAD.size:end])), end


def pieces(path: str) -> Iterator[Piece]:
    """The pieces of a recording, in order."""
    data = memoryview(pathlib.Path(path).read_bytes())
    if not NAME.startswith(bytes(data[:len(NAME)])):
        raise NoRecording(f"{path} is no recording")
    at = len(NAME)
    while at < len(data):
        found = _at(data, at)
        if found is None:
            at += 1
            continue
        piece, at = found
        yield piece


def output(path: str) -> bytes:
    """The output of the bridge in the last session of a recording, byte for byte."""
    written: List[bytes] = []
    for piece in pieces(path):
        if piece.kind == SESSION:
            written = []
        elif piece.kind == OUTPUT:
            written.append(piece.data)
    return b"".join(written)
