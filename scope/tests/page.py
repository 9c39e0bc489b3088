#!/usr/bin/env python3
"""The page of vornix-scope in a browser: page.py SCOPE DEMO PYTHON

Exits with 77, and the reason, where there is no browser.
"""

import http.server
import json
import os
import pathlib
import signal
import sys
import tempfile
import threading
import time
import unittest

from browser import PATIENCE, Browser, Unavailable
from session import Session, watcher

SCOPE, DEMO, PYTHON = sys.argv[1:4]
sys.path.insert(0, PYTHON)
from vornix_host import recording  # noqa: E402

BROWSER = None
TABLE = json.loads((pathlib.Path(__file__).parents[2] / "docs/messages.json").read_text(encoding="utf-8"))
MARKUP = "<img src=x onerror=hacked=1><script>hacked=1</script>"


def card(name):
    return f"document.querySelector('[data-card={name}]').innerText"


def button(command):
    return f"[data-command='{command}']"


def gated(*command):
    """A command that is started when the host has written a line: the page is open by then."""
    return ["sh", "-c", 'read -r _ && exec "$@"', "sh", *command]


def writing(*lines):
    """A bridge that writes lines, and waits for the end of its input."""
    text = "".join(f"{line}\n" for line in lines)
    return ["sh", "-c", 'printf %s "$1"; cat >/dev/null', "sh", text]


class PageTest(unittest.TestCase):
    def setUp(self):
        BROWSER.complaints()

    def open(self, *arguments, ready="scope.state", is_stalled=False):
        session = Session(SCOPE, *arguments, is_stalled=is_stalled)
        self.addCleanup(session.close)
        BROWSER.open("about:blank")  # the address differs behind "#" alone where the port is the same
        BROWSER.open(session.address)
        BROWSER.wait(f"globalThis.scope && {ready}")
        return session

    def press(self, command):
        BROWSER.wait(f"!document.querySelector(arguments[0]).disabled", button(command))
        BROWSER.click(button(command))

    def wait_for_card(self, name, text):
        BROWSER.wait(f"{card(name)}.includes(arguments[0])", text)

    def wait_for_notice(self, text):
        BROWSER.wait("document.getElementById('notice').innerText.includes(arguments[0])", text)


class Table(PageTest):
    def test_of_the_messages_has_all_of_its_families_curves_and_commands_on_the_page(self):
        session = self.open(DEMO, "--control", "rate 250")
        names = "return Array.from(document.querySelectorAll(arguments[0])).map((e) => e.dataset[arguments[1]])"
        families = [one["name"].lower() for one in TABLE["families"]]
        self.assertEqual(BROWSER.run(names, "[data-card]", "card"), [*families, "bridge"])
        words = {one["line"].split()[0] for one in TABLE["commands"]}
        self.assertEqual(set(BROWSER.run(names, "[data-command]", "command")), words)
        for command in TABLE["commands"]:
            if "stop" in command:
                self.press(command["line"])
        steady = {one["table"].replace("{stream}", key)
                  for one in TABLE["messages"] if one.get("role") == "stream"
                  for key in one["fields"].get("stream", {"choice": [""]})["choice"]}
        BROWSER.wait("arguments[0].every((name) => scope.plots.plots.has(name))", sorted(steady))
        for family in TABLE["families"]:
            for title in {field["fact"] for one in TABLE["messages"] if one["from"] == family["name"]
                          for field in one["fields"].values() if "fact" in field}:
                self.wait_for_card(family["name"].lower(), title)
        session.end()


