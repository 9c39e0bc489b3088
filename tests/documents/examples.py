#!/usr/bin/env python3
"""Takes the examples of a page, or of "PAGE,PAGE", to the programs.

  examples.py all PAGE DEMO SCRIPTED CHECKSUM         every example is right (the host protocol)
  examples.py damage PAGE DEMO SCRIPTED CHECKSUM      every example that is changed is found
  examples.py sessions PAGE DEMO SCRIPTED CHECKSUM    its sessions are right (any page)
  examples.py frames PAGE DEMO SCRIPTED CHECKSUM      its messages have right checksums (any page)
"""

import collections
import re
import sys

import blocks
import checks
import transcripts

Example = collections.namedtuple("Example", "kind line text")


def examples(page, programs):
    failures = []
    last = [("transcript", transcripts.check_all), ("frames", checks.check_frames)]
    for name, check in [*checks.ALL.items(), *last]:
        found = check(page, programs)
        print(f"{name}: {len(found)} failures")
        failures += found
    return failures


def sessions(page, programs):
    found = transcripts.sessions(page)
    print(f"{len(found)} sessions")
    failures = transcripts.check(page, programs) if found else ["no session at all"]
    return failures + checks.check_frames(page, programs)


# Damage


def neighbour(character):
    return chr(ord(character) + (-1 if character in "9FZfz" else 1))


def changed(text):
    """With another last letter or digit."""
    place = max(i for i, character in enumerate(text) if character.isalnum())
    return text[:place] + neighbour(text[place]) + text[place + 1 :]


def changed_effect(text):
    """A command that is said to do something else."""
    opposite = {"on": "off", "off": "on"}
    beginning, _, end = text.rpartition(" ")
    return f"{beginning} {opposite[end]}" if end in opposite else changed(text)


# What ends the bridge abnormally, changed so that it does not.
HARMLESS = {
    "command CV_debutCalib": "command Kill",
    "command FX_getJson": "command fx_getJson",
    "fenwix FX_cmdWriteInt 300 1": "fenwix FX_cmdWriteInt 30 1",
    "fenwix FX_cmdWriteInt 3 4294967296": "fenwix FX_cmdWriteInt 3 4294967295",
    "fenwix FX_cmdWriteByte 3 256": "fenwix FX_cmdWriteByte 3 255",
    "tenoval AA41 123400": "tenoval AA41 12340000",
    "fenwix 3A89 0000C07F": "fenwix 3A89 0000803F",
    "fenwix 3A93 AA130200C3A9": "fenwix 3A93 AA1302005B5D",
}


def damaged_examples(page):
    for kind in ("checksum", "radio", "names"):
        for line in blocks.lines(page, kind):
            yield Example(kind, line, changed(line.text))
    for line in blocks.lines(page, "values"):
        if not line.text.endswith("->"):
            yield Example("values", line, changed(line.text))
    for line in blocks.lines(page, "commands"):
        yield Example("commands", line, changed_effect(line.text))
    lines = {line.text: line for line in blocks.lines(page, "aborts")}
    for text, harmless in HARMLESS.items():
        yield Example("aborts", lines[text], harmless)


def alone(page, example):
    """The page with this example changed and, of its kind, only the paragraph that it is in."""
    kept = next(one for one in blocks.paragraphs(page, example.kind) if example.line in one)
    dropped = {line.number for line in blocks.lines(page, example.kind)}
    if example.kind == "values":
        dropped -= {line.number for line in kept}
    texts = [
        "" if number in dropped else text for number, text in enumerate(page.splitlines(), 1)
    ]
    texts[example.line.number - 1] = example.text
    return "\n".join(texts) + "\n"


def is_found(example, page, programs):
    """A failure that names a line, and not only that there are too few."""
    found = checks.ALL[example.kind](alone(page, example), programs)
    return any(re.match(r"line \d+: ", failure) for failure in found)


def damaged_code(page, programs):
    code = blocks.text(page, "python")
    damaged = page.replace(code, code.replace("0x1021", "0x1031"))
    if damaged == page or not checks.check_python(damaged, programs):
        yield "the code with another polynomial is not found"


def damaged_sessions(page, programs):
    for session in transcripts.sessions(page):
        recording = transcripts.record(session, programs.demo)
        for line in [*session.expected(), session.end]:
            if not transcripts.compare(session.with_line(line, changed(line.text)), recording):
                yield f"line {line.number}: {line.text!r}: changed, it is not found"
        for line in session.expected():
            if not transcripts.is_streamed(line.text) and not transcripts.compare(session.without(line), recording):
                yield f"line {line.number}: {line.text!r}: left out, it is not missed"


def damage(page, programs):
    count, failures = 0, []
    for example in damaged_examples(page):
        count += 1
        if not is_found(example, page, programs):
            failures.append(f"line {example.line.number}: {example.text!r} is not found")
    failures += damaged_code(page, programs)
    failures += damaged_sessions(page, programs)
    print(f"{count} examples changed, besides the code and the sessions")
    return failures


MODES = {"all": examples, "damage": damage, "sessions": sessions, "frames": checks.check_frames}


def main(mode, page, demo, scripted, checksum):
    programs = checks.Programs(demo, scripted, checksum)
    failures = MODES[mode](blocks.read(page), programs)
    print(*failures, sep="\n")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
