"""What is written from docs/messages.json into pages, the man page and the helps of the programs:
where, and what."""

import pathlib
import re
import textwrap

import table as tables


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
        when = ("stream: " if message.get("role") == "stream" else "") + message["when"]
        rows.append([sender if is_new else "", _code(payloads(message)), when, "; ".join(fields)])
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


def _does(command):
    arguments = command.get("arguments", {})
    ranges = ", ".join(f"{name.upper()} {_range(field)}" for name, field in arguments.items())
    return command["does"] + (f" ({ranges})" if ranges else "")


def _pairs(table):
    """The commands, each with its other half."""
    stops = {command.get("stop") for command in table["commands"]}
    for command in table["commands"]:
        if command["line"] not in stops:
            yield [command, *(one for one in table["commands"] if one["line"] == command.get("stop"))]


def commands_table(table):
    rows = [["command", "does", "safe after", "and with"]]
    for pair in _pairs(table):
        does = ", ".join(map(_does, pair))
        rows.append([_code(map(words_of, pair)), does, *_safe(table, pair[0])])
    return _table(rows)


def man_page_commands(table):
    """Each behind the family that has to be ready for it."""
    owner = {family.get("ready"): f"{family['name']}: " for family in table["families"]}
    for pair in _pairs(table):
        words = ' ", " '.join(words_of(one).replace(" ", r"\~") for one in pair)
        does = ", ".join(map(_does, pair))
        yield from (".TP", f".BR {words}", owner.get(pair[0].get("safeAfter", ""), "") + does)


def effects(table):
    """The commands' examples: a block that is taken to the programs."""
    lines = ["```commands"]
    for command in table["commands"]:
        for example in command["examples"]:
            if "effect" in example:
                lines.append(f"{example['line']} -> <@ : {command['log']}> {example['effect']}")
    return [*lines, "```"]


def families_table(table):
    rows = [["family", "its devices' names begin with", "found", "ready"]]
    payload = {one["name"]: payloads(one) for one in table["messages"]}
    for family in table["families"]:
        told = (_code(payload.get(family.get(role), [])) for role in ("found", "ready"))
        rows.append([f"{family['name']} ({family['is']})", _code(family["names"]), *told])
    return _table(rows)


def families_named(table):
    names = ", ".join(f"{one['name']} ({one['is']})" for one in table["families"])
    return textwrap.wrap(names + ".", 96)


def families_help(table):
    """Columns, as wide as what stands in them."""
    width = {key: max(len(one[key]) for one in table["families"]) for key in ("name", "is")}
    for one in table["families"]:
        yield f"  {one['name']:<{width['name']}}  {one['is']:<{width['is']}}  {', '.join(one['names'])}"


def rates_table(table):
    chosen = [one for one in table["messages"] if "rate" in one]
    kinds = [payloads(one)[0].partition(";")[0] for one in chosen]
    return _table([[f"`{kind};`" for kind in kinds], [str(one["rate"]) for one in chosen]])


def log_table(table):
    texts = [re.sub(r"\{(\w+)\}", lambda match: match[1].upper(), one["text"]) for one in table["log"]]
    means = [one["means"] for one in table["log"]]
    return _table([["text", "meaning"], *([f"`{text}`", mean] for text, mean in zip(texts, means))])


def commands_help(table):
    for command in table["commands"]:
        does = command["does"].partition(";")[0].replace("`", "")
        yield f"  {words_of(command):<28}{does}"


class Place:
    """Lines of a file, between two texts that stand once in it."""

    def __init__(self, path, begin, end, make):
        self.path, self._begin, self._end, self._make = path, begin, end, make

    def made(self, table):
        return "".join("\n" + line for line in self._make(table))

    def _pattern(self):
        return f"({re.escape(self._begin)})(.*?)({re.escape(self._end)})"

    def found(self, text):
        (found,) = re.findall(self._pattern(), text, re.S)
        return found[1]

    def written(self, text, table):
        return re.sub(self._pattern(), lambda match: match[1] + self.made(table) + match[3], text, flags=re.S)

    def __str__(self):
        return f"{self.path}, behind {self._begin!r}"


def _in_page(path, name, make):
    return Place(path, f"<!-- {name}: from messages.json -->", "\n<!-- end -->", make)


# Of a help, up to the next empty line.
COMMANDS_HELP = Place("lab/demo/Options.cpp", "\nThe commands, one a line (docs/host-protocol.md says when"
                      " each is safe):", "\n\n", commands_help)  # fmt: skip
FAMILIES_HELP = Place("src/Help.cpp", "\nThe families, and what their devices' names begin with:",
                      "\n\n", families_help)  # fmt: skip

PLACES = [
    _in_page("docs/host-protocol.md", "messages", messages_table),
    _in_page("docs/host-protocol.md", "commands", commands_table),
    _in_page("docs/host-protocol.md", "families", families_table),
    _in_page("docs/host-protocol.md", "log", log_table),
    _in_page("docs/host-protocol.md", "rates", rates_table),
    _in_page("docs/device-values.md", "effects", effects),
    _in_page("README.md", "families", families_named),
    Place("docs/vornix.1", '\n.\\" Commands: from messages.json', '\n.\\" end', man_page_commands),
    COMMANDS_HELP,
    FAMILIES_HELP,
]


def wrong(root, table):
    """The places that are not as they would be written."""
    for place in PLACES:
        if place.found(_read(root, place.path)) != place.made(table):
            yield place


def write(root, table):
    for place in PLACES:
        text = place.written(_read(root, place.path), table)
        pathlib.Path(root, place.path).write_text(text, encoding="utf-8")


def _read(root, path):
    return pathlib.Path(root, path).read_text(encoding="utf-8")