class Values(PageTest):
    def columns(self, name):
        return BROWSER.run("const s = scope.data.streams.get(arguments[0]); const e = s.samples ?? s;"
                           "return [s.total, ...e.columns.map(c => Array.from(c.slice(0, e.length)))]",
                           name)

    def test_are_all_there(self):
        session = self.open(DEMO, "--control", "rate 250", ready="scope.received > 100")
        self.press("CV_debutAcquisition")
        self.press("FX_startRaw")
        names = ("motion", "probe", "rms1", "rms2", "raw1", "contraction")
        BROWSER.wait("arguments[0].every((name) => scope.data.streams.get(name).total > 300)", names)
        self.assertEqual(session.end(), 0)
        BROWSER.wait("scope.state.endCode === 0")
        counts = BROWSER.run("return scope.state.streams")
        for name in names:
            total, first = self.columns(name)[:2]
            self.assertEqual(total, counts[name]["count"], name)
            if name == "motion":  # counts its values
                self.assertEqual(first, [i if i < 32768 else i - 65536 for i in range(total)])
        motions = bytes(session.output).count(b"<B;")
        self.assertEqual(counts["motion"]["count"], motions)
        third = self.columns("contraction")[3]
        self.assertEqual(third, list(range(len(third))))
        self.assertEqual(BROWSER.run("return scope.missed"), 0)
        self.layout()
        self.assertEqual(BROWSER.complaints(), [])

    def layout(self):
        """Raw values are bytes until somebody says what they are."""
        samples = "scope.data.series('raw1').length"
        before = BROWSER.run(f"return {samples}")
        BROWSER.run("const s = document.querySelector('[data-stream=raw1] select'); s.value = 'int16 little-endian';"
                    "s.dispatchEvent(new Event('change'))")
        self.assertEqual(BROWSER.run(f"return {samples}"), before // 2)

    def test_are_those_of_the_recording_when_it_is_replayed(self):
        with tempfile.TemporaryDirectory() as folder:
            file = os.path.join(folder, "recording")
            with Session(SCOPE, "--record", file, DEMO, "--devices", "tramsel",
                         "--control", "rate 2000") as session:
                session.wait_for(b";4000;0;")
                session.end()
            # It cannot end before the page is there: nobody reads, and no pipe takes all of it.
            session = self.open("--replay", file, "--speed", "0", is_stalled=True)
            session.resume()
            BROWSER.wait("scope.state.endCode === 0")
            session.end(line=None)
            self.assertEqual(bytes(session.output), recording.output(file))
            motions = [line.split(b";") for line in bytes(session.output).split(b"\n")
                       if line.startswith(b"<B;")]
            self.assertEqual(self.columns("motion")[1:],
                             [[int(motion[i]) for motion in motions] for i in range(2, 11)])

    def test_are_drawn_with_each_peak(self):
        self.open(DEMO, "--devices", "tramsel").end()
        rows = BROWSER.run_async("""
            const done = arguments[0];
            Promise.all([import("/plots.js"), import("/data.js")]).then(([{ rowsOf }, { Series }]) => {
              const series = new Series(Array(4).fill(Int16Array));
              const times = Array.from({ length: 100000 }, (_, i) => i / 2000);
              const peaks = times.map((_, i) => i === 40001 ? 9000 : i === 70003 ? -9000 : i % 7);
              const rising = times.map((_, i) => i / 10);
              series.append(times, [peaks, rising, rising.map((x) => -x), rising]);
              done(rowsOf(series, 0, 50, [true, true, true, false], 1));
            });""")
        self.assertLessEqual(len(rows), 1402)
        times, peaks, rising, falling, off = zip(*rows)
        self.assertEqual(list(times), sorted(times))
        at = {value: times[peaks.index(value)] for value in (9000, -9000)}
        self.assertAlmostEqual(at[9000], 40001 / 2000, delta=50 / 700)
        self.assertAlmostEqual(at[-9000], 70003 / 2000, delta=50 / 700)
        self.assertEqual(list(rising), sorted(rising))  # no teeth where there are none
        self.assertEqual(list(falling), sorted(falling, reverse=True))
        self.assertEqual(rising[-1], 9999)
        self.assertEqual(set(off), {None})

    def test_are_drawn_less_often_and_coarser_where_painting_takes_long(self):
        session = self.open(DEMO, "--devices", "tramsel", ready="scope.plots.plots.size > 0")
        # After drawing, and before the picture is there, as painting is. What draws then changes the
        # size that is watched.
        BROWSER.run("""
            const box = document.body.appendChild(document.createElement("div"));
            globalThis.pauses = [];
            let painted = null;
            new ResizeObserver(() => {
              const begin = performance.now();
              while (performance.now() < begin + 60);
              painted = performance.now();
            }).observe(box);
            for (const name of ["draw", "drawNext"]) {
              const draw = scope.plots[name].bind(scope.plots);
              scope.plots[name] = (...view) => {
                globalThis.columns = view.at(-1);
                if (painted) pauses.push(performance.now() - painted);
                draw(...view);
                box.style.height = `${pauses.length + 1}px`;
              };
            }""")
        pauses = BROWSER.wait("pauses.length > 5 && pauses")
        self.assertGreater(min(pauses[1:]), 45)
        # And coarser, but for a picture that stands still.
        BROWSER.wait("columns === 175")
        BROWSER.run("scope.view.zoomTo(0, 1)")
        BROWSER.wait("columns === 700")
        BROWSER.run("scope.view.follow()")
        BROWSER.wait("columns === 175")
        session.end()

    def test_are_drawn_in_turns_when_many_move(self):
        session = self.open(DEMO, ready="scope.plots.inSight.length > 1")
        drawn = BROWSER.run("""
            const all = scope.plots.inSight;
            const times = new Map(all.map((plot) => [plot, 0]));
            for (const plot of all) {
              plot.draw = () => times.set(plot, times.get(plot) + 1);
            }
            for (let i = 0; i < 3 * all.length; ++i) scope.plots.drawNext(all.length, 0, 1, null, 700);
            return [...times.values()];""")
        self.assertEqual(set(drawn), {3})
        session.end()


class Controls(PageTest):
    def test_do_what_they_say(self):
        session = self.open(DEMO, ready="scope.received > 50")
        BROWSER.click("#pause")
        BROWSER.wait("scope.view.span !== null && document.getElementById('pause').innerText === 'Go on'")
        before = BROWSER.run("return scope.received")
        BROWSER.wait("scope.received > arguments[0]", before)
        BROWSER.click("#live")
        BROWSER.wait("scope.view.span === null")
        BROWSER.press(" ")
        BROWSER.wait("scope.view.span !== null")
        BROWSER.press("0")
        BROWSER.wait("scope.view.span === null")
        BROWSER.press("+")
        self.assertEqual(BROWSER.run("return document.getElementById('window').value"), "5")
        BROWSER.press("-")
        self.assertEqual(BROWSER.run("return scope.view.length"), 10)
        BROWSER.press(["\ue012"])  # left
        BROWSER.wait("scope.view.span !== null")
        BROWSER.click("#help")
        self.assertFalse(BROWSER.run("return document.getElementById('keys').hidden"))
        BROWSER.click("#help")
        self.zoom_and_cursor()
        self.channels()
        self.table()
        self.filter()
        self.assertEqual(session.end(), 0)
        self.assertEqual(BROWSER.complaints(), [])

    def zoom_and_cursor(self):
        BROWSER.press("0")
        # Values are there all over the span that is zoomed into.
        BROWSER.wait("scope.now() / 1e6 - scope.data.series('motion').times[0] > 5")
        BROWSER.drag("[data-stream=motion] .canvas", 0.6, 0.9)
        span = BROWSER.wait("scope.view.span")
        self.assertAlmostEqual(span[1] - span[0], 3, delta=1)
        # Cards that get another line move the curves away from under the pointer.
        shown = ("((s, t) => t !== null && String(s.columns[2][s.indexAt(t + 1e-9) - 1]) ==="
                 " document.querySelector('[data-stream=motion] .channel-3 output').textContent)"
                 "(scope.data.series('motion'), scope.view.cursor)")
        end = time.monotonic() + PATIENCE
        while not BROWSER.run(f"return {shown}"):
            self.assertLess(time.monotonic(), end, "the value at the cursor is not shown")
            BROWSER.drag("[data-stream=motion] .canvas", 0.7, 0.7)
        at = BROWSER.run("return scope.view.cursor")
        BROWSER.press(".")
        BROWSER.wait("scope.view.cursor > arguments[0]", at)

    def channels(self):
        BROWSER.click("[data-stream=motion] .channel-2")
        pressed = "document.querySelector('[data-stream=motion] .channel-2').ariaPressed"
        self.assertEqual(BROWSER.run(f"return {pressed}"), "false")
        rows = "scope.plots.plots.get('motion').graph.getValue(1, arguments[0])"
        BROWSER.wait(f"{rows} === null", 2)
        self.assertIsNotNone(BROWSER.run(f"return {rows}", 3))

    def table(self):
        BROWSER.click("#save")
        end = time.monotonic() + 30
        while not (files := list(BROWSER.downloads.glob("*.csv"))):
            self.assertLess(time.monotonic(), end, "nothing was saved")
            time.sleep(0.05)
        lines = files[0].read_text(encoding="ascii").splitlines()
        files[0].unlink()
        columns = lines[0].split(",")
        self.assertIn("motion.v1", columns)
        self.assertNotIn("motion.v2", columns)  # is off
        span = BROWSER.run("return scope.view.span")
        shown = BROWSER.run("const s = scope.data.series('motion'); const [f, t] = arguments[0];"
                            "return Array.from(s.times.slice(0, s.length)).filter(x => x >= f && x <= t).length", span)
        place = columns.index("motion.v1")
        self.assertEqual(sum(line.split(",")[place] != "" for line in lines[1:]), shown)

    def filter(self):
        BROWSER.press("/")
        BROWSER.type("#filter", "TROUVE tramsel")
        lines = BROWSER.run("return [...document.querySelectorAll('#lines li')].map(l => l.innerText)")
        self.assertEqual(len(lines), 1)
        self.assertIn("tramsel-1", lines[0])

    def test_send_each_command_once_its_device_is_ready(self):
        session = self.open(DEMO, "--control", "json 60")
        for name in ("CV_debutCalib", "CV_finCalib", "CV_debutAcquisition", "CV_finAcquisition",
                     "FX_startRaw", "FX_stopRaw", "FX_startRaw2", "FX_stopRaw2", "FX_getJson"):
            self.press(name)
            BROWSER.wait("document.querySelector('.answer').textContent === arguments[0]", f"Sent: {name}")
        BROWSER.type("[data-field=code]", "7")
        BROWSER.type("[data-field=value]", "256")
        self.press("FX_cmdWriteByte")
        self.assertIn("Not sent", BROWSER.run("return document.querySelector('.answer').textContent"))
        self.press("FX_cmdWriteInt")
        session.wait_for(b"cde : Fenwix Cmd Write Int")
        BROWSER.wait("document.getElementById('tree').innerText.includes('\"Nomsuel\"')")
        self.end_with_the_button(session)
        BROWSER.wait("document.querySelectorAll('#commands button:enabled').length === 0")

    def end_with_the_button(self, session):
        """Which asks again, and no longer when another one has been pressed."""
        self.press("kill")
        text = f"document.querySelector(\"{button('kill')}\").innerText"
        asks = f"{text} === 'Press again to end it'"
        BROWSER.wait(asks)
        self.press("FX_stopRaw")
        self.assertEqual(BROWSER.run(f"return {text}"), "End the bridge")
        BROWSER.wait("document.querySelector('.answer').textContent === 'Sent: FX_stopRaw'")
        sent = "document.querySelector('.answer').textContent === 'Sent: kill'"
        while not BROWSER.run(f"return {sent}"):  # on a machine that is slow to press it twice
            BROWSER.click(button("kill"))
            BROWSER.wait(f"{asks} || {sent}")
        self.assertEqual(session.end(line=None), 0)
        self.assertEqual(bytes(session.output).count(b"cde : kill"), 1)

    def test_are_off_before_a_device_is_ready_and_where_the_page_may_only_look_on(self):
        session = self.open("--read-only", DEMO, "--devices", "fenwix,tramsel")
        self.wait_for_card("fenwix", "ready")
        enabled = "document.querySelectorAll('#commands button:enabled').length"
        self.assertEqual(BROWSER.run(f"return {enabled}"), 0)
        session.end()
        self.open(DEMO, "--devices", "fenwix,tramsel")
        self.wait_for_card("fenwix", "ready")
        BROWSER.wait(f"{enabled} > 1")
        self.assertTrue(BROWSER.run(f"return document.querySelector(\"{button('CV_debutCalib')}\").disabled"))


class States(PageTest):
    def expect(self, name, *texts, bridge=None, arguments=()):
        session = self.open(*(bridge or (DEMO, *arguments)))
        for text in texts:
            self.wait_for_card(name, text)
        session.process.stdin.close()
        session.end(line=None)

    def expect_end(self, command, status, *texts):
        """In words, of a bridge that ends once the page is there."""
        session = self.open(*gated(*command))
        self.assertEqual(session.end("go on"), status)
        for text in texts:
            self.wait_for_notice(text)

    def test_of_devices_that_are_well(self):
        session = self.open(DEMO, "--devices", "fenwix,tramsel,tenoval,corvelta")
        for name, texts in {"tramsel": ["ready", "Battery (%)\n92", "Tramsel-1"],
                            "probe": ["Model\nTenoval", "ready"],
                            "corvelta": ["ready", "Battery (%)\n87", "2.1.4", "no, when last told"],
                            "fenwix": ["ready", "Battery (%)\n87", "Serial\n120034", "open"],
                            "bridge": ["running", "poweredOn"]}.items():
            for text in texts:
                self.wait_for_card(name, text)
        session.end()
        for name in ("tramsel", "probe", "corvelta", "fenwix", "bridge"):
            self.wait_for_card(name, "ended")

    def test_of_a_device_that_is_not_there(self):
        self.expect("corvelta", "looking for it", arguments=("--devices", "tramsel"))

    def test_of_a_device_that_nobody_looks_for(self):
        self.expect("corvelta", "not found", "Scanning is over", bridge=writing(
            "<@10:00:00.000 : manager state update : poweredOn>", "<@10:00:00.100 : Stop Scan>"))

    def test_of_devices_that_let_nobody_connect(self):
        session = self.open(DEMO, "--fault", "pending")
        for name, text in {"tramsel": "Its first value is still missing",
                           "probe": "Its first value is still missing",
                           "corvelta": "Its battery level is still missing",
                           "fenwix": "Its values, its numbers and its command channel"}.items():
            self.wait_for_card(name, "connecting")
            self.wait_for_card(name, text)
        session.end()

    def test_of_a_device_without_a_command_channel(self):
        self.expect("fenwix", "no commands", "command channel is closed",
                    arguments=("--devices", "fenwix", "--fault", "refuse-subscribe=3A93"))

    def test_of_a_device_that_lacks_a_number(self):
        self.expect("fenwix", "not ready", "one of its five numbers",
                    arguments=("--devices", "fenwix", "--fault", "hide=2A27"))

    def test_of_a_device_whose_services_cannot_be_read(self):
        self.expect("tramsel", "silent", "before its services were known",
                    arguments=("--devices", "tramsel", "--fault", "refuse-services"))

    def test_of_a_device_that_is_lost(self):
        self.expect("tramsel", "silent", "it may be lost",
                    arguments=("--devices", "tramsel", "--fault", "lost=1"))

    def test_of_a_corvelta_on_mains(self):
        self.expect("corvelta", "yes, when last told",
                    arguments=("--devices", "corvelta", "--control", "mains 1"))

    def test_of_damaged_lines(self):
        self.expect("bridge", "Damaged lines\n2", bridge=writing("<C;3;0;0000>", "<C;3;0;0001>"))

    def test_of_a_radio_that_cannot_be_used(self):
        for fault, text in {"off": "Bluetooth is switched off. Switch it on",
                            "unauthorized": "is not allowed to use Bluetooth",
                            "unsupported": "There is no Bluetooth here"}.items():
            with self.subTest(fault):
                self.expect_end((DEMO, "--fault", f"radio={fault}"), 0, text)

    def test_of_a_device_that_could_not_start(self):
        self.expect_end((DEMO, "--devices", "fenwix", "--fault", "value=2A25:00000000"), 0,
                        "its serial number is 0", "Switch the Fenwix off and on")

    def test_of_a_bridge_that_cannot_be_started(self):
        self.expect_end(("/nowhere/vornix",), 127, "could not be started")

    def test_of_a_bridge_that_fails(self):
        self.expect_end(("sh", "-c", "exit 3"), 3, "ended with status 3")

    def test_of_a_bridge_that_stops_hard(self):
        session = self.open(DEMO, "--devices", "fenwix")
        self.assertEqual(session.end("CV_debutCalib"), -signal.SIGABRT)
        self.wait_for_notice("stopped hard (SIGABRT)")
        self.wait_for_notice("CV_debutCalib")

    def test_of_a_bridge_that_is_ended_by_a_signal(self):
        for number, text in {signal.SIGKILL: "ended by SIGKILL", signal.SIGTERM: "ended by SIGTERM",
                             signal.SIGPIPE: "host has closed the bridge's output"}.items():
            with self.subTest(text):
                self.expect_end(("sh", "-c", f"kill -{int(number)} $$"), -number, text)

    def test_of_a_scope_that_is_killed(self):
        session = self.open(DEMO, "--devices", "tramsel")
        os.kill(watcher(SCOPE, session), signal.SIGKILL)
        self.wait_for_notice("The scope does not answer")
        session.end()

    def test_of_a_host_that_does_not_read(self):
        session = self.open(DEMO, "--devices", "tramsel", "--control", "rate 2000")
        session.stall()
        self.wait_for_card("bridge", "host stalls")
        session.resume()
        self.wait_for_card("bridge", "running")
        session.end()

    def test_of_a_recording_that_has_ended(self):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "no-recording")
            file.write_text("mine", encoding="ascii")
            session = self.open("--record", str(file), DEMO)
            self.wait_for_notice("the session goes on")
            self.assertEqual(BROWSER.run("return document.getElementById('recording').innerText"),
                             "not recording")
            session.end()


