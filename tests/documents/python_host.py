#!/usr/bin/env python3
"""The example host of host/python, by itself and over the demo: python_host.py HOST PAGE DEMO"""

import os
import random
import re
import subprocess
import sys
import time
import unittest

import blocks

HOST, PAGE, DEMO = sys.argv[1:]
sys.path.insert(0, HOST)

import lines  # noqa: E402
import messages  # noqa: E402


def output_of_the_page():
    """The lines of the bridge in the page's sessions, each ended by a line feed."""
    with open(PAGE, encoding="utf-8") as page:
        session = blocks.lines(page.read(), "transcript")
    return [line.text.encode() + b"\n" for line in session if line.text.startswith("<")]


def read(*pieces):
    reader = lines.LineReader()
    found = [line for piece in pieces for line in reader.feed(piece)]
    return found + list(reader.finish())


def payloads(found):
    return [line.text for line in found if isinstance(line, lines.Payload)]


def frame(payload):
    return b"<%s%04X>\n" % (payload, lines.checksum(payload))


class Lines(unittest.TestCase):
    def test_of_the_page_are_all_understood(self):
        output = output_of_the_page()
        found = read(b"".join(output))
        self.assertEqual(len(found), len(output))
        for line in found:
            self.assertNotIsInstance(line, lines.Damage)
            if isinstance(line, lines.Payload):
                self.assertNotIsInstance(messages.decode(line.text), messages.Unknown, line)

    def test_are_the_same_however_they_are_cut(self):
        output = b"".join(output_of_the_page())
        whole = read(output)
        for size in (1, 2, 3, 7, 64, 1000):
            pieces = [output[i : i + size] for i in range(0, len(output), size)]
            self.assertEqual(read(*pieces), whole)

    def test_are_found_again_after_damage(self):
        output = output_of_the_page()
        chance = random.Random(1)
        for place, line in enumerate(output):
            for _ in range(5):
                at = chance.randrange(len(line))
                changed = line[:at] + bytes([line[at] ^ 1 << chance.randrange(7)]) + line[at + 1 :]
                others = payloads(read(*output[:place])) + payloads(read(*output[place + 1 :]))
                damaged = [*output[:place], changed, *output[place + 1 :]]
                expected = others if is_message(line) else payloads(read(*output))
                self.assertEqual(payloads(read(*damaged)), expected, (line, changed))

    def test_may_have_lost_their_beginning_or_end(self):
        first, second = frame(b"V;"), frame(b"C;1;")
        for cut in range(1, len(first)):
            self.assertEqual(payloads(read(first[cut:] + second)), ["C;1;"])
            self.assertEqual(payloads(read(first[:cut] + second)), ["C;1;"])

    def test_of_json_may_hold_anything_of_ascii(self):
        text = 'a\r\nb>\n<V;3E2E>\n<C;3;0;4A3D>\n;0000>\n<PJSON;'
        payload = f"PJSON;{text};"
        found = read(frame(payload.encode()) + frame(b"V;"))
        self.assertEqual(payloads(found), [payload, "V;"])
        self.assertEqual(messages.decode(payload), messages.Json(text))

    def test_of_json_may_be_as_long_as_can_be(self):
        longest = frame(b"PJSON;" + 65535 * b"3" + b";")
        self.assertEqual(len(longest), lines.LONGEST_MESSAGE)
        self.assertEqual(len(payloads(read(longest[:4096], longest[4096:]))), 1)

    def test_behind_a_json_without_an_end_come_late(self):
        reader = lines.LineReader()
        cut = b'<PJSON;{"a": 1\n'
        self.assertEqual(list(reader.feed(cut + frame(b"V;"))), [])
        rest = list(reader.feed(lines.LONGEST_MESSAGE // 9 * frame(b"V;")))
        self.assertEqual(rest[0], lines.Damage(cut))
        self.assertEqual(payloads(rest), (lines.LONGEST_MESSAGE // 9 + 1) * ["V;"])


def is_message(line):
    return not line.startswith(b"<@")


class Payloads(unittest.TestCase):
    def test_have_a_type(self):
        for payload, message in {
            "Z;2;": messages.RadioUnusable("off"),
            "C;3;0;": messages.Found("tramsel"),
            "B;-1;1;2;3;4;5;6;7;8;-9;": messages.Motion(None, (1, 2, 3, 4, 5, 6, 7, 8, -9)),
            "S;80;1000;0;": messages.Measurement(80, 1000, 0),
            "C;4;0;87;0;": messages.CorveltaBattery(87),
            "V;": messages.OnMains(),
            "K;NC;1;": messages.Calibration(1),
            "K;EC;2;": messages.CalibrationError(2),
            "K;MC;65535;255;16777215;": messages.Contraction(65535, 255, 16777215),
            "C;5;0;1;2;3;4;5;": messages.FenwixIdentity(1, 2, 3, 4, 5),
            "P0;87;1;": messages.FenwixBattery(87, 1),
            "P1;-9223372036854775808;": messages.Rms(1, -(1 << 63)),
            "PR2;01A0FF;": messages.Raw(2, b"\x01\xa0\xff"),
            "PR1;;": messages.Raw(1, b""),
            "PJSON;[1];": messages.Json("[1]"),
        }.items():
            self.assertEqual(messages.decode(payload), message)

    def test_that_the_bridge_does_not_write_are_unknown(self):
        for payload in (
            "", ";", "V", "V;V;", "V;0;", "Z;1;", "C;3;", "C;4;0;256;0;", "C;4;0;1;1;", "C;5;0;1;",
            "K;NC;-1;", "K;NC;01;", "K;NC;1", "K;MC;1;2;16777216;", "P0;1;", "P1;-0;", "P1;1;2;",
            "P1;9223372036854775808;", "PR1;0;", "PR1;0a;", "PR3;00;", "PJSON;", "B;1;2;",
            "S;-2;0;0;", "S;1;65536;0;", "Q;1;",
        ):  # fmt: skip
            self.assertIsInstance(messages.decode(payload), messages.Unknown, payload)


class Host:
    """The example host over the demo."""

    def __init__(self, *arguments):
        program = os.path.join(HOST, "vornix_host.py")
        self._process = subprocess.Popen(
            [sys.executable, "-B", program, "--log", DEMO, *arguments],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
        )  # fmt: skip

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._process.stdin.close()
        for _ in self._process.stdout:
            pass
        self._process.wait()
        self._process.stdout.close()

    def send(self, command):
        self._process.stdin.write(command + "\n")
        self._process.stdin.flush()

    def until(self, pattern):
        """The lines up to the one that the pattern describes."""
        passed = []
        for line in self._process.stdout:
            passed.append(line)
            if re.search(pattern, line):
                return passed
        raise AssertionError(f"ended before {pattern!r}, after {passed[-3:]}")

    def end(self):
        self._process.stdin.close()
        for _ in self._process.stdout:
            pass
        return self._process.wait()

    def status(self):
        for _ in self._process.stdout:
            pass
        return self._process.wait()


class Sessions(unittest.TestCase):
    def test_give_typed_values(self):
        with Host() as host:
            kinds = {"Motion", "Measurement", "Rms", "FenwixIdentity", "CorveltaBattery"}
            while kinds:
                kinds.discard(host.until(r"\(")[-1].partition("(")[0])
            self.assertEqual(host.end(), 0)

    def test_pass_commands_on_once_the_device_is_ready(self):
        with Host() as host:
            host.send("FX_getJson")
            host.send("CV_debutAcquisition")
            host.until(r"^CorveltaBattery")
            host.until(r"^Contraction")
            passed = host.until(r"^Json")
            self.assertTrue([line for line in passed if line.startswith("FenwixIdentity")])
            self.assertEqual(host.end(), 0)

    def test_end_with_kill(self):
        with Host() as host:
            host.until("Found")
            host.send("kill")
            self.assertEqual(host.status(), 0)

    def test_tell_of_the_radio(self):
        with Host("--fault", "radio=unauthorized") as host:
            host.until(r"^RadioUnusable\(reason='unauthorized'\)")
            self.assertEqual(host.status(), 0)

    def test_start_a_bridge_again_that_ended_abnormally(self):
        with Host("--devices", "tramsel", "--fault", "short=2A19:0") as host:
            for _ in range(3):
                host.until(r"^Found\(device='tramsel'\)")
                host.until(r"^the bridge has ended abnormally \(-6\)")
            self.assertEqual(host.status(), 1)

    def test_tell_of_a_device_that_went_silent(self):
        with Host("--devices", "tramsel", "--fault", "lost=1") as host:
            host.until("^Motion")
            host.until("^silent for 5 seconds: Motion")
            self.assertEqual(host.end(), 0)

    def test_lose_nothing_while_nobody_reads_the_host(self):
        with Host("--devices", "tramsel", "--control", "rate 1000") as host:
            host.until("^Motion")
            time.sleep(3)  # long enough for every pipe on the way to be full
            passed = host.until(r"^Motion\(battery=92, values=\(5000, 0,")
            counts = [int(line.split("(")[2].split(",")[0]) for line in passed]
            self.assertEqual(counts, list(range(1, 5001)))
            self.assertEqual(host.end(), 0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
