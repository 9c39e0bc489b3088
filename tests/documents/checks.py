"""What takes the examples of docs/host-protocol.md and docs/device-values.md to the programs. Each check returns failures."""

import collections
import json
import random
import re
import signal
import subprocess

import blocks
import devices
from bridge import Bridge, Unexpected

Programs = collections.namedtuple("Programs", "demo scripted checksum")

READY = {"corvelta": "<C;4;0;", "fenwix": "<C;5;0;"}
COMMAND_CHANNEL_IS_OPEN = "<@ : didUpdateNotificationStateFor 3A93 : ok>"


class Failures(list):
    def add(self, line, reason):
        self.append(f"line {line.number}: {line.text!r}: {reason}")

    def expect(self, line, found, expected):
        if found != expected:
            self.add(line, f"found {found!r}, not {expected!r}")


def framed(payloads, programs):
    output = subprocess.run([programs.checksum, *payloads], check=True, capture_output=True)
    return output.stdout.decode("ascii")


# Checksums


def vectors(page):
    for line in blocks.lines(page, "checksum"):
        text, _, digits = line.text.rpartition(" -> ")
        yield line, json.loads(text), digits


def check_checksums(page, programs):
    failures = Failures()
    count = 0
    for line, payload, digits in vectors(page):
        count += 1
        failures.expect(line, f"<{payload}{digits}>\n", framed([payload], programs))
    return failures or enough(count, 10, "checksum vectors")


def check_frames(page, programs):
    """Every message that stands anywhere on a page."""
    failures = Failures()
    for number, text in enumerate(page.splitlines(), 1):
        for payload, digits in re.findall(r"<([A-Z][^<>]*;)([0-9A-F]{4})>", text):
            found = framed([payload], programs)
            failures.expect(blocks.Line(number, text), found, f"<{payload}{digits}>\n")
    return failures


def enough(count, least, what):
    return [] if count >= least else [f"{count} {what}: fewer than {least}"]


def payloads_to_try(page):
    """Those of the page, and many that nobody has chosen."""
    chance = random.Random(1)
    texts = [payload for _, payload, _ in vectors(page)]
    for _ in range(300):
        size = chance.randrange(60)
        texts.append("".join(chance.choice("\r\n;<>0A\x01~\x7f") for _ in range(size)))
    return texts


def check_python(page, programs):
    space = {}
    exec(blocks.text(page, "python"), space)  # the page's own code is what is tested
    texts = payloads_to_try(page)
    ours = "".join(f"<{text}{space['checksum'](text.encode()):04X}>\n" for text in texts)
    return [] if ours == framed(texts, programs) else ["the Python code gives other checksums"]


# The radio and the names of devices


def results(text):
    """The lines that "<...> <...>" lists."""
    return re.findall(r"<.*?>(?= <|$)", text)


def play(words, programs):
    return Bridge([programs.scripted, *words])


def check_radio_state(line, programs):
    failures = Failures()
    state, _, result = line.text.partition(" -> ")
    with play(["state=" + state], programs) as bridge:
        bridge.until(lambda one: one == f"<@ : manager state update : {state}>")
        failures.expect(line, (bridge.rest(), bridge.status()), (results(result), 0))
    return failures


def check_name(line, programs):
    failures = Failures()
    name, _, result = line.text.partition(" -> ")
    with play(["device=" + name], programs) as bridge:
        bridge.until(lambda one: one == f"<@ : Device trouve : {name.lower()}>")
        failures.expect(line, [bridge.next() for _ in results(result)], results(result))
    return failures


def check_lines(kind, check, least):
    """A check of all lines of a kind, one by one."""

    def check_page(page, programs):
        failures, lines = [], blocks.lines(page, kind)
        for line in lines:
            failures += guarded(check, line, line, programs)
        return failures or enough(len(lines), least, kind)

    return check_page


# Values


def is_value_line(line):
    return not re.match(r"<C;[123];|<@ : cde : ", line) and line != COMMAND_CHANNEL_IS_OPEN


def first_value_line(bridge):
    """Or None where the bridge ends without one."""
    while (line := bridge.next()) is not None and not is_value_line(line):
        pass
    return line


RAW = {"3A87": "FX_startRaw", "3A88": "FX_startRaw2"}


def start_raw_streams(bridge):
    """Their values come after the log line of the command."""
    bridge.until(lambda line: line.startswith(READY["fenwix"]))
    for command in RAW.values():
        bridge.send(command)
    bridge.until(lambda line: line == "<@ : cde : start raw>")


def parsed_values(paragraph):
    """The device, its values, and the lines that they give."""
    values, expected = [], []
    for line in paragraph:
        value, _, result = line.text.partition("->")
        device, characteristic, *hexadecimal = value.split()
        values.append((characteristic, "".join(hexadecimal)))
        expected.append(results(result.strip()))
    return device, values, expected


def check_paragraph(paragraph, programs):
    """The values of a paragraph, from one device."""
    failures = Failures()
    last = paragraph[-1]
    device, values, expected = parsed_values(paragraph)
    if not expected[-1]:
        failures.add(last, "the last value of a paragraph has to give a line")
        return failures
    expected = sum(expected, [])
    is_raw = values[0][0] in RAW
    words = devices.sending(device, values) if is_raw else devices.playing(device, values)
    with play(words, programs) as bridge:
        if is_raw:
            start_raw_streams(bridge)
        else:
            bridge.until(lambda line: line.startswith("<@ : Connexion a "))
        found = [first_value_line(bridge) for _ in expected]
        bridge.close_input()
        found += filter(is_value_line, bridge.rest())
        failures.expect(last, found, expected)
        failures.expect(last, (bridge.status(), bridge.errors()), (0, ""))
    return failures


