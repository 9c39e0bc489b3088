#!/usr/bin/env python3
"""Tests of the package's reader and decoder."""

import dataclasses
import random
import unittest

import place
import blocks
import table as tables

from vornix_host import DamagedLine, FenwixJson, LineReader, LogEntry, Payload, UnknownMessage
from vornix_host import checksum, decode
from vornix_host.life import Life
from vornix_host.table import FAMILIES
from vornix_host.lines import LONGEST_MESSAGE

TABLE = tables.load(place.TABLE)


def output_of_the_page():
    """The bridge's lines in the page's sessions, each with a line feed."""
    with open(place.PAGE, encoding="utf-8") as page:
        session = blocks.lines(page.read(), "transcript")
    return [line.text.encode() + b"\n" for line in session if line.text.startswith("<")]


def read(*pieces):
    reader = LineReader()
    found = [line for piece in pieces for line in reader.feed(piece)]
    return found + list(reader.finish())


def payloads(found):
    return [line.text for line in found if isinstance(line, Payload)]


def frame(payload):
    return b"<%s%04X>\n" % (payload, checksum(payload))


class Lines(unittest.TestCase):
    def test_of_the_page_are_all_understood(self):
        output = output_of_the_page()
        found = read(b"".join(output))
        self.assertEqual(len(found), len(output))
        for line in found:
            self.assertNotIsInstance(line, DamagedLine)
            if isinstance(line, Payload):
                self.assertNotIsInstance(decode(line.text), UnknownMessage, line)

    def test_are_the_same_however_they_are_cut(self):
        damage = [b"stray\nbytes", b"<V;0000>\n", b"<@x : y>\n", b"<S;1\n", b"<K;>x\n", b"<PJSON;a"]
        output = b"".join(line for pair in zip(output_of_the_page(), 99 * damage) for line in pair)
        whole = read(output)
        self.assertGreater(sum(isinstance(line, DamagedLine) for line in whole), 50)
        for size in (1, 2, 3, 7, 64, 1000):
            pieces = [output[i : i + size] for i in range(0, len(output), size)]
            self.assertEqual(read(*pieces), whole)

    def test_are_found_again_after_damage(self):
        output = output_of_the_page()
        chance = random.Random(1)
        for line in output:
            before, behind = chance.choices(output, k=2)
            for _ in range(5):
                at = chance.randrange(len(line))
                changed = line[:at] + bytes([line[at] ^ 1 << chance.randrange(7)]) + line[at + 1 :]
                kept = read(before + behind)
                found = [one for one in read(before + changed + behind) if one not in kept]
                for one in found:
                    self.assertIsInstance(one, (DamagedLine, LogEntry), (line, changed))
                self.assertEqual(payloads(read(before + changed + behind)), payloads(kept))

    def test_may_have_lost_their_beginning_or_end(self):
        for first in (frame(b"V;"), frame(b"PJSON;[1];")):
            second = frame(b"C;1;")
            for cut in range(1, len(first)):
                self.assertEqual(payloads(read(first[cut:] + second)), ["C;1;"])
                self.assertEqual(payloads(read(first[:cut] + second)), ["C;1;"])

    def test_of_the_log_have_a_time(self):
        for line in (b"<@24:00:00.000 : x>\n", b"<@00:60:00.000 : x>\n", b"<@00:00:00.00 : x>\n"):
            self.assertEqual(read(line), [DamagedLine(line)])
        self.assertEqual(read(b"<@23:59:59.999 : a&inf;b>\n"), [LogEntry("23:59:59.999", "a<b")])

    def test_of_json_may_contain_any_ascii(self):
        text = 'a\r\nb>\r\n<V;3E2E><C;3;0;4A3D>;0000> \n<PJSON;'
        payload = f"PJSON;{text};"
        found = read(frame(payload.encode()) + frame(b"V;"))
        self.assertEqual(payloads(found), [payload, "V;"])
        self.assertEqual(decode(payload), FenwixJson(text))

    def test_of_json_are_damaged_where_the_text_contains_the_end_of_a_line(self):
        found = read(frame(b"PJSON;x>\n" + frame(b"V;") + b"y;"))
        self.assertEqual(found[0], DamagedLine(b"<PJSON;x>\n"))
        self.assertEqual(payloads(found), ["V;"])

    def test_after_a_json_that_was_cut_off_do_not_end_it(self):
        line = frame(b"C;3;0;")
        cut = next(cut for cut in (b"PJSON;%d" % n for n in range(1000000))
                   if checksum(cut + line[:7]) == 0x4A3D)  # fmt: skip
        found = read(b"<" + cut + line + line)
        self.assertEqual(found[0], DamagedLine(b"<" + cut))
        self.assertEqual(payloads(found), ["C;3;0;", "C;3;0;"])

    def test_of_json_end_early_where_the_text_contains_a_valid_end(self):
        """No reader can detect this (docs/host-protocol.md, appendix B)."""
        early = frame(b"PJSON;a;")
        whole = frame(b"PJSON;" + early[7:] + frame(b"V;") + b";")
        found = read(whole)
        self.assertEqual(payloads(found), ["PJSON;a;", "V;"])
        self.assertIsInstance(found[-1], DamagedLine)

    def test_of_json_may_have_the_greatest_length(self):
        longest = frame(b"PJSON;" + 65535 * b"3" + b";")
        self.assertEqual(len(longest), LONGEST_MESSAGE)
        self.assertEqual(len(payloads(read(longest[:4096], longest[4096:]))), 1)

    def test_after_a_json_without_an_end_are_not_delayed(self):
        cut = b'<PJSON;{"a": 1\n'
        found = list(LineReader().feed(cut + frame(b"V;")))
        self.assertEqual(found, [DamagedLine(cut), Payload("V;")])

    def test_of_json_that_never_end_are_damaged_where_they_are_too_long(self):
        endless = b"<PJSON;" + LONGEST_MESSAGE * b"x"
        found = list(LineReader().feed(endless + frame(b"V;")))
        self.assertIsInstance(found[0], DamagedLine)
        self.assertEqual(payloads(found), ["V;"])


