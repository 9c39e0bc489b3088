"""docs/messages.json: what a payload is by it, and payloads that lie at its borders.

  classify(table, "S;80;4660;0;")     ("ProbeMeasurement", {"battery": 80, "first": 4660, ...})
  borders(table)                      payloads, right ones and nearly right ones
"""

import json
import random
import re

_INTEGER = re.compile(r"0|-?[1-9][0-9]*")


def load(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def parts(template):
    """Constant texts and names of fields in turn: "P{stream};" gives "P", "stream", ";"."""
    return re.split(r"\{(\w+)\}", template)


def filled(template, values):
    texts = parts(template)
    texts[1::2] = [str(values[name]) for name in texts[1::2]]
    return "".join(texts)


def _pattern(message):
    texts = parts(message["payload"])
    pattern = ""
    for place, text in enumerate(texts):
        if place % 2 == 0:
            pattern += re.escape(text)
        elif "text" in message["fields"][text]:
            pattern += "(.*)"
        elif "choice" in message["fields"][text]:
            pattern += "([0-9])"
        else:
            pattern += "([^;]*)"
    return pattern


def value_of(text, field):
    """The field's value, or None where this text is none of it."""
    if "choice" in field:
        return text if text in field["choice"] else None
    if "bytes" in field:
        return text if re.fullmatch("([0-9A-F]{2})*", text) else None
    if "text" in field:
        return text if text.isascii() else None
    if not _INTEGER.fullmatch(text):
        return None
    number = int(text)
    return number if field["least"] <= number <= field["most"] else None


def classify(table, payload):
    """The name and the fields of the message that this payload is; None for none."""
    for message in table["messages"]:
        match = re.fullmatch(_pattern(message), payload, re.S)
        if not match:
            continue
        names = parts(message["payload"])[1::2]
        values = [value_of(text, message["fields"][name]) for name, text in zip(names, match.groups())]
        if None not in values:
            return message["name"], dict(zip(names, values))
    return None


def _nearly(field, value):
    """Texts at and beyond the borders of a field."""
    if "choice" in field:
        return ["", "0", "1", "2", "3", "4", "5", "9", "01", "-1"]
    if "bytes" in field:
        return ["", "0", "00", "0a", "0G", "000", "FF00", "-1", "00;00"]
    if "text" in field:
        return ["", ";", "a;b", "<V;3E2E>\n", "\r\n", "x" * field["text"][1]]
    least, most = field["least"], field["most"]
    numbers = [least - 1, least, -1, 0, 1, most, most + 1, most * 10]
    return [*map(str, numbers), "", "-", "-0", f"0{value}", f"+{value}", f" {value}", f"{value} ",
            f"{value}.0", "0x1", "1e3"]  # fmt: skip


def borders(table):
    for message in table["messages"]:
        for example in message["examples"]:
            payload, values = example["payload"], example["fields"]
            yield from (payload, payload[:-1], payload + ";", payload + "0;", ";" + payload)
            yield from (payload.lower(), payload.replace(";0;", ";1;", 1))
            yield payload.rsplit(";", 2)[0] + ";"
            for name, field in message["fields"].items():
                for text in _nearly(field, values[name]):
                    yield filled(message["payload"], {**values, name: text})


def anything(table, count, seed=1):
    """Payloads of the table with characters changed, added or left out by chance."""
    chance = random.Random(seed)
    good = [example["payload"] for one in table["messages"] for example in one["examples"]]
    for _ in range(count):
        payload = list(chance.choice(good))
        for _ in range(chance.randrange(1, 4)):
            place = chance.randrange(len(payload) + 1)
            payload[place : place + chance.randrange(3)] = chance.choice(["", ";", "0", "-", "7", "A"])
        yield "".join(payload)
