"""Facts that follow from docs/messages.json, for the generators of both languages."""

import re


def parts(template):
    """Constant texts and names of fields alternately: "P{stream};" gives "P", "stream", ";"."""
    return re.split(r"\{(\w+)\}", template)


def check(table):
    """What a curve shows is nowhere kept for the device's card."""
    for message in table["messages"]:
        for name, field in message["fields"].items():
            is_fact = "plot" not in message or "absent" in field
            assert "fact" not in field or is_fact, f"{message['name']}: {name} is a curve, and no fact"


def is_number(field):
    return "least" in field


def members(message):
    """The members of a message's type, each as name, field, count. Numbered fields, "v1" to "v9",
    are one array "values" with this count."""
    found = []
    for name, field in message["fields"].items():
        if not re.fullmatch(r"v\d+", name):
            found.append((name, field, 0))
        elif name == "v1":
            count = sum(re.fullmatch(r"v\d+", other) is not None for other in message["fields"])
            found.append(("values", field, count))
    return found


def numbers_of(field):
    """The first and the last key of a choice, whose keys are consecutive numbers."""
    keys = [int(key) for key in field["choice"]]
    assert keys == list(range(keys[0], keys[-1] + 1)), "a choice has a gap"
    return keys[0], keys[-1]


def choices(text, message):
    """The text, such as "rms {stream}", once for each key of the choice that it names."""
    names = parts(text)[1::2]
    if not names:
        return [text]
    (name,) = names
    return [text.replace("{%s}" % name, key) for key in message["fields"][name]["choice"]]


def word(command):
    return command["line"].split()[0]


def by_name(ones, name):
    return next((one for one in ones if one["name"] == name), None)


def family(table, message):
    """The family that sends a message; None if no device sends it."""
    return by_name(table["families"], message["from"])


def ready_families(table):
    return [one for one in table["families"] if "ready" in one]


def needed_family(table, command):
    """The family whose device has to be ready for a command; None if none has to."""
    return next((one for one in ready_families(table) if one["ready"] == command.get("safeAfter")), None)


def streams(table, message):
    """The names of a message's streams, each with the command that stops it, or "" if the device
    streams without a command."""
    if "stream" not in message:
        return []
    names = choices(message["stream"], message)
    stops = {word(one): one.get("stop", "") for one in table["commands"]}
    return list(zip(names, [stops[asked] for asked in message.get("answers", [])] or [""] * len(names)))


def most_value(command):
    """The largest second argument of a command; 0 if it has no arguments. The first argument is a
    code of one byte."""
    arguments = command.get("arguments", {})
    if not arguments:
        return 0
    assert list(arguments) == ["code", "value"] and arguments["code"] == {"least": 0, "most": 255}
    return arguments["value"]["most"]


def begins_only(command):
    return command.get("match") == "beginning"


def title(message):
    return f'"{message["payload"]}": {message["when"]}.'


def note(field, count):
    """The comment of a field, for people."""
    words = [field.get("note"), field.get("unit")]
    if "absent" in field:
        words[0] = f"absent: {words[0]}"
    if is_number(field):
        of = f"{count} of " if count else ""
        least = field["least"] if "absent" not in field else field["absent"] + 1
        words.insert(0, f"{of}{least} to {field['most']}")
    return ", ".join(filter(None, words))
