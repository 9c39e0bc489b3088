#!/usr/bin/env python3
"""Holds the recipes of a page against the tree: recipes.py PAGE ROOT

A recipe is a list of places, each a path in `code`; NAME in it stands for what is added. What is
there already shows whether the list is true: every place exists and names each that was added by it,
and every file that names all that there are of a kind, and would have to name one more, is a place.

It also takes each place out of its recipe, adds one that is not in the tree, too many or a folder,
and looks for one that nobody has added: all that has to be noticed.
"""

import pathlib
import re
import subprocess
import sys
from typing import Callable, NamedTuple

MOST_LINES = 12


class Kind(NamedTuple):
    heading: str
    most: int  # places, each a file; None: any number, folders too
    all: list  # one of each of these sets of words is in a file that names all that there are
    example: str  # in the place of NAME
    added: Callable  # what was added by the recipe, by what the tree has
    examples: dict  # files that name all, and need not name one more, by the reason


# Families that are there, but have places of other names.
OTHERWISE = {
    "Sonde": "its devices are called probes in the lab and in the pages",
    "Fenwix": "its unit tests are several files",
}


def families(tree):
    handlers = {match[1] for match in (re.fullmatch(r"src/Com(\w+)\.h", name) for name in tree.texts) if match}
    return handlers - {"BLE"} - set(OTHERWISE)


def commands(tree):
    return set(re.findall(r'\{"(\w+)", "cde : ', tree.texts["src/HostCommands.cpp"]))


def platforms(_tree):
    return {"bluez"}


WRITTEN = {
    "is written from docs/messages.json": """
        docs/host-protocol.md host/python/vornix_host/table.py host/vornix_host/Table.h""",
}

DEVICES_AS_EXAMPLES = {
    **WRITTEN,
    "has its families written from docs/messages.json": "README.md src/Help.cpp",
    "measures with a device of each family": """
        bench/air/Devices.cpp bench/air/Devices.h bench/air/main.cpp bench/air/run
        bench/core/ValueToLine.cpp scope/bench/run""",
    "plays sessions and faults with the devices that suit them": """
        scope/tests/StateTest.cpp scope/tests/page.py tests/process/corebluetooth/SessionTest.cpp
        tests/process/demo/DemoTest.cpp tests/fuzz/AnyBluez.cpp
        tests/hosts/cpp/BridgeTest.cpp tests/hosts/cpp/DecodeTest.cpp tests/oracle/OracleTest.cpp
        tests/process/DeviceTest.cpp tests/process/HardStopTest.cpp tests/process/OutputTest.cpp
        tests/process/Scenario.cpp tests/process/Scenario.h tests/hosts/python/bridge.py
        tests/hosts/python/command_line.py tests/stack/FamiliesTest.cpp tests/oracle/subject/Plays.cpp
        tests/unit/core/HostCommandsTest.cpp""",
    "says which families end the scan, and that they alone do": """
        src/RunLoop.h tests/unit/core/RunLoopTest.cpp""",
    "explains, with a device where one is needed": """
        docs/architecture.md docs/troubleshooting.md host/python/README.md
        host/python/vornix_host/bridge.py""",
    "says which the maker's first devices are": """
        tests/unit/core/GattIdentifiersTest.cpp tests/unit/core/ComBLETest.cpp""",
    "is about these recipes": "tests/documents/recipes.py",
}

COMMANDS_AS_EXAMPLES = {
    **WRITTEN,
    "has its commands written from docs/messages.json": "docs/vornix.1 lab/demo/Options.cpp",
    "plays sessions with the commands that suit them": """
        scope/tests/CommandsTest.cpp scope/tests/page.py
        tests/process/CommandTest.cpp tests/process/HardStopCommandTest.cpp
        tests/stack/FamiliesTest.cpp tests/world/Plan.cpp""",
    "lists what ends a bridge": "docs/device-values.md",
    "gives some of the commands a name of their own": "host/python/vornix_host/bridge.py",
    "is about these recipes": "tests/documents/recipes.py",
}

PLATFORMS_AS_EXAMPLES = {
    "explains where what is": "CONTRIBUTING.md",
    "plants defects in those that have them": "tests/world/defects.txt",
    "plants includes": "tests/unit/core/LayeringTest.cpp",
    "compares with the other system": "docs/platforms/macos.md",
    "is about these recipes": "tests/documents/recipes.py",
}

KINDS = [
    Kind("A device family", 12,
         [{"tramsel"}, {"corvelta", "tarvix"}, {"fenwix", "nomsuel"},
          {"sonde", "probe", "tenoval", "ilo"}],
         "Tramsel", families, DEVICES_AS_EXAMPLES),
    Kind("A host command", 6,
         [{command.lower()} for command in (
             "CV_debutCalib", "CV_finCalib", "CV_debutAcquisition", "CV_finAcquisition",
             "FX_startRaw", "FX_stopRaw", "FX_getJson", "FX_cmdWriteInt", "FX_cmdWriteByte")],
         "CV_debutCalib", commands, COMMANDS_AS_EXAMPLES),
    Kind("A platform", None, [{"bluez"}, {"corebluetooth"}], "bluez", platforms,
         PLATFORMS_AS_EXAMPLES),
]  # fmt: skip


