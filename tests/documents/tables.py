#!/usr/bin/env python3
"""Holds what is said elsewhere against docs/messages.json.

  tables.py check ROOT BRIDGE DEMO MAN_PAGE    what is made from it (made.py), the pages' examples,
                                               the helps of the programs
  tables.py write ROOT                         writes what is made from it
"""

import pathlib
import re
import subprocess
import sys

import blocks
import made
import table as tables
from bridge import without_time

PAGES = ("docs/host-protocol.md", "docs/device-values.md")


# What is checked


def check_made(root, table):
    for place in made.wrong(root, table):
        yield f"{place}: not what messages.json gives"


def check_examples(page, table):
    """The page's examples are taken to the programs: what stands there is true."""
    shown = set(re.findall(r"<([^<>@]*;)[0-9A-F]{4}>", page))
    for message in table["messages"]:
        for example in message["examples"]:
            if example["payload"] not in shown:
                yield f"the page has no example {example['payload']!r}"
            if tables.classify(table, example["payload"]) != (message["name"], example["fields"]):
                yield f"{example['payload']!r} is not the {message['name']} that it is said to be"
    played = {line.text for line in blocks.lines(page, "commands")} | set(_sent(page))
    for command in table["commands"]:
        for example in command["examples"]:
            effect = " " + example["effect"] if "effect" in example else ""
            line = f"{example['line']} -> <@ : {command['log']}>{effect}"
            if line not in played:
                yield f"the page's commands lack {line!r}"


def _sent(page):
    """The commands of the sessions, in the form of the commands' block."""
    for block in blocks.blocks(page, "transcript"):
        for line, answer in zip(block, block[1:]):
            if line.text.startswith("> "):
                yield f"{line.text[2:]} -> {without_time(answer.text)}"


def check_shown(page, table):
    """Every message of the page's examples is one of the table, and has what precedes it."""
    came = set()
    for block in blocks.blocks(page, "transcript"):
        came.clear()
        for line in block:
            match = re.fullmatch(r"<([^@].*;)[0-9A-F]{4}>", line.text)
            if not match:
                continue
            kind = tables.classify(table, match[1])
            if kind is None:
                yield f"line {line.number}: {line.text!r} is none of messages.json"
                continue
            message = next(one for one in table["messages"] if one["name"] == kind[0])
            if "after" in message and not came & set(message["after"]):
                yield f"line {line.number}: {line.text!r} comes too early"
            came.add(kind[0])


def roles(table, role):
    return {one["name"] for one in table["messages"] if one.get("role") == role}


def check_roles(page, table):
    """Found and ready come once, and before all else; a stream comes unless it has to be asked for."""
    asked = {
        one["name"]: {line.replace("{value}", "0") for line in one.get("answers", [])}
        for one in table["messages"]
    }
    sender = {one["name"]: one["from"] for one in table["messages"]}
    streams = set()
    for block in blocks.blocks(page, "transcript"):
        came, sent = [], set()
        for line in block:
            sent.add(line.text.removeprefix("> "))
            match = re.fullmatch(r"<([^@].*;)[0-9A-F]{4}>", line.text)
            name = tables.classify(table, match[1])[0] if match else None
            if name is None:
                continue
            if name in roles(table, "found") and sender[name] in [sender[one] for one in came]:
                yield f"line {line.number}: {line.text!r} is not the first of its device"
            if name in roles(table, "ready") and name in came:
                yield f"line {line.number}: {line.text!r} comes twice"
            if came and came[-1] in roles(table, "end"):
                yield f"line {line.number}: {line.text!r} comes after the end"
            if asked[name] and not sent & asked[name]:
                yield f"line {line.number}: {line.text!r} was not asked for"
            came.append(name)
        streams |= {name for name in roles(table, "stream") if came.count(name) > 1}
    asking = {line.text[2:] for line in blocks.lines(page, "transcript") if line.text.startswith("> ")}
    for line in asking:
        if line in {f"FX_cmdWrite{kind} 19 0" for kind in ("Int", "Byte")}:
            if line not in asked["FenwixJson"]:
                yield f"{line!r} is no question for the document"
    if streams != roles(table, "stream"):
        yield f"no session shows {roles(table, 'stream') - streams} to go on"
    ready = {one["safeAfter"] for one in table["commands"] if "safeAfter" in one}
    if ready != roles(table, "ready"):
        yield "what commands wait for are not the messages of a device that is ready"


def check_families(page, table):
    """The names of the page are taken to the program: each beginning is among them."""
    used = set()
    for line in blocks.lines(page, "names"):
        name, _, result = line.text.partition(" -> ")
        message = re.search(r"<(C;.*;)[0-9A-F]{4}>", result)
        found = tables.classify(table, message[1])[0] if message else None
        if not name.lower().startswith(tuple(one for family in table["families"] for one in family["names"])):
            yield f"line {line.number}: {name!r} is of no family"
        for family in table["families"]:
            beginnings = [one for one in family["names"] if name.lower().startswith(one)]
            used |= set(beginnings)
            if beginnings and family.get("found") != found:
                yield f"line {line.number}: {name!r} is no {family['name']}"
    unused = {one for family in table["families"] for one in family["names"]} - used
    if unused:
        yield f"no name begins with {sorted(unused)}"
    told = {one.get(role) for one in table["families"] for role in ("found", "ready")} - {None}
    if told != roles(table, "found") | roles(table, "ready"):
        yield "the families' messages are not those that are found or ready"


