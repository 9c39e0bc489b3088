#!/usr/bin/env python3
"""Looks for the names that a page writes in `code`: names.py PAGE ROOT

Each has to be a file or folder, or a word of the sources; `Loop::turn` is there where "turn" is a
word of the class's own files. It also looks for names that cannot be there, which have to be
missed.
"""

import pathlib
import re
import sys

FOLDERS = ("src", "lab", "host", "scope", "bench", "tests")
ENDINGS = {".h", ".cpp", ".mm", ".txt", ".py", ".js", ".cmake"}
BOGUS = ["Loop::turnAround", "ComTramsel::sendIlo", "sendQuelmars", "src/platform/bluez/Loop.py"]


def names(page):
    """Those that look like names of the code: no blanks, no payloads."""
    for number, line in enumerate(page.splitlines(), 1):
        for text in re.findall(r"`([^`]+)`", line):
            if re.fullmatch(r"[A-Za-z_][\w./:-]*(\(\w*\))?", text):
                yield number, text


class Sources:
    def __init__(self, root):
        self._root = pathlib.Path(root)
        self._texts = {
            path: path.read_text(encoding="utf-8", errors="replace")
            for folder in FOLDERS
            for path in (self._root / folder).rglob("*")
            if path.suffix in ENDINGS and "documents" not in path.parts
        }

    def has(self, name):
        name = re.sub(r"\(.*\)$", "", name)
        if "::" in name:
            return self._has_member(*name.rsplit("::", 1))
        return self._is_path(name) or any(has_word(name, text) for text in self._texts.values())

    def _has_member(self, owner, member):
        """In files of that name: Loop.h, Loop.cpp, ComFenwixCommand.cpp."""
        own = [text for path, text in self._texts.items() if path.stem.startswith(owner)]
        declared = rf"\bclass {owner}\b[^;]*{{"
        own += [text for text in self._texts.values() if re.search(declared, text)]
        return any(has_word(member, text) for text in own)

    def _is_path(self, name):
        in_platform = (self._root / "src/platform").rglob(name.rstrip("/"))
        return (self._root / name).exists() or any(in_platform)


def has_word(word, text):
    return re.search(rf"(?<!\w){re.escape(word)}(?!\w)", text) is not None


def main(page, root):
    sources = Sources(root)
    found = list(names(pathlib.Path(page).read_text(encoding="utf-8")))
    missing = [f"line {number}: no {name}" for number, name in found if not sources.has(name)]
    missing += [f"not missed: {name}" for name in BOGUS if sources.has(name)]
    print(f"{len(found)} names", *missing, sep="\n")
    return 1 if missing or len(found) < 20 else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
