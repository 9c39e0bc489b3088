#!/usr/bin/env python3
"""vornix-scope as a host has it: process.py SCOPE DEMO PYTHON

PYTHON is the folder with the reader of recordings. SCOPE_KILLS=N kills that many recordings (5).
"""

import binascii
import csv
import http.client
import json
import os
import pathlib
import resource
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse

from session import Session, watcher

SCOPE, DEMO, PYTHON = sys.argv[1:4]
sys.path.insert(0, PYTHON)
from vornix_host import recording  # noqa: E402

KILLS = int(os.environ.get("SCOPE_KILLS", "5"))


def bridge(script):
    """A bridge that a test writes: Python in its place."""
    return [sys.executable, "-c", "import os, signal, sys, time\n" + script]


def run(script, data=b"", arguments=()):
    return subprocess.run([SCOPE, *arguments, *bridge(script)], input=data, timeout=60,
                          capture_output=True, check=False)


def line(payload):
    return b"<%s%04X>\n" % (payload, binascii.crc_hqx(payload, 0xFFFF))


class Folder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="scope-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.file = str(self.folder / "recording")


def ask(address, path, method="GET", body=None, host=None, origin=None, secret=None):
    """Status and headers, and for what ends by itself the body."""
    where = urllib.parse.urlsplit(address)
    connection = http.client.HTTPConnection(where.hostname, where.port, timeout=30)
    headers = {"Host": host or where.netloc}
    if origin:
        headers["Origin"] = origin
    secret = where.fragment if secret is None else secret
    if secret:
        headers["Authorization"] = f"Bearer {secret}"
    connection.request(method, path, body, headers)
    answer = connection.getresponse()
    text = b"" if path.startswith("/events") and answer.status == 200 else answer.read()
    connection.close()
    return answer.status, answer.headers, text


class PassThrough(unittest.TestCase):
    def test_is_byte_for_byte_in_both_directions(self):
        data = bytes(range(256)) * 5000 + b"no line feed at the end"
        result = run("while data := os.read(0, 65536): sys.stdout.buffer.write(data)", data)
        self.assertEqual(result.stdout, data)
        self.assertEqual(result.returncode, 0)

    def test_hands_on_at_once_what_is_no_whole_line(self):
        with Session(SCOPE, *bridge("os.write(1, b'<V;'); sys.stdin.read()")) as session:
            session.wait_for(b"<V;")
            session.process.stdin.close()
            self.assertEqual(session.end(line=None), 0)

    def test_ends_with_the_bridges_status(self):
        for status in (0, 1, 3, 255):
            self.assertEqual(run(f"sys.exit({status})").returncode, status)

    def test_ends_by_the_bridges_signal(self):
        for number in (signal.SIGABRT, signal.SIGKILL, signal.SIGTERM, signal.SIGSEGV,
                       signal.SIGPIPE):
            result = run(f"signal.signal({int(number)}, signal.SIG_DFL) if {int(number)} != 9 "
                         f"else 0; os.kill(os.getpid(), {int(number)})")
            self.assertEqual(result.returncode, -number)

    def test_loses_nothing_that_was_written_before_an_abnormal_end(self):
        result = run("os.write(1, b'x' * 60000); os.abort()")
        self.assertEqual(result.stdout, b"x" * 60000)
        self.assertEqual(result.returncode, -signal.SIGABRT)

    def test_hands_signals_on(self):
        script = ("signal.signal(signal.SIGTERM, lambda *_: sys.exit(7))\n"
                  "os.write(1, b'up'); time.sleep(60)")
        with Session(SCOPE, *bridge(script)) as session:
            session.wait_for(b"up")
            session.process.send_signal(signal.SIGTERM)
            self.assertEqual(session.end(line=None), 7)

    def test_takes_the_bridge_along_when_it_is_killed(self):
        with Session(SCOPE, *bridge("os.write(1, b'%d\\n' % os.getpid()); time.sleep(60)")) as session:
            session.wait_for(b"\n")
            number = int(session.output)
            session.process.kill()
            session.end(line=None)
            end = time.monotonic() + 30
            while pathlib.Path(f"/proc/{number}/stat").exists():
                if pathlib.Path(f"/proc/{number}/stat").read_text().split()[2] == "Z":
                    break
                self.assertLess(time.monotonic(), end, "the bridge is still there")

    def test_hands_the_end_of_input_on(self):
        result = run("sys.stdin.read(); os.write(1, b'ended')")
        self.assertEqual(result.stdout, b"ended")

    def test_hands_a_closed_output_on(self):
        script = "signal.signal(13, signal.SIG_DFL)\nwhile True: os.write(1, b'x' * 100)"
        process = subprocess.Popen([SCOPE, *bridge(script)], stdout=subprocess.PIPE,
                                   stdin=subprocess.PIPE, stderr=subprocess.DEVNULL)
        process.stdout.read(10)
        process.stdout.close()
        self.assertEqual(process.wait(60), -signal.SIGPIPE)
        process.stdin.close()

    def test_says_that_a_bridge_cannot_be_started(self):
        result = subprocess.run([SCOPE, "/nowhere/vornix"], input=b"", capture_output=True,
                                timeout=60, check=False)
        self.assertEqual(result.returncode, 127)
        self.assertIn(b"/nowhere/vornix: No such file", result.stderr)

    def test_does_not_wait_for_a_process_that_the_bridge_leaves_behind(self):
        script = ("if os.fork(): os._exit(0)\n"
                  "os.write(1, b'%d\\n' % os.getpid()); os.close(2); time.sleep(600)")
        with Session(SCOPE, *bridge(script)) as session:
            self.assertEqual(session.end(line=None), 0)
            if session.output:
                os.kill(int(session.output), signal.SIGKILL)

    def test_puts_a_line_of_the_page_between_two_of_the_host(self):
        script = ("while data := os.read(0, 65536):\n"
                  "  sys.stdout.buffer.write(data); sys.stdout.flush()\n"
                  "  if b'kill' in data: sys.exit(0)")
        with Session(SCOPE, *bridge(script)) as session:
            address = session.address
            session.process.stdin.write(b"half of ")
            session.process.stdin.flush()
            session.wait_for(b"half of ")
            self.assertEqual(ask(address, "/command", "POST", "kill")[0], 202)
            session.process.stdin.write(b"a line\n")
            session.process.stdin.flush()
            self.assertEqual(session.end(line=None), 0)
            self.assertEqual(bytes(session.output), b"half of a line\nkill\n")


