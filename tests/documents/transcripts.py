"""The sessions of docs/host-protocol.md, played with the demo."""

import collections
import pathlib
import re
import shlex
import signal

import blocks
import table
from bridge import Bridge, Unexpected, without_time

Recording = collections.namedtuple("Recording", "lines status")

TABLE = table.load(pathlib.Path(__file__).parents[2] / "docs/messages.json")

# Whose a log line is that is no device's.
OWNERS = [
    ("host", r"<@ : c(de|ommande) "),
    ("failure", r"<@ : erreur "),
    ("scan", r"<@ : Stop Scan"),
    ("bridge", r"<@ : (Demarrage|manager state)"),
]


def message_of(line):
    """The message of the table that the line is; None for none."""
    framed = re.fullmatch(r"<([^@].*;)[0-9A-F]{4}>", line, re.S)
    kind = table.classify(TABLE, framed[1]) if framed else None
    return next(one for one in TABLE["messages"] if one["name"] == kind[0]) if kind else None


def is_streamed(line):
    message = message_of(line)
    return message is not None and "rate" in message


def _log_owner(line):
    name = re.match(r"<@ : (Device trouve :|Connexion a) (.*)>", line, re.S)
    for family in TABLE["families"] if name else []:
        if name[2].lower().startswith(tuple(family["names"])):
            return family["name"]
    for entry in TABLE["log"]:
        if "from" in entry and line.startswith("<@ : " + table.parts(entry["text"])[0]):
            return entry["from"]
    return next((owner for owner, pattern in OWNERS if re.match(pattern, line)), "nobody")


def owner_of(line):
    """Lines of one owner come in one order; those of different owners in any. Each stream is an
    owner of its own."""
    message = message_of(line)
    if message is None:
        return _log_owner(line)
    if "rate" in message:
        return line[: line.index(";") + 1]
    return "bridge" if message["from"] == "radio" else message["from"]


class Session:
    """A block: "$ command", steps ("<" of the bridge, ">" of the host), "= status"."""

    def __init__(self, lines):
        self.lines = [line for line in lines if not line.text.startswith("#")]
        self.first, *self.steps, self.end = self.lines
        self.arguments = shlex.split(self.first.text)[2:]

    def expected(self):
        return [line for line in self.steps if line.text.startswith("<")]

    def status(self):
        """As Bridge.status() has it; what is no status is none that a process can have."""
        text = self.end.text.removeprefix("= ")
        if text in signal.Signals.__members__:
            return -signal.Signals[text]
        return int(text) if text.isdecimal() else None

    def with_line(self, line, text):
        changed = blocks.Line(line.number, text)
        return Session([changed if one == line else one for one in self.lines])

    def without(self, line):
        return Session([one for one in self.lines if one != line])


def sessions(page):
    return [Session(block) for block in blocks.blocks(page, "transcript")]


def record(session, demo):
    """Plays the session: each command is sent once all lines that stand above it have come."""
    with Bridge([demo, *session.arguments]) as bridge:
        for place, step in enumerate(session.steps):
            if step.text.startswith("<"):
                wait_for(bridge, session.steps[: place + 1])
            else:
                bridge.send(step.text.removeprefix("> "))
        bridge.rest()
        return Recording(bridge.lines, bridge.status())


def wait_for(bridge, steps):
    wanted = collections.Counter(
        without_time(one.text) for one in steps if one.text.startswith("<")
    )
    while wanted - collections.Counter(bridge.lines):
        if bridge.next() is None:
            raise Unexpected(f"the bridge ended before {steps[-1].text!r}")


def compare(session, recording):
    """What the page has and the recording has not, or has in another order, or the reverse."""
    failures = []
    if recording.status != session.status():
        failures.append(f"line {session.end.number}: it ended with {recording.status}")
    rest = collections.defaultdict(list)
    for line in recording.lines:
        rest[owner_of(line)].append(line)
    for line in session.expected():
        text = without_time(line.text)
        owner = owner_of(text)
        come = rest[owner]
        if text not in come:
            failures.append(f"line {line.number}: {line.text!r} does not come")
            continue
        passed = come[: come.index(text)]
        if passed and not is_streamed(text):
            failures.append(f"line {line.number}: {passed} comes before {line.text!r}")
        rest[owner] = come[come.index(text) + 1 :]
    for owner, lines in rest.items():
        if lines and not is_streamed(lines[0]):
            failures.append(f"not on the page: {lines}")
    return failures


def all_expected(page):
    return [line for session in sessions(page) for line in session.expected()]


def check(page, programs):
    failures = []
    for session in sessions(page):
        try:
            failures += compare(session, record(session, programs.demo))
        except Unexpected as error:
            failures.append(f"line {session.first.number}: {error}")
    return failures


def check_all(page, programs):
    """The same, and that somebody of every kind has spoken."""
    shown = {owner_of(without_time(one.text)) for one in all_expected(page)}
    speakers = [*(one["name"] for one in TABLE["families"]), *(name for name, _ in OWNERS)]
    missing = set(speakers) - shown
    return check(page, programs) + [f"no session shows {name}" for name in sorted(missing)]