def check_log(page, table):
    """Each line of the log stands in a session, which is taken to the program."""
    lines = blocks.lines(page, "transcript")
    shown = [without_time(line.text) for line in lines if line.text.startswith("<@")]
    for entry in table["log"]:
        texts = tables.parts(entry["text"])
        pattern = "".join(".*" if i % 2 else re.escape(text) for i, text in enumerate(texts))
        if not any(re.fullmatch(f"<@ : {pattern}>", line) for line in shown):
            yield f"no session shows {entry['text']!r}"


def check_channel(table):
    """What waits for the document is what writes to the characteristic that it comes from."""
    writes = {}
    for command in table["commands"]:
        effects = {one.get("effect", "- -").split()[1] for one in command["examples"]}
        if len(effects) > 1:
            yield f"{command['line']!r} writes to {effects}"
        writes.setdefault(effects.pop(), []).append(command)
    for channel, commands in writes.items():
        waits = {one.get("notDuring") for one in commands}
        if waits != ({"FenwixJson"} if channel == "3A93" else {None}):
            yield f"what writes to {channel} waits for {waits}"
    for command in table["commands"]:
        if "stop" in command:
            stop = next(one for one in table["commands"] if one["line"] == command["stop"])
            if stop.get("needs") != command.get("needs"):
                yield f"{command['stop']!r} is another characteristic's"


def check_help(program, place, table):
    shown = subprocess.run([program, "--help"], check=True, capture_output=True, text=True).stdout
    if place.found(shown) != place.made(table):
        yield f"{program} --help has others"


def check_man_page(man_page, table):
    with open(man_page, encoding="utf-8") as file:
        text = file.read()
    for command in table["commands"]:
        if not re.search(rf"\b{command['line'].split()[0]}\b", text):
            yield f"the man page lacks {command['line']!r}"


def _changed(one, key, value):
    """The same with another value, for as long as it is looked at."""
    kept, one[key] = one[key], value
    yield
    one[key] = kept


def check_itself(root, table):
    """Changes of the table have to be found, where they are written: so many places for each."""
    changes = [(one, "when", one["when"] + " never", 1) for one in table["messages"]]
    changes += [(one, "does", "never " + one["does"], 3) for one in table["commands"]]
    changes += [(one, "is", one["is"] + "s", 3) for one in table["families"]]
    changes += [(one, "log", one["log"] + "s", 1) for one in table["commands"] if "effect" in one["examples"][0]]
    changes += [(field, "most", field["most"] + 1, 1) for one in table["messages"]
                for field in one["fields"].values() if "most" in field]  # fmt: skip
    for one, key, value, places in changes:
        for _ in _changed(one, key, value):
            if len(list(made.wrong(root, table))) != places:
                yield f"{key} {value!r} is not found to be wrong in {places} places"


def check_the_other_checks(page, table):
    """Changes of what no made table shows."""
    changes = [(one, "role", "found") for one in table["messages"] if one.get("role") in ("stream", "end")]
    changes += [(one, "role", "stream") for one in table["messages"] if one.get("role") in ("found", "ready")]
    changes += [(one, "text", one["text"] + "x") for one in table["log"]]
    changes += [(one, "names", one["names"] + ["x"]) for one in table["families"]]
    changes += [(one, "names", one["names"][1:]) for one in table["families"] if one["names"][1:]]
    changes += [(one, "notDuring", None) for one in table["commands"] if "notDuring" in one]
    changes += [(one, "answers", one["answers"][:-1]) for one in table["messages"] if one["name"] == "FenwixJson"]
    for one, key, value in changes:
        for _ in _changed(one, key, value):
            checks = (check_roles, check_families, check_log)
            if not any(list(check(page, table)) for check in checks) and not list(check_channel(table)):
                yield f"{key} {value!r} is not found to be wrong"


def check(root, bridge, demo, man_page):
    table = tables.load(pathlib.Path(root, "docs/messages.json"))
    page = blocks.read(",".join(f"{root}/{path}" for path in PAGES))
    failures = [
        *check_made(root, table), *check_examples(page, table), *check_shown(page, table),
        *check_roles(page, table), *check_families(page, table), *check_log(page, table),
        *check_channel(table), *check_help(demo, made.COMMANDS_HELP, table),
        *check_help(bridge, made.FAMILIES_HELP, table), *check_man_page(man_page, table),
        *check_itself(root, table), *check_the_other_checks(page, table),
    ]  # fmt: skip
    print(*failures, f"{len(failures)} failures", sep="\n")
    return 1 if failures else 0


def write(root):
    made.write(root, tables.load(pathlib.Path(root, "docs/messages.json")))
    return 0


if __name__ == "__main__":
    sys.exit({"check": check, "write": write}[sys.argv[1]](*sys.argv[2:]))
