#!/usr/bin/env python3
"""Damaged lines between whole ones, through the package's reader: damage.py COUNT [SEED]

No message may come that was not written, and none that was written whole may stay away. The damage
is what the checksum finds for certain: one to three changed bits, a changed run of up to 16 bits, a
line without its beginning or its end, bytes in between.
"""

import random
import sys

import place  # noqa: F401  finds the package

from vornix_host import LineReader, Payload, checksum


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


def damaged(chance, line):
    size = 8 * len(line)
    how = chance.randrange(5)
    if how == 0:
        return with_changed_bits(line, [chance.randrange(size) for _ in range(chance.randint(1, 3))])
    if how == 1:
        first = chance.randrange(size - 15)
        more = [bit for bit in range(1, chance.randint(1, 16)) if chance.random() < 0.5]
        return with_changed_bits(line, [first, *(first + bit for bit in more)])
    if how == 2:
        return line[chance.randrange(1, len(line)) :]
    if how == 3:
        return line[: chance.randrange(len(line))]
    stray = b"stray%d" % chance.randrange(1000)
    return stray + line if chance.random() < 0.5 else line + stray


class Check:
    def __init__(self):
        self._written = []  # payload, whether it was written whole
        self._next = 0
        self.false = 0

    def wrote(self, text, is_whole):
        self._written.append((text, is_whole))

    def read(self, found):
        for line in found:
            if isinstance(line, Payload):
                self._came(line.text)

    def _came(self, text):
        """A damaged line may be read as it was, where the damage lay beside it."""
        for place_ in range(self._next, len(self._written)):
            written, is_whole = self._written[place_]
            if written == text:
                self._next = place_ + 1
                return
            if is_whole:
                break
        self.false += 1
        print(f"not written: {text!r}")

    def lost(self):
        return sum(is_whole for _, is_whole in self._written[self._next :])


def main(count, seed=1):
    chance, check, reader = random.Random(int(seed)), Check(), LineReader()
    output = b""
    for _ in range(int(count)):
        hurt, whole = payload(chance), payload(chance)
        while whole == hurt:  # to know which of the two was read
            whole = payload(chance)
        check.wrote(hurt, False)
        check.wrote(whole, True)
        output += damaged(chance, framed(hurt)) + framed(whole)
        if len(output) > chance.randrange(1, 100000):
            check.read(reader.feed(output))
            output = b""
    check.read(reader.feed(output))
    check.read(reader.finish())
    print(f"{count} damaged lines: {check.false} false messages, {check.lost()} lost")
    return 1 if check.false or check.lost() else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