CODES = {
    name: {word: key for key, word in field["called"].items()}
    for one in TABLE["messages"] for name, field in one["fields"].items() if "called" in field
}  # fmt: skip


def as_in_the_table(message):
    """The name and the fields of a message, as messages.json writes them."""
    if isinstance(message, UnknownMessage):
        return None
    fields = {one.name: getattr(message, one.name) for one in dataclasses.fields(message)}
    for number, value in enumerate(fields.pop("values", ()), 1):
        fields[f"v{number}"] = value
    if fields.get("battery", 0) is None:
        fields["battery"] = -1
    if "system_id" in fields:
        fields["systemId"] = fields.pop("system_id")
    if "data" in fields:
        fields["bytes"] = fields.pop("data").hex().upper()
    if "stream" in fields:
        fields["stream"] = str(fields["stream"])
    name = type(message).__name__
    if name == "ProbeMeasurement":
        fields.pop("model")  # remembered, not read
    for field, codes in CODES.items():
        if isinstance(fields.get(field), str):
            fields[field] = codes[fields[field]]
    return name, fields


class Damage(unittest.TestCase):
    """Which damage may be a document's text."""

    def marks(self, output):
        marked = [one.may_be_document for one in read(output) if isinstance(one, DamagedLine)]
        for size in (1, 3, 1000):
            reader = LineReader()
            found = [line for at in range(0, len(output), size)
                     for line in reader.feed(output[at : at + size])]  # fmt: skip
            found += reader.finish()
            self.assertEqual(
                [one.may_be_document for one in found if isinstance(one, DamagedLine)], marked)
        return marked

    def test_is_that_of_a_document(self):
        self.assertEqual(self.marks(b"stray\n<PJSON;{\n<V;"), [False, True, True])
        self.assertEqual(self.marks(b"<PJSON;{"), [True])
        self.assertEqual(self.marks(b"<V;0000>\n<PJSO"), [False, False])

    def test_is_that_within_a_documents_length_behind_one(self):
        far = frame(b"PJSON;[1];") + b"<@00:00:00.000 : %s>\n"
        for length, is_near in ((LONGEST_MESSAGE - 20, True), (LONGEST_MESSAGE - 19, False)):
            self.assertEqual(self.marks(far % (b"x" * length) + b"y\n"), [is_near])


class Payloads(unittest.TestCase):
    def test_are_what_the_table_says(self):
        seen = set()
        for payload in [*tables.borders(TABLE), *tables.anything(TABLE, 20000)]:
            kind = tables.classify(TABLE, payload)
            self.assertEqual(as_in_the_table(decode(payload)), kind, payload)
            seen.add(kind and kind[0])
        self.assertEqual(seen, {one["name"] for one in TABLE["messages"]} | {None})


class Roles(unittest.TestCase):
    def test_are_what_the_table_says(self):
        for one in TABLE["messages"]:
            for example in one["examples"]:
                message, life = decode(example["payload"]), Life()
                life.note_sent("FX_startRaw")
                life.note_sent("FX_startRaw2")
                life.note(message)
                is_device = one.get("role") in ("found", "ready")
                self.assertEqual(bool(life.devices), is_device, one["name"])
                lost = [loss.stream for loss in life.lost(1.0, 1.0)]
                self.assertEqual(bool(lost), one.get("role") == "stream", one["name"])
                self.assertEqual(life.why_unusable is not None, one.get("role") == "end")

    def test_of_names_are_what_the_table_says(self):
        names = {name: one["name"].lower() for one in TABLE["families"] for name in one["names"]}
        self.assertEqual(FAMILIES, names)


if __name__ == "__main__":
    unittest.main()