def guarded(check, line, *arguments):
    """The check's failures, or the one that it could not go on with."""
    try:
        return check(*arguments)
    except (Unexpected, ValueError) as error:
        failures = Failures()
        failures.add(line, str(error))
        return failures


def check_values(page, programs):
    failures, count = [], 0
    for paragraph in blocks.paragraphs(page, "values"):
        count += len(paragraph)
        failures += guarded(check_paragraph, paragraph[-1], paragraph, programs)
    return failures or enough(count, 30, "values")


# Commands


def check_plain_command(line, command, log, programs):
    failures = Failures()
    with play([], programs) as bridge:
        bridge.until(lambda one: one.endswith("poweredOn>"))
        bridge.send(command)
        failures.expect(line, bridge.next(), log)
        bridge.close_input()
        failures.expect(line, (bridge.rest(), bridge.status()), ([], 0))
    return failures


CALIBRATION = "0860AC22-B172-468E-9755-03A53F3C7E40"
ACQUISITION = "5B4153A2-3F1C-4DC4-872E-E43265446878"
START = {CALIBRATION: "CV_debutCalib", ACQUISITION: "CV_debutAcquisition"}

# How an effect on a device is seen: the device, which tells it by another of its values; that
# value; and a command that comes behind, with the value that tells of it in turn.
Stage = collections.namedtuple("Stage", "words told marker_command marker")


def corvelta_stage(characteristic, action):
    (other,) = set(START) - {characteristic}
    more = {
        characteristic: ["echo=" + devices.NEW_CALIBRATION],
        other: ["echo=" + devices.CALIBRATION_ERROR],
    }
    words = devices.complete("corvelta", more)
    return Stage(words, f"K;NC;{int(action, 16)};", START[other], "<K;EC;1;")


def fenwix_write_stage(characteristic, action):
    more = {"3A87": ["tell=" + devices.BATTERY], characteristic: ["echo=3A87"]}
    return Stage(devices.complete("fenwix", more), f"PR1;{action};", "FX_stopRaw", "<P0;0;1;")


def fenwix_switch_stage(characteristic, action):
    tell, echo = "tell=" + devices.BATTERY, "echo=" + devices.BATTERY
    words = devices.complete("fenwix", {characteristic: [tell], devices.COMMAND: [echo]})
    told = f"P0;{['off', 'on'].index(action)};1;"
    return Stage(words, told, "FX_cmdWriteByte 99 0", "<P0;99;1;")


def stage_for(device, characteristic, action):
    if device == "corvelta":
        return corvelta_stage(characteristic, action)
    if action in ("on", "off"):
        return fenwix_switch_stage(characteristic, action)
    return fenwix_write_stage(characteristic, action)


def preparation_of(command):
    """What has to be on for the effect to be seen."""
    if command.startswith("FX_start"):
        return None
    return command.replace("stop", "start") if command.startswith("FX_stop") else "FX_startRaw"


def check_device_command(line, command, log, effect, programs):
    failures = Failures()
    device, characteristic, action = effect.split()
    stage = stage_for(device, characteristic, action)
    with play(stage.words, programs) as bridge:
        bridge.until(lambda one: one.startswith(READY[device]))
        preparation = preparation_of(command)
        if device == "fenwix" and preparation:
            bridge.send(preparation)
            bridge.until(lambda one: one.startswith("<P0;1;1;"))
        bridge.send(command)
        failures.expect(line, bridge.until(lambda one: one.startswith("<@ : c"))[-1], log)
        bridge.send(stage.marker_command)
        come = bridge.until(lambda one: one.startswith(stage.marker))
        messages = [one for one in come[:-1] if not one.startswith("<@")]
        failures.expect(line, messages, [framed([stage.told], programs).rstrip("\n")])
    return failures


def check_commands(page, programs):
    failures, count = [], 0
    for line in blocks.lines(page, "commands"):
        count += 1
        command, _, result = line.text.partition(" -> ")
        log, effect = re.fullmatch(r"(<.*>)(?: ([^<>]*))?", result).groups()
        if effect is None:
            failures += guarded(check_plain_command, line, line, command, log, programs)
        else:
            failures += guarded(check_device_command, line, line, command, log, effect, programs)
    return failures or enough(count, 12, "commands")


# What ends the bridge abnormally


def send_when_ready(bridge, who, command):
    sign = READY.get(who, "<@ : manager state update : poweredOn>")
    bridge.until(lambda line: line.startswith(sign))
    bridge.send(command)
    bridge.close_input()  # a bridge that survives ends here, with another status


def check_abort(line, programs):
    """Either "device characteristic bytes", or "device command", or "command command"."""
    failures = Failures()
    who, what = line.text.split(" ", 1)
    is_command = who == "command" or what.startswith(("FX_", "CV_"))
    if is_command:
        words = [] if who == "command" else devices.complete(who)
    else:
        characteristic, *value = what.split()
        words = devices.playing(who, [(characteristic, "".join(value))])
    with play(words, programs) as bridge:
        if is_command:
            send_when_ready(bridge, who, what)
            bridge.rest()
        else:
            bridge.until(lambda one: one.startswith("<@ : Connexion a "))
            shown = first_value_line(bridge)
            if shown is not None:
                raise Unexpected(f"the bridge goes on: {shown!r}")
        failures.expect(line, bridge.status(), -signal.SIGABRT)
        failures.expect(line, bridge.errors(), "")
    return failures


ALL = {
    "checksum": check_checksums,
    "python": check_python,
    "radio": check_lines("radio", check_radio_state, 4),
    "names": check_lines("names", check_name, 9),
    "values": check_values,
    "commands": check_commands,
    "aborts": check_lines("aborts", check_abort, 12),
}
