#!/usr/bin/env python3
"""Holds what is said elsewhere against docs/messages.json.

  tables.py check TABLE PAGES DEMO MAN_PAGE    the pages' tables and examples, the demo's help
  tables.py write TABLE PAGE HELP              writes the page's tables, and the help's commands
"""

import re
import subprocess
import sys

import blocks
import table as tables
from bridge import without_time

NOTE = "<!-- {}: from messages.json -->"
END = "<!-- end -->"


# The page's tables


def _range(field):
    least, most = field.get("bytes") or field.get("text") or (field["least"], field["most"])
    kind = " bytes" if "bytes" in field else " characters" if "text" in field else ""
    return f"{least}..{most}{kind}"


def _described(name, field):
    if "choice" in field:
        return ", ".join(f"{value} {meaning}" for value, meaning in field["choice"].items() if meaning)
    more = [words for words in (field.get("unit"), field.get("note")) if words]
    return f"{name} {_range(field)}" + (f" ({', '.join(more)})" if more else "")


def _runs(fields):
    """Fields of one description are told together: "v1 to v9"."""
    runs = []
    for name, field in fields.items():
        field = {key: value for key, value in field.items() if key not in ("fact", "scale")}
        if runs and runs[-1][1] == field:
            runs[-1][0].append(name)
        else:
            runs.append(([name], field))
    for names, field in runs:
        yield f"{names[0]} to {names[-1]}" if len(names) > 2 else ", ".join(names), field


def payloads(message):
    """As people write them: one for each value of a choice, a run of numbered fields cut short."""
    texts = [message["payload"]]
    for name, field in message["fields"].items():
        if "choice" in field:
            texts = [text.replace("{%s}" % name, value) for text in texts for value in field["choice"]]
    plain = (re.sub(r"\{(\w+)\}", r"\1", text) for text in texts)
    return [re.sub(r"v1;.*v9;", "v1;...;v9;", text) for text in plain]


def _code(texts):
    return ", ".join(f"`{text}`" for text in texts)


def _row(cells):
    return "| " + " | ".join(cells) + " |"


def _table(rows):
    """The first row is the head."""
    lines = [_row(row) for row in rows]
    return [lines[0], "|" + len(rows[0]) * "---|", *lines[1:]]


def messages_table(table):
    rows = [["from", "payload", "when", "fields"]]
    for message in table["messages"]:
        fields = filter(None, (_described(*one) for one in _runs(message["fields"])))
        sender = message["from"]
        is_new = all(sender != row[0] for row in rows)
        rows.append([sender if is_new else "", _code(payloads(message)), message["when"], "; ".join(fields)])
    return _table(rows)


def words_of(command):
    """"FX_cmdWriteInt {code} {value}" as people write it."""
    return re.sub(r"\{(\w+)\}", lambda match: match[1].upper(), command["line"])


def _safe(table, command):
    """What it needs: the message that it waits for, and the characteristic that has to be there."""
    if "safeAfter" not in command:
        return "", ""
    message = next(one for one in table["messages"] if one["name"] == command["safeAfter"])
    return f"`{tables.parts(message['payload'])[0]}`", command.get("needs", "")


def commands_table(table):
    rows = [["command", "does", "safe after", "and with"]]
    for command in table["commands"]:
        arguments = command.get("arguments", {})
        ranges = ", ".join(f"{name.upper()} {_range(field)}" for name, field in arguments.items())
        does = command["does"] + (f" ({ranges})" if ranges else "")
        words, safe = f"`{words_of(command)}`", _safe(table, command)
        if safe[1] and safe == tuple(rows[-1][2:]):  # the other half of a pair
            rows[-1][0] += ", " + words
            rows[-1][1] += ", " + does
        else:
            rows.append([words, does, *safe])
    return _table(rows)


def rates_table(table):
    chosen = [one for one in table["messages"] if "rate" in one]
    kinds = [payloads(one)[0].partition(";")[0] for one in chosen]
    return _table([[f"`{kind};`" for kind in kinds], [str(one["rate"]) for one in chosen]])


