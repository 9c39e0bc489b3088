#!/usr/bin/env python3
"""Tests of the package's command line with the demo: what a person or a shell script sees."""

import os
import re
import signal
import subprocess
import sys
import time
import unittest

import place


def run(text, *arguments, options=()):
    """Runs the command line with an input that is known from the beginning."""
    command = [sys.executable, "-B", "-m", "vornix_host", *options, place.DEMO, *arguments]
    return subprocess.run(
        command, input=text, capture_output=True, text=True, cwd=place.HOST, timeout=120, check=False
    )


class Host:
    """A run of the command line with which the test interacts."""

    def __init__(self, *arguments, options=(), program=(place.DEMO,)):
        self._process = subprocess.Popen(
            [sys.executable, "-B", "-m", "vornix_host", "--log", *options, *program, *arguments],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
            cwd=place.HOST,
        )  # fmt: skip

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()
        self._process.stdout.close()

    def send(self, command):
        self._process.stdin.write(command + "\n")
        self._process.stdin.flush()

    def interrupt(self):
        self._process.send_signal(signal.SIGINT)

    def until(self, pattern):
        """The lines up to the first that matches the pattern."""
        passed = []
        for line in self._process.stdout:
            passed.append(line)
            if re.search(pattern, line):
                return passed
        raise AssertionError(f"ended before {pattern!r}, after {passed[-3:]}")

    def end(self):
        self._process.stdin.close()
        return self.status()

    def status(self):
        for _ in self._process.stdout:
            pass
        return self._process.wait()


class InAPipe(unittest.TestCase):
    def test_a_document_is_printed_before_the_end(self):
        for command in ("FX_getJson\n", "FX_getJson"):
            done = run(command, "--devices", "fenwix", "--control", "json 60")
            self.assertRegex(done.stdout, r'FenwixJson\(text=\'{"device":"Nomsuel"')
            self.assertEqual(done.returncode, 0)

    def test_a_command_that_would_end_the_bridge_is_refused(self):
        done = run("FX_cmdWriteByte 3 256\nFX_getJson\n", "--devices", "fenwix")
        self.assertIn("refused: the value has to be 0 to 255", done.stderr)
        self.assertIn("FenwixJson", done.stdout)
        self.assertIn("Ended(status=0)", done.stdout)
        self.assertEqual(done.returncode, 1)

    def test_an_empty_input_is_an_orderly_end(self):
        done = run("")
        self.assertIn("Ended(status=0)", done.stdout)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_a_useless_radio_is_reported_as_a_word(self):
        done = run("FX_getJson\n", "--fault", "radio=off")
        self.assertIn("RadioUnusable(reason='off')", done.stdout)
        self.assertIn("Bluetooth is off", done.stderr)
        self.assertEqual(done.returncode, 1)


class InASession(unittest.TestCase):
    def test_values_have_types(self):
        with Host() as host:
            kinds = {
                "TramselMotion", "ProbeMeasurement", "FenwixRms", "FenwixIdentity", "CorveltaBattery"
            }  # fmt: skip
            while kinds:
                kinds.discard(host.until(r"\(")[-1].partition("(")[0])
            self.assertEqual(host.end(), 0)

    def test_commands_wait_for_their_device(self):
        with Host() as host:
            host.send("FX_getJson")
            host.send("CV_debutAcquisition")
            host.until(r"^CorveltaBattery")
            host.until(r"^CorveltaContraction")
            passed = host.until(r"^FenwixJson")
            self.assertTrue([line for line in passed if line.startswith("FenwixIdentity")])
            self.assertEqual(host.end(), 0)

    def test_kill_ends_it(self):
        with Host() as host:
            host.until("Found")
            host.send("kill")
            self.assertEqual(host.status(), 0)

    def test_an_interrupt_ends_it(self):
        with Host("--devices", "tramsel") as host:
            host.until("^TramselMotion")
            host.interrupt()
            host.until(r"^Ended\(status=0\)")

    def test_a_bridge_that_ends_abnormally_is_started_again(self):
        with Host("--devices", "tramsel", "--fault", "short=2A19:0") as host:
            for _ in range(2):
                host.until(r"^TramselFound")
                host.until(r"^Ended\(status=-6\)")
            host.until("^GivenUp.*faulty")
            self.assertEqual(host.status(), 1)

    def test_a_device_that_went_silent_is_reported(self):
        with Host("--devices", "tramsel", "--fault", "lost=1") as host:
            host.until("^TramselMotion")
            host.until("^StreamLost.*motion")
            self.assertEqual(host.end(), 0)

    def test_a_stream_that_stops_is_a_restart_when_asked_for(self):
        arguments = ["--devices", "tramsel", "--fault", "lost=1"]
        with Host(*arguments, options=["--restart-on-loss"]) as host:
            host.until("^StreamLost.*motion")
            host.until(r"^Started\(start=2\)")
            host.until("^TramselMotion")
            self.assertEqual(host.end(), 0)

    def test_nothing_is_lost_while_nobody_reads_the_host(self):
        with Host("--devices", "tramsel", "--control", "rate 1000") as host:
            host.until("^TramselMotion")
            time.sleep(3)  # long enough for every pipe on the way to be full
            passed = host.until(r"^TramselMotion\(battery=92, values=\(5000, 0,")
            counts = [int(line.split("(")[2].split(",")[0]) for line in passed]
            self.assertEqual(counts, list(range(1, 5001)))
            self.assertEqual(host.end(), 0)


if __name__ == "__main__":
    unittest.main()