class Watching(Folder):
    """Who watches is a process of its own: nothing that happens to it is felt by the host."""

    VALUES = ("for i in range({count}): os.write(1, line(b'P1;%d;' % i))\n"
              "os.write(1, b'done\\n'); sys.stdin.read()")

    def values(self, count, before=""):
        return bridge("import binascii\ndef line(p):"
                      " return b'<%s%04X>\\n' % (p, binascii.crc_hqx(p, 0xFFFF))\n" + before +
                      self.VALUES.format(count=count))

    def expected(self, count):
        return b"".join(line(b"P1;%d;" % i) for i in range(count)) + b"done\n"

    def test_may_be_killed(self):
        with Session(SCOPE, *self.values(20000)) as session:
            self.assertTrue(session.address)
            os.kill(watcher(SCOPE, session), signal.SIGKILL)
            session.wait_for(b"done\n")
            self.assertEqual(bytes(session.output), self.expected(20000))
            session.process.stdin.close()
            self.assertEqual(session.end(line=None), 0)

    def test_may_stand_still(self):
        values = self.values(100000, before="sys.stdin.readline()\n")
        with Session(SCOPE, "--record", self.file, *values) as session:
            self.assertTrue(session.address)
            number = watcher(SCOPE, session)
            os.kill(number, signal.SIGSTOP)
            session.write("begin")
            session.wait_for(b"done\n")
            self.assertEqual(bytes(session.output), self.expected(100000))
            os.kill(number, signal.SIGCONT)
            session.process.stdin.close()
            self.assertEqual(session.end(line=None), 0)
        self.assertIn(recording.MISSED, [piece.kind for piece in recording.pieces(self.file)])

    def test_leaves_nobody_behind_however_soon_the_bridge_ends(self):
        for _ in range(10):
            with Session(SCOPE, "/nowhere/vornix") as session:
                session.end(line=None)
                end = time.monotonic() + 60
                while self.is_watched(session):
                    self.assertLess(time.monotonic(), end, "somebody still watches")
                    time.sleep(0.05)

    def is_watched(self, session):
        try:
            return watcher(SCOPE, session) > 0
        except AssertionError:
            return False

    def test_may_have_no_port_and_no_file(self):
        with Session(SCOPE, *self.values(1)) as first:
            port = urllib.parse.urlsplit(first.address).port
            result = subprocess.run([SCOPE, "--listen", str(port), "--record", "/nowhere/file",
                                     *bridge("os.write(1, b'bytes')")], input=b"",
                                    capture_output=True, timeout=60, check=False)
        self.assertEqual((result.returncode, result.stdout), (0, b"bytes"))
        self.assertIn(b"no page: port", result.stderr)
        self.assertIn(b"nothing is recorded: /nowhere/file", result.stderr)

    def test_may_have_a_page_that_does_not_read(self):
        with Session(SCOPE, *self.values(60000)) as session:
            where = urllib.parse.urlsplit(session.address)
            connection = http.client.HTTPConnection(where.hostname, where.port)
            connection.request("GET", "/events", headers={"Authorization": f"Bearer {where.fragment}"})
            session.wait_for(b"done\n")
            self.assertEqual(bytes(session.output), self.expected(60000))
            session.process.stdin.close()
            self.assertEqual(session.end(line=None), 0)
            connection.close()

    def test_tells_that_the_host_does_not_read(self):
        with Session(SCOPE, "--record", self.file, *self.values(60000)) as session:
            session.stall()
            end = time.monotonic() + 60
            kinds = []
            while recording.STALLED not in kinds:
                self.assertLess(time.monotonic(), end)
                time.sleep(0.1)
                if pathlib.Path(self.file).exists():
                    kinds = [piece.kind for piece in recording.pieces(self.file)]
            session.resume()
            session.wait_for(b"done\n")
            self.assertEqual(bytes(session.output), self.expected(60000))