def log_table(table):
    texts = [re.sub(r"\{(\w+)\}", lambda match: match[1].upper(), one["text"]) for one in table["log"]]
    means = [one["means"] for one in table["log"]]
    return _table([["text", "meaning"], *([f"`{text}`", mean] for text, mean in zip(texts, means))])


def made_tables(table):
    return {
        "log": log_table(table),
        "messages": messages_table(table),
        "commands": commands_table(table),
        "rates": rates_table(table),
    }


def sections(page):
    """The page's made tables by their names."""
    pattern = re.escape(NOTE).replace(r"\{\}", r"(\w+)") + r"\n(.*?)" + re.escape(END)
    return {name: text.splitlines() for name, text in re.findall(pattern, page, re.S)}


def with_tables(page, table):
    for name, lines in made_tables(table).items():
        begin = NOTE.format(name)
        pattern = re.escape(begin) + r"\n.*?" + re.escape(END)
        made = "\n".join([begin, *lines, END])
        page, count = re.subn(pattern, lambda _, made=made: made, page, flags=re.S)
        if count != 1:
            raise SystemExit(f"the page has {count} places for the table {name!r}")
    return page


# The demo's help


def help_lines(table):
    lines = ["The commands, one a line (docs/host-protocol.md says when each is safe):"]
    for command in table["commands"]:
        does = command["does"].partition(";")[0].replace("`", "")
        lines.append(f"  {words_of(command):<28}{does}")
    return lines


def with_help(source, table):
    made = "\n".join(help_lines(table)) + "\n"
    pattern = r"The commands, one a line[^\n]*\n(?:  (?:CV_|FX_|kill)[^\n]*\n)+"
    source, count = re.subn(pattern, lambda _: made, source)
    if count != 1:
        raise SystemExit("the help has no place for the commands")
    return source


# What is checked


def check_page(page, table):
    made, found = made_tables(table), sections(page)
    for name in sorted(made.keys() | found.keys()):
        if made.get(name) != found.get(name):
            yield f"the page's table {name!r} is not what messages.json gives"


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


def check_help(demo, table):
    shown = subprocess.run([demo, "--help"], check=True, capture_output=True, text=True).stdout
    if "\n".join(help_lines(table)) not in shown:
        yield "the demo's help has other commands"


def check_man_page(man_page, table):
    with open(man_page, encoding="utf-8") as file:
        text = file.read()
    for command in table["commands"]:
        if not re.search(rf"\b{command['line'].split()[0]}\b", text):
            yield f"the man page lacks {command['line']!r}"


def check_itself(page, table):
    """Changes of the table have to be found."""
    for kind, key in (("messages", "when"), ("commands", "does")):
        for one in table[kind]:
            kept, one[key] = one[key], one[key] + " never"
            if not list(check_page(page, table)):
                yield f"{one} is changed, and that is not found"
            one[key] = kept
    for message in table["messages"]:
        for name, field in message["fields"].items():
            if "most" in field:
                field["most"] += 1
                if not list(check_page(page, table)):
                    yield f"the range of {name} is changed, and that is not found"
                field["most"] -= 1


def _changed(one, key, value):
    """The same with another value, for as long as it is looked at."""
    kept, one[key] = one[key], value
    yield
    one[key] = kept


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


def check(table_path, page_path, demo, man_page):
    table = tables.load(table_path)
    page = blocks.read(page_path)
    failures = [
        *check_page(page, table), *check_examples(page, table), *check_shown(page, table),
        *check_roles(page, table), *check_families(page, table), *check_log(page, table),
        *check_channel(table), *check_help(demo, table), *check_man_page(man_page, table), *check_itself(page, table),
        *check_the_other_checks(page, table),
    ]  # fmt: skip
    print(*failures, f"{len(failures)} failures", sep="\n")
    return 1 if failures else 0


def write(table_path, page_path, help_path):
    table = tables.load(table_path)
    for path, change in ((page_path, with_tables), (help_path, with_help)):
        with open(path, encoding="utf-8") as file:
            text = file.read()
        with open(path, "w", encoding="utf-8") as file:
            file.write(change(text, table))
    return 0


if __name__ == "__main__":
    sys.exit({"check": check, "write": write}[sys.argv[1]](*sys.argv[2:]))
