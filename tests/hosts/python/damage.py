#!/usr/bin/env python3
"""Reads damaged lines between whole ones with the package's reader: damage.py COUNT [SEED]

No known message may come that was not written, and none that was written whole may be missing.
(Damage may put a "<" into a line, which begins a frame; by chance its checksum may fit, which gives
an unknown message.) The damage is of the kinds that the checksum always detects: one to three
changed bits, a changed run of up to 16 bits, a line without its beginning or its end, inserted
bytes.
"""

import random
import sys

import place  # noqa: F401  finds the package

from vornix_host import LineReader, Payload, UnknownMessage, checksum, decode


def numbers(chance, count, limit):
    return "".join(f"{chance.randrange(limit)};" for _ in range(count))


def payload(chance):
    return chance.choice((
        lambda: "B;" + numbers(chance, 10, 256),
        lambda: "S;" + numbers(chance, 1, 256) + numbers(chance, 2, 65536),
        lambda: "P1;" + numbers(chance, 1, 10**9),
        lambda: "K;MC;" + numbers(chance, 1, 65536) + numbers(chance, 2, 256),
        lambda: "C;5;0;" + numbers(chance, 5, 1 << 32),
        lambda: f"PR1;{chance.randrange(1 << 32):08X};",
        lambda: 'PJSON;{"a":' + numbers(chance, 1, 100000) + "};",
        lambda: "V;",
    ))()  # fmt: skip


def framed(text):
    return b"<%s%04X>\n" % (text.encode(), checksum(text.encode()))


def with_changed_bits(line, bits):
    number = int.from_bytes(line, "big")
    for bit in bits:
        number ^= 1 << bit
    return number.to_bytes(len(line), "big")


def changed(chance, line, is_run):
    """Changes bits of the payload alone, or of the bytes after it: if both were changed, the
    checksum could by chance be that of the changed payload."""
    behind = 8 * 6  # four digits, ">", line feed; bits are counted from the end
    begin, end = chance.choice(((behind, 8 * (len(line) - 1)), (0, behind)))
    if not is_run:
        count = chance.randint(1, 3)
        return with_changed_bits(line, [chance.randrange(begin, end) for _ in range(count)])
    first = chance.randrange(begin, end)
    last = min(end, first + chance.randint(1, 16))
    more = [bit for bit in range(first + 1, last) if chance.random() < 0.5]
    return with_changed_bits(line, [first, *more])


def damaged(chance, line):
    how = chance.randrange(5)
    if how < 2:
        return changed(chance, line, how == 1)
    if how == 2:
        return line[chance.randrange(1, len(line)) :]
    if how == 3:
        return line[: chance.randrange(len(line))]
    stray = b"stray%d" % chance.randrange(1000)
    return stray + line if chance.random() < 0.5 else line + stray


def is_read_well(chance):
    """One damaged line between two whole ones. Two damaged lines near a document would be a
    different matter: if its end is lost and a later line is damaged too, one in 65,536 ends fits
    both."""
    before, hurt, behind = payload(chance), payload(chance), payload(chance)
    output = framed(before) + damaged(chance, framed(hurt)) + framed(behind)
    cut = chance.randrange(len(output))
    reader, lines = LineReader(), []
    for piece in (output[:cut], output[cut:]):
        lines += reader.feed(piece)
    lines += reader.finish()
    texts = [line.text for line in lines if isinstance(line, Payload)]
    found = [text for text in texts if not isinstance(decode(text), UnknownMessage)]
    # The damaged line may be read as well, if bytes were only inserted beside it.
    is_good = found in ([before, behind], [before, hurt, behind])
    if not is_good:
        print(f"read wrongly: {output!r}")
    return is_good


def main(count, seed=1):
    chance = random.Random(int(seed))
    wrong = sum(not is_read_well(chance) for _ in range(int(count)))
    print(f"{count} damaged lines, {wrong} read wrongly")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