class Recording(Folder):
    def test_has_what_passed(self):
        with Session(SCOPE, "--record", self.file, DEMO, "--devices", "fenwix") as session:
            session.wait_for(b"<C;5;")
            session.write("FX_getJson")
            session.wait_for(b"<PJSON;")
            self.assertEqual(session.end(), 0)
            self.assertEqual(recording.output(self.file), bytes(session.output))
        pieces = list(recording.pieces(self.file))
        self.assertEqual([piece.data for piece in pieces if piece.kind == recording.INPUT],
                         [b"FX_getJson\n", b"kill\n"])
        self.assertEqual(pieces[0].data.split(b"\0")[0], DEMO.encode())
        self.assertEqual(pieces[-1][0::2], (recording.END, b"status 0"))

    def test_is_appended_to(self):
        for text in ("one", "two"):
            run(f"os.write(1, b'{text}')", arguments=("--record", self.file))
        self.assertEqual([piece.data for piece in recording.pieces(self.file)
                          if piece.kind == recording.OUTPUT], [b"one", b"two"])

    def test_is_whole_up_to_the_last_second_when_everything_is_killed(self):
        script = ("i = 0\nwhile True:\n"
                  "  os.write(1, b'<%d %f>\\n' % (i, time.time())); i += 1; time.sleep(0.0005)")
        for _ in range(KILLS):
            pathlib.Path(self.file).unlink(missing_ok=True)
            with Session(SCOPE, "--record", self.file, *bridge(script)) as session:
                session.wait_for(b"<%d " % 600)
                number = watcher(SCOPE, session)
                os.kill(number, signal.SIGSTOP)  # not even what is on the way gets there
                os.kill(number, signal.SIGKILL)
                killed = time.time()
                session.process.kill()
                session.end(line=None)
                last = recording.output(self.file).splitlines()[-1]
                self.assertTrue(bytes(session.output).startswith(recording.output(self.file)))
                self.assertLess(killed - float(last.split()[1][:-1]), 1)
            run("os.write(1, b'after')", arguments=("--record", self.file))
            self.assertEqual(recording.output(self.file), b"after")

    def test_ends_on_a_full_disk_and_the_session_does_not(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (100000, 100000))
        script = "for _ in range(20000): os.write(1, b'y' * 49 + b'\\n')\ntime.sleep(1)"
        result = subprocess.run([SCOPE, "--record", self.file, *bridge(script)], input=b"",
                                capture_output=True, timeout=60, check=False, preexec_fn=limit)
        self.assertEqual(len(result.stdout), 50 * 20000)
        self.assertEqual(result.returncode, 0)
        self.assertIn(b"the recording has ended: ", result.stderr)
        self.assertIn(b"File too large", result.stderr)
        self.assertTrue(result.stdout.startswith(recording.output(self.file)))
        self.assertLessEqual(os.path.getsize(self.file), 100000)

    def test_is_refused_where_the_file_is_another(self):
        pathlib.Path(self.file).write_text("mine", encoding="ascii")
        result = run("os.write(1, b'x')", arguments=("--record", self.file))
        self.assertEqual(result.stdout, b"x")
        self.assertIn(b"not a recording", result.stderr)
        self.assertEqual(pathlib.Path(self.file).read_text(encoding="ascii"), "mine")


