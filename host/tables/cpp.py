"""Writes host/vornix_host/Table.h."""

import textwrap

import facts

HEAD = """\
// The bridge's messages, its commands and its devices' families, as types and tables. Written by
// host/tables/write.py from docs/messages.json, and not by hand.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

// clang-format off
namespace vornix_host {
"""

KINDS = """\
struct Command {
  std::string_view word;
  std::string_view log;  // what the bridge logs when it begins the command
  Needs needs = Needs::nothing;
  std::uint32_t most = 0;      // of the second argument; 0: there are no arguments
  std::string_view stop = {};  // of what this one starts
  bool isNotDuringDocument = false;  // not between a question for the document and its answer
};

struct FamilyInfo {
  Family family;
  std::string_view name;
  Needs needs = Needs::nothing;  // what its commands need
};

// What should go on once it has begun, and the command that stops it: empty where it comes unasked.
struct Stream {
  std::string_view name;
  std::string_view stop;
};

// found and ready come once from a device, and tell that it was accepted, or takes commands.
enum class Role { none, found, ready, stream, end };

// What is known of a message by its type. `streams` and `tables` have one entry, or one for each
// value of the message's `stream`, or none. `visit` shows a visitor all of the payload in order, as
// long as it says true: the constant texts by is(), the fields by field() with their names.
template <typename Kind>
struct Form;
"""

AT = """\
// The entry of a message's streams or tables that is this one's.
template <typename Kind, typename Entries>
constexpr auto entryOf(const Kind& message, const Entries& entries) {
  if constexpr (requires { message.stream; }) {
    return entries.at(static_cast<std::size_t>(message.stream) - 1);
  } else {
    return entries.at(0);
  }
}

template <typename Kind>
constexpr Stream streamOf(const Kind& message) {
  return entryOf(message, Form<Kind>::streams);
}

template <typename Kind>
constexpr std::string_view tableOf(const Kind& message) {
  return entryOf(message, Form<Kind>::tables);
}
"""

PLOT_OF = """\

// The place among the plots that a message's values have.
template <typename Kind>
constexpr std::size_t plotOf(const Kind& message) {
  static_assert(Form<Kind>::isPlotted);
  std::size_t place = 0;
  while (plots.at(place) != Form<Kind>::tables.front()) ++place;
  if constexpr (requires { message.stream; }) {
    place += static_cast<std::size_t>(message.stream) - 1;
  }
  return place;
}
"""

# Names that differ in C++ from those of the table.
CALLED = {"off": "poweredOff"}


def wrapped(begin, text):
    return textwrap.fill(text, 100, initial_indent=begin, subsequent_indent=begin, break_on_hyphens=False)


def quoted(text):
    return '"' + text + '"'


def number(value):
    if value == -(1 << 63):
        return "std::numeric_limits<std::int64_t>::min()"
    return f"{value}"


def number_type(field):
    least, most = field["least"], field["most"]
    for bits in (8, 16, 32, 64):
        if 0 <= least and most < 1 << bits and bits < 64:
            return f"std::uint{bits}_t"
        if -(1 << bits - 1) <= least < 0 and most < 1 << bits - 1:
            return f"std::int{bits}_t"
    raise ValueError(f"no type holds {least} to {most}")


def member(name, field, count):
    """The declaration of a field, with its comment."""
    said = facts.note(field, count)
    said = f"  // {said}" if said else ""
    if "called" in field:
        kind = name[0].upper() + name[1:]
        yield f"enum class {kind} {{"
        for key, called in field["called"].items():
            yield f"  {CALLED.get(called, called)} = {key},  // {field['choice'][key]}"
        yield "};"
        first = next(iter(field["called"].values()))
        yield f"{kind} {name} = {kind}::{CALLED.get(first, first)};"
    elif "choice" in field:
        yield f"int {name} = {facts.numbers_of(field)[0]};  // {' or '.join(field['choice'])}"
    elif "bytes" in field:
        yield f"std::vector<std::uint8_t> {name};  // as the device sent them; perhaps none"
    elif "text" in field:
        least, most = field["text"]
        yield f"std::string {name};  // as the device sent it, {least} to {most} characters of ASCII"
    elif "absent" in field:
        yield f"std::optional<{number_type({**field, 'least': 0})}> {name};{said}"
    elif count:
        yield f"std::array<{number_type(field)}, {count}> {name}{{}};{said}"
    else:
        yield f"{number_type(field)} {name} = 0;{said}"


def shown(name, field):
    """The call in visit() for the field with this name in the table."""
    place = f"it.values[{int(name[1:]) - 1}]" if name[0] == "v" and name[1:].isdigit() else f"it.{name}"
    borders = ()
    if "choice" in field:
        borders = facts.numbers_of(field)
    elif facts.is_number(field):
        borders = (field["least"], field["most"])
    return f"visitor.field({', '.join([quoted(name), place, *map(number, borders)])})"


