"""The sessions of docs/host-protocol.md, played with the demo."""

import collections
import re
import shlex
import signal

import blocks
from bridge import Bridge, Unexpected, without_time

Recording = collections.namedtuple("Recording", "lines status")

# Whose a line is. Lines of one owner come in one order; those of different owners in any.
OWNERS = [
    ("tramsel", r"<C;3;|<@ : (Device trouve : tramsel|Connexion a Tramsel)"),
    ("probe", r"<C;[12];|<@ : (Device trouve|Connexion a) (: )?(ilo|ILO|tenoval|Tenoval)"),
    ("corvelta", r"<C;4;|<K;[NE]C;|<V;|<@ : (Connexion a Tarvix|version FW|Corvelta en charge)"),
    ("fenwix", r"<C;5;|<P0;|<PJSON;|<@ : (Connexion a Nomsuel|didUpdateNotificationStateFor)"),
    ("host", r"<@ : c(de|ommande) "),
    ("failure", r"<@ : [Ee]rreur "),
    ("scan", r"<@ : Stop Scan"),
    ("bridge", r"<@ : (Demarrage|manager state)|<Z;"),
]
STREAMED = r"<(B|S|P1|P2|PR1|PR2|K;MC);"


def owner_of(line):
    streamed = re.match(STREAMED, line)
    if streamed:
        return streamed.group()
    owners = [name for name, pattern in OWNERS if re.match(pattern, line)]
    return owners[0] if owners else "nobody"


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
        if passed and not re.match(STREAMED, text):
            failures.append(f"line {line.number}: {passed} comes before {line.text!r}")
        rest[owner] = come[come.index(text) + 1 :]
    for owner, lines in rest.items():
        if lines and not re.match(STREAMED, lines[0]):
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
    missing = {name for name, _ in OWNERS} - shown
    return check(page, programs) + [f"no session shows {name}" for name in sorted(missing)]