class Replay(Folder):
    def replay(self, *arguments, line=None):
        with Session(SCOPE, "--replay", self.file, *arguments) as session:
            return session.end(line), bytes(session.output)

    def test_is_the_recording_byte_for_byte_and_ends_like_it(self):
        script = "os.write(1, b'<V;3E2E>\\n<V;0000>\\nnothing\\n\\0\\xff<PJSON;>\\n'); os.abort()"
        written = run(script, arguments=("--record", self.file)).stdout
        self.assertEqual(self.replay("--speed", "0"), (-signal.SIGABRT, written))

    def test_plays_the_last_session(self):
        for text in ("one", "two"):
            run(f"os.write(1, b'{text}')", arguments=("--record", self.file))
        self.assertEqual(self.replay(), (0, b"two"))

    def test_takes_its_time(self):
        run("os.write(1, b'a\\n'); time.sleep(1); os.write(1, b'b\\n')",
            arguments=("--record", self.file))
        begin = time.monotonic()
        self.replay()
        self.assertGreater(time.monotonic() - begin, 0.9)

    def test_ends_as_the_bridge_does_when_the_host_wants_it(self):
        run("os.write(1, b'a\\n'); time.sleep(2); os.write(1, b'b\\n')",
            arguments=("--record", self.file))
        with Session(SCOPE, "--replay", self.file, "--speed", "0.001") as session:
            session.wait_for(b"a\n")
            self.assertEqual(session.end("kill"), 0)
            self.assertEqual(bytes(session.output), b"a\n")

    def test_refuses_what_is_no_recording(self):
        result = subprocess.run([SCOPE, "--replay", "/etc/passwd"], input=b"", capture_output=True,
                                timeout=60, check=False)
        self.assertEqual((result.returncode, result.stdout), (1, b""))
        self.assertIn(b"not a recording", result.stderr)


class Export(Folder):
    def test_writes_each_stream_as_a_table(self):
        values = [line(each) for each in (
            b"B;-1;1;2;3;4;5;6;7;8;-9;", b"S;80;4660;0;", b"P1;-10000000;", b"P2;5;",
            b"PR1;01A0FF;", b"K;MC;1284;6;197121;", b"K;NC;7;", b"K;EC;3;", b"P0;87;1;",
            b"C;5;0;120034;2;260;3;7;", b"PJSON;{\"a\":\"=1,\n\"};")]
        run(f"os.write(1, {b''.join(values)!r})", arguments=("--record", self.file))
        subprocess.run([SCOPE, "export", self.file, str(self.folder / "t")], check=True,
                       stdout=subprocess.DEVNULL)
        def rows(name):
            with open(self.folder / "t" / f"{name}.csv", newline="", encoding="utf-8") as file:
                return [dict(row) for row in csv.DictReader(file)]
        self.assertEqual([list(row.values())[2:] for row in rows("motion")],
                         [["", "1", "2", "3", "4", "5", "6", "7", "8", "-9"]])
        self.assertEqual(rows("probe")[0]["first"], "4660")
        self.assertEqual(rows("rms1")[0]["value"], "-10000000")
        self.assertEqual(rows("raw1")[0]["bytes"], "01A0FF")
        self.assertEqual(rows("contraction")[0]["third"], "197121")
        self.assertEqual(rows("calibration")[0]["value"], "7")
        self.assertEqual(rows("calibration_error")[0]["code"], "3")
        self.assertEqual(rows("fenwix")[0]["serial"], "120034")
        self.assertEqual(rows("json")[0]["text"], "{\"a\":\"=1,\n\"}")
        self.assertEqual(rows("log")[-1]["text"], "the bridge has ended: status 0")