def steps(message):
    for place, text in enumerate(facts.parts(message["payload"])):
        if place % 2:
            yield shown(text, message["fields"][text])
        elif text:
            yield f"visitor.is({quoted(text)})"


def array(kind, name, rows):
    yield f"static constexpr std::array<{kind}, {len(rows)}> {name}{{{{{', '.join(rows)}}}}};"


def family_name(family):
    return "Family::" + family["name"].lower()


def form(table, message):
    family = facts.family(table, message)
    streams = [f"{{{quoted(name)}, {quoted(stop)}}}" for name, stop in facts.streams(table, message)]
    tables = facts.choices(message["table"], message) if "table" in message else []
    yield f"template <>\nstruct Form<{message['name']}> {{"
    yield f"  static constexpr std::string_view name = {quoted(message['name'])};"
    yield f"  static constexpr Role role = Role::{message.get('role', 'none')};"
    place = family_name(family) if family else "std::nullopt"
    yield f"  static constexpr std::optional<Family> family = {place};"
    yield "  " + "".join(array("Stream", "streams", streams))
    yield "  " + "".join(array("std::string_view", "tables", [quoted(one) for one in tables]))
    yield f"  static constexpr bool isPlotted = {str('plot' in message).lower()};"
    yield f"  static constexpr bool arePoints = {str(message.get('points', False)).lower()};"
    unused = "" if message["fields"] else "/*it*/"
    yield "  template <typename Visitor, typename Kind>"
    yield f"  static constexpr bool visit(Visitor& visitor, Kind& {unused or 'it'}) {{"
    yield "    return " + " &&\n           ".join(steps(message)) + ";"
    yield "  }\n};"


def plots(table):
    names = [quoted(one) for message in table["messages"] if "plot" in message
             for one in facts.choices(message["table"], message)]  # fmt: skip
    yield "// The tables whose rows are of use as curves, or as points."
    yield f"inline constexpr std::array<std::string_view, {len(names)}> plots{{{{"
    yield from (f"    {one}," for one in names)
    yield "}};"
    yield PLOT_OF


def commands(table):
    yield f"inline constexpr std::array<Command, {len(table['commands'])}> commands{{{{"
    for one in table["commands"]:
        family = facts.needed_family(table, one)
        waits = str(one.get("notDuring") is not None).lower()
        yield (f"    {{{quoted(facts.word(one))}, {quoted(one['log'])}, "
               f"Needs::{family['name'].lower() if family else 'nothing'}, "
               f"{facts.most_value(one)}, {quoted(one.get('stop', ''))}, {waits}}},")  # fmt: skip
    yield "}};"


def families(table):
    yield f"inline constexpr std::array<FamilyInfo, {len(table['families'])}> families{{{{"
    for one in table["families"]:
        needs = one["name"].lower() if "ready" in one else "nothing"
        yield f"    {{{family_name(one)}, {quoted(one['name'].lower())}, Needs::{needs}}},"
    yield "}};"
    names = [(name, one) for one in table["families"] for name in one["names"]]
    yield "\n// What a device's name begins with, here in lower case; a name may have any."
    yield f"inline constexpr std::array<std::pair<std::string_view, Family>, {len(names)}> beginnings{{{{"
    yield from (f"    {{{quoted(name)}, {family_name(one)}}}," for name, one in names)
    yield "}};"


def lines(table):
    yield HEAD
    yield f"enum class Family {{ {', '.join(one['name'].lower() for one in table['families'])} }};\n"
    needs = ["nothing", *(one["name"].lower() for one in facts.ready_families(table))]
    yield "// The device that has to be ready for a command: Role::ready tells that it is."
    yield f"enum class Needs {{ {', '.join(needs)} }};\n"
    for message in table["messages"]:
        yield wrapped("// ", facts.title(message))
        declared = ["  " + line for one in facts.members(message) for line in member(*one)]
        begin = f"struct {message['name']} {{"
        yield from [begin, *declared, "};\n"] if declared else [begin + "};\n"]
    names = ", ".join(one["name"] for one in table["messages"])
    yield "// One of them, or of others."
    yield f"template <typename... Others>\nusing AnyOf = std::variant<\n    Others...,"
    yield wrapped("    ", names) + ">;\n"
    yield KINDS
    for message in table["messages"]:
        yield from form(table, message)
        yield ""
    yield AT
    yield from plots(table)
    yield from commands(table)
    yield ""
    yield from families(table)
    yield "\n}  // namespace vornix_host"


def header(table):
    return "\n".join(lines(table)) + "\n"