def recipe(page, kind):
    """The items of the list behind the heading."""
    found = re.search(rf"^### {kind.heading}\n(.*?)(?=^#|\Z)", page, re.MULTILINE | re.DOTALL)
    return re.findall(r"^- (.*?)(?=^- |\n\n|\Z)", found.group(1), re.MULTILINE | re.DOTALL) if found else []


def places(items, name):
    """The paths of the items: what is in `code` and has a slash, or is a page of the top folder."""
    for item in items:
        for text in re.findall(r"`([^`\s]+)`", item):
            if "/" in text or re.fullmatch(r"[A-Z]+\.md", text):
                yield text.replace("NAME", name)


class Tree:
    def __init__(self, root):
        root = pathlib.Path(root)
        listed = subprocess.run(
            ["git", "-C", root, "ls-files", "--cached", "--others", "--exclude-standard"],
            check=True, capture_output=True, text=True).stdout.split()  # fmt: skip
        self.texts = {}
        for name in listed:
            # The list of mutations repeats lines of the sources.
            if name.startswith("tests/mutation/list/") or not (root / name).is_file():
                continue
            self.texts[name] = (root / name).read_text(encoding="utf-8", errors="ignore").lower()

    def under(self, place):
        """The files that a place is: itself, or what the folder has."""
        if place.endswith("/"):
            return [name for name in self.texts if name.startswith(place)]
        return [place] if place in self.texts else []

    def names(self, place, name):
        if place == "CHANGELOG.md":
            return True
        return any(name.lower() in file.lower() + self.texts[file] for file in self.under(place))

    def naming_all(self, kind):
        return {name for name, text in self.texts.items()
                if all(any(word in text for word in words) for words in kind.all)}  # fmt: skip


def mistakes(items, kind, tree):
    if not items:
        yield f"{kind.heading}: no recipe"
    if len(items) > MOST_LINES:
        yield f"{kind.heading}: more than {MOST_LINES} lines"
    if kind.most:
        if len(set(places(items, kind.example))) > kind.most:
            yield f"{kind.heading}: more than {kind.most} places to go to"
        yield from (f"{kind.heading}: {place} is a folder"
                    for place in places(items, kind.example) if place[-1] == "/")  # fmt: skip
    added = sorted(kind.added(tree))
    if not {kind.example.lower()} <= {name.lower() for name in added}:
        yield f"{kind.heading}: {kind.example} is not among {added}"
    for name in added:
        yield from (f"{kind.heading}: {place} is not there, or does not name {name}"
                    for place in places(items, name) if not tree.names(place, name))  # fmt: skip
    covered = {file for place in places(items, kind.example) for file in tree.under(place)}
    examples = {name for names in kind.examples.values() for name in names.split()}
    naming = tree.naming_all(kind)
    yield from (f"{kind.heading}: {name} names all, and is no place of the recipe"
                for name in sorted(naming - covered - examples))  # fmt: skip
    yield from (f"{kind.heading}: {name} is no example any more" for name in sorted(examples - naming))
    yield from (f"{kind.heading}: {name} is a place and an example"
                for name in sorted(examples & covered))  # fmt: skip


def unnoticed(items, kind, tree):
    """Places that could go, though they name all; and one that could come, though it is not there."""
    naming = tree.naming_all(kind)
    for place in places(items, kind.example):
        if not naming & set(tree.under(place)):
            continue
        code = place.replace(kind.example, "NAME") if f"`{place}`" not in " ".join(items) else place
        if not list(mistakes([item.replace(f"`{code}`", "") for item in items], kind, tree)):
            yield f"{kind.heading}: {place} could be missing"
    if not list(mistakes([*items[:-1], items[-1] + " `src/Gone.h`"], kind, tree)):
        yield f"{kind.heading}: src/Gone.h could be there"
    if not kind.most:
        return
    missing = list(mistakes(items, kind._replace(added=lambda _: {kind.example, "Nobody"}), tree))
    yield from (f"{kind.heading}: {place} without Nobody is not noticed"
                for place in places(items, "Nobody")
                if place != "CHANGELOG.md" and not any(place in mistake for mistake in missing))  # fmt: skip
    naming_example = [name for name, text in tree.texts.items() if kind.example.lower() in text]
    for more, what in ((naming_example[: kind.most + 1], "places to go to"), (["src/"], "is a folder")):
        longer = [*items, "".join(f"`{place}` " for place in more)]
        if not any(what in mistake for mistake in mistakes(longer, kind, tree)):
            yield f"{kind.heading}: {what}: not found"


def main(page, root):
    page = pathlib.Path(page).read_text(encoding="utf-8")
    tree = Tree(root)
    wrong = []
    for kind in KINDS:
        items = recipe(page, kind)
        print(f"{kind.heading}: {len(set(places(items, kind.example)))} places in {len(items)} lines")
        wrong += mistakes(items, kind, tree)
        wrong += unnoticed(items, kind, tree) if items else []
    print(*wrong, sep="\n")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