class Page(unittest.TestCase):
    """Nobody gets in who does not know the address."""

    @classmethod
    def setUpClass(cls):
        cls.session = Session(SCOPE, DEMO, "--devices", "fenwix")
        cls.address = cls.session.address

    @classmethod
    def tearDownClass(cls):
        cls.session.close()

    def test_listens_on_the_loopback_address_alone(self):
        port = urllib.parse.urlsplit(self.address).port
        entries = [entry.split() for name in ("tcp", "tcp6")
                   for entry in pathlib.Path("/proc/net", name).read_text().splitlines()[1:]]
        sockets = [entry[1] for entry in entries
                   if entry[1].endswith(f":{port:04X}") and entry[3] == "0A"]
        self.assertEqual(sockets, [f"0100007F:{port:04X}"])

    def test_gives_data_for_the_secret_alone(self):
        for path in ("/events", "/document"):
            self.assertEqual(ask(self.address, path)[0], 200)
            self.assertEqual(ask(self.address, path, secret="")[0], 403)
            self.assertEqual(ask(self.address, path, secret="0" * 32)[0], 403)
            self.assertEqual(ask(self.address, path, host="example.org")[0], 403)
            self.assertEqual(ask(self.address, path, origin="http://example.org")[0], 403)

    def test_takes_commands_for_the_secret_alone(self):
        for known in ({"secret": ""}, {"origin": "null"}, {"host": "vornix.example:80"}):
            self.assertEqual(ask(self.address, "/command", "POST", "kill", **known)[0], 403)
        self.assertIsNone(self.session.process.poll())

    def test_sends_no_command_that_would_end_the_bridge(self):
        self.assertEqual(ask(self.address, "/command", "POST", "CV_debutCalib")[0], 409)
        self.assertEqual(ask(self.address, "/command", "POST", "FX_cmdWriteInt 300 1")[0], 409)
        self.assertEqual(ask(self.address, "/command", "POST", "FX_getJson\nkill")[0], 400)
        self.assertIsNone(self.session.process.poll())

    def test_serves_nothing_but_its_own_files(self):
        self.assertEqual(ask(self.address, "/", secret="")[0], 200)
        for path in ("/../../etc/passwd", "/etc/passwd", "/scope.css/", "//", "/%2e%2e/etc/passwd"):
            self.assertIn(ask(self.address, path)[0], (400, 403, 404), path)

    def test_sends_its_files_as_they_are(self):
        # The library would compress them, as small as it can, for each page that is opened: a third
        # of a second of a processor, to save what costs nothing on the loopback address.
        where = urllib.parse.urlsplit(self.address)
        for path in ("/", "/dygraph.js", "/scope.css", "/icon.svg"):
            plain = ask(self.address, path, secret="")[2]
            connection = http.client.HTTPConnection(where.hostname, where.port, timeout=30)
            connection.request("GET", path, headers={"Accept-Encoding": "gzip, deflate, br, zstd"})
            answer = connection.getresponse()
            self.assertIsNone(answer.getheader("Content-Encoding"), path)
            self.assertEqual(answer.read(), plain)
            self.assertGreater(len(plain), 0)
            connection.close()

    def test_allows_nothing_foreign(self):
        headers = ask(self.address, "/", secret="")[1]
        policy = headers["Content-Security-Policy"]
        self.assertIn("default-src 'none'", policy)
        self.assertNotIn("unsafe", policy)
        self.assertNotIn("*", policy)
        self.assertEqual(headers["X-Content-Type-Options"], "nosniff")
        self.assertIsNone(headers["Access-Control-Allow-Origin"])

    def test_answers_no_question_of_another_origin_beforehand(self):
        status, headers, _ = ask(self.address, "/command", "OPTIONS", origin="http://example.org")
        self.assertEqual(status, 403)
        self.assertIsNone(headers["Access-Control-Allow-Origin"])

    def test_may_only_look_on_when_told_so(self):
        with Session(SCOPE, "--read-only", DEMO, "--devices", "tramsel") as session:
            self.assertEqual(ask(session.address, "/command", "POST", "kill")[0], 403)
            self.assertEqual(session.end(), 0)

    def test_keeps_the_address_to_its_owner(self):
        with Session(SCOPE, DEMO, "--devices", "tramsel") as session:
            self.assertTrue(session.address)
            self.assertEqual(session.address_file.stat().st_mode & 0o077, 0)

    def test_tells_every_value(self):
        with Session(SCOPE, *bridge(
                "import binascii\ndef line(p): return b'<%s%04X>\\n' % (p, binascii.crc_hqx(p, 65535))\n"
                "for i in range(5000): os.write(1, line(b'P1;%d;' % i))\nsys.stdin.read()")) as session:
            where = urllib.parse.urlsplit(session.address)
            connection = http.client.HTTPConnection(where.hostname, where.port, timeout=60)
            connection.request("GET", "/events", headers={"Authorization": f"Bearer {where.fragment}"})
            answer = connection.getresponse()
            found = []
            while len(found) < 5000:
                found += json.loads(answer.readline()).get("rms1", [[], []])[1]
            self.assertEqual(found, list(range(5000)))
            connection.close()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=1)
