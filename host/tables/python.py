"""Writes host/python/vornix_host/table.py."""

import re
import textwrap

import facts

HEAD = '''\
"""The bridge's messages, its commands and its devices' families. Written by host/tables/write.py
from docs/messages.json, and not by hand.

Numbers without a unit are the device's own: its maker knows what they mean.
"""

# fmt: off
from __future__ import annotations

import dataclasses
from typing import Dict, List, Optional, Tuple, Type

from vornix_host.form import Bytes, Choice, Form, Number, Text
from vornix_host.received import Message
'''

# Names that differ in Python from those of the table, since they are built-in names.
CALLED = {"bytes": "data"}
# Fields that are remembered from another message instead of read.
REMEMBERED = {
    "ProbeMeasurement": [
        "# Of the ProbeFound before it, or None where that was missed.",
        "model: Optional[str] = dataclasses.field(default=None, compare=False)",
    ]
}


def called(name):
    return CALLED.get(name, re.sub(r"[A-Z]", lambda match: "_" + match[0].lower(), name))


def member(name, field, count):
    said = facts.note(field, count)
    if "called" in field:
        kind = "str"
        said = "; ".join(f'"{word}": {field["choice"][key]}' for key, word in field["called"].items())
    elif "choice" in field:
        kind, said = "int", " or ".join(field["choice"])
    elif "bytes" in field:
        kind, said = "bytes", "as the device sent them; perhaps none"
    elif "text" in field:
        kind, said = "str", "the device's own, not yet parsed, and not to be trusted"
    elif "absent" in field:
        kind, said = "Optional[int]", said.replace("absent", "None")
    else:
        kind = "Tuple[int, ...]" if count else "int"
    line = f"{called(name)}: {kind}"
    if len(line + said) < 80:
        return [line + (f"  # {said}" if said else "")]
    return [*textwrap.wrap(said, 90, initial_indent="# ", subsequent_indent="# "), line]


def reader(field):
    if "called" in field:
        return f"Choice({field['called']!r})"
    if "choice" in field:
        return f"Number{facts.numbers_of(field)}"
    if "bytes" in field:
        return "Bytes()"
    if "text" in field:
        return "Text()"
    absent = f", {field['absent']}" if "absent" in field else ""
    return f"Number({field['least']}, {field['most']}{absent})"


def made(message):
    """The arguments of the type's constructor, made from the list `f` of the fields' values."""
    arguments, place = [], 0
    for _, _, count in facts.members(message):
        arguments.append(f"tuple(f[{place}:{place + count}])" if count else f"f[{place}]")
        place += count or 1
    return f"lambda f: {message['name']}({', '.join(arguments)})"


def types(table):
    for message in table["messages"]:
        yield f'@dataclasses.dataclass(frozen=True)\nclass {message["name"]}(Message):'
        yield "    '" + "''" + textwrap.fill(facts.title(message), 92, subsequent_indent="    ") + "''" + "'\n"
        declared = [line for one in facts.members(message) for line in member(*one)]
        yield from (f"    {line}" for line in declared + REMEMBERED.get(message["name"], []))
        yield "\n" if declared else ""


def forms(table):
    yield "# How each payload is written."
    yield "FORMS: List[Form] = ["
    for message in table["messages"]:
        texts = facts.parts(message["payload"])
        texts[1::2] = [reader(message["fields"][name]) for name in texts[1::2]]
        texts[0::2] = [f'"{text}"' for text in texts[0::2]]
        yield textwrap.fill(f"Form([{', '.join(texts)}],", 100,
                            initial_indent="    ", subsequent_indent="          ", break_long_words=False)
        yield f"         {made(message)}),"
    yield "]"


def dictionary(comment, name, kind, rows):
    yield f"# {comment}"
    yield f"{name}: {kind} = {{"
    yield from (f"    {key}: {value}," for key, value in rows)
    yield "}"


def lines(table):
    ready = facts.ready_families(table)
    yield HEAD
    yield "__all__ = ["
    yield from (f'    "{one["name"]}",' for one in table["messages"])
    yield "]\n\n"
    yield from types(table)
    yield from forms(table)
    telling = [(one.get(role), one["name"].lower()) for one in table["families"] for role in ("found", "ready")]
    yield from dictionary(
        "The message that tells that a device was found, or takes commands.", "DEVICES",
        "Dict[Type[Message], str]", ((name, f'"{family}"') for name, family in telling if name))  # fmt: skip
    yield from dictionary(
        "What a device's name begins with, in lower case.", "FAMILIES", "Dict[str, str]",
        ((f'"{name}"', f'"{one["name"].lower()}"') for one in table["families"] for name in one["names"]))  # fmt: skip
    yield from dictionary(
        "What should go on once it has begun, by its message's `stream` where it has one; and the\n"
        '# command that stops it, "" where it comes unasked.', "STREAMS",
        "Dict[Type[Message], List[Tuple[str, str]]]",
        ((one["name"], facts.streams(table, one)) for one in table["messages"] if "stream" in one))  # fmt: skip
    yield from dictionary(
        "What the bridge logs when it begins a command.", "LOGS", "Dict[str, str]",
        ((f'"{facts.word(one)}"', f'"{one["log"]}"') for one in table["commands"]))  # fmt: skip
    yield from dictionary(
        "The command that stops what one starts.", "STOPS", "Dict[str, str]",
        ((f'"{facts.word(one)}"', f'"{one["stop"]}"') for one in table["commands"] if "stop" in one))  # fmt: skip
    needs = [(facts.word(one), facts.needed_family(table, one)) for one in table["commands"]]
    yield from dictionary(
        "The device that has to be ready for a command.", "NEEDS", "Dict[str, str]",
        ((f'"{name}"', f'"{family["name"].lower()}"') for name, family in needs if family in ready))  # fmt: skip
    yield from dictionary(
        "The largest second argument of those that have two; the first is a code of 0 to 255.",
        "MOST", "Dict[str, int]",
        ((f'"{facts.word(one)}"', facts.most_value(one)) for one in table["commands"] if "arguments" in one))  # fmt: skip
    waiting = [facts.word(one) for one in table["commands"] if "notDuring" in one]
    yield "# Not between a question for the document and its answer: what comes behind a reply that broke off"
    yield "# is taken for its rest."
    yield f"NOT_DURING_DOCUMENT: Tuple[str, ...] = {tuple(waiting)!r}"


def module(table):
    return "\n".join(lines(table)) + "\n"