class Strangers(PageTest):
    def test_get_nothing_from_a_page_of_another_origin(self):
        session = self.open(DEMO)
        where, secret = session.address.split("#")
        class Attack(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                self.send_response(200)
                self.send_header("Content-Type", "text/html")
                self.end_headers()
                self.wfile.write(b"<title>attack</title>")

            def log_message(self, *_):
                pass
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Attack)
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        BROWSER.open(f"http://127.0.0.1:{server.server_port}/")
        result = BROWSER.run_async("""
            const [where, secret, done] = arguments;
            const tries = [];
            for (const path of ["", "events", "document", "scope.css"]) {
              for (const headers of [{}, { Authorization: "Bearer " + secret }]) {
                tries.push(fetch(where + path, { headers }).then((a) => a.text(), () => "refused"));
              }
            }
            tries.push(fetch(where + "command", { method: "POST", body: "kill" })
              .then(() => "sent", () => "refused"));
            tries.push(fetch(where + "command", { method: "POST", body: "kill", mode: "no-cors" })
              .then((a) => a.type === "opaque" ? "refused" : "sent", () => "refused"));
            const frame = document.createElement("iframe");
            frame.src = where;
            document.body.append(frame);
            tries.push(new Promise((resolve) => { frame.onload = () => {
              try { resolve(frame.contentDocument?.title === "Vornix scope" ? "framed" : "refused"); }
              catch { resolve("refused"); } }; }));
            Promise.all(tries).then(done);""", where, secret)
        self.assertEqual(set(result), {"refused"})
        self.assertIsNone(session.process.poll())
        self.assertNotIn(b"cde : kill", session.output)
        BROWSER.open(where + "#" + "0" * 32)
        self.wait_for_notice("not the session's")
        session.end()

    def test_cannot_have_their_names_and_documents_taken_for_markup(self):
        document = json.dumps({MARKUP: [MARKUP, {"a": MARKUP}]}).encode()
        reply = b"\xAA\x13" + len(document).to_bytes(2, "little") + document
        session = self.open(DEMO, "--control", f"name Nomsuel{MARKUP}", "--devices", "fenwix",
                            "--fault", f"reply={reply.hex()}")
        self.wait_for_card("fenwix", "onerror=hacked")
        self.press("FX_getJson")
        BROWSER.wait("document.getElementById('tree').innerText.includes('<script>')")
        BROWSER.run("document.querySelectorAll('#tree details').forEach((d) => { d.open = true; })")
        session.write(MARKUP)
        BROWSER.wait("document.getElementById('lines').innerText.includes('<img src=x')")
        self.assertEqual(BROWSER.run("return [document.querySelectorAll('img, main script').length,"
                                     " typeof hacked]"), [0, "undefined"])
        self.assertEqual(BROWSER.complaints(), [])
        session.end()


def main():
    global BROWSER
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # the browser is ended as well
    try:
        BROWSER = Browser()
    except Unavailable as reason:
        print(f"SKIPPED: {reason}")
        return 77
    with BROWSER:
        program = unittest.main(argv=sys.argv[:1] + sys.argv[4:], exit=False)
    return 0 if program.result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
