"""The lists of mutations: small changes of the sources, each of which some test has to detect.

A list is a text. `file` names the source that the mutations after it change; each mutation is a
name and, indented, its change:

    file src/platform/bluez/Link.cpp

    has-no-pause
      in Link::handleAnswer(
      - pause_.start(kPause);
      + pause_.start(0s);

`in` is the beginning of the function (or of anything that ends with a brace at the start of a
line), needed if the file has the text more than once. `-` is the text before, `+` the text after;
both may have several lines, and without `+` the text is removed (of a statement the semicolon
stays). Blanks and line breaks do not count, so that a mutation survives formatting. `=` gives the
reason why a mutation is equivalent, so that no test can detect it.

Everything has to be found exactly once: a mutation that no longer fits is an error.
"""

import dataclasses
import pathlib
import re


class ListError(Exception):
    """A list that cannot be read, or a mutation that does not fit the sources."""


@dataclasses.dataclass(eq=False)
class Mutation:
    area: str  # the list that it is in
    file: str
    label: str
    place: str = ""
    before: str = ""
    after: str = ""
    reason: str = ""  # why it is equivalent; empty if it is not

    @property
    def name(self):
        path = pathlib.PurePosixPath(self.file).with_suffix("")
        return f"{path.relative_to('src')}.{self.label}"

    def apply(self, text):
        """The file's text with the mutation applied."""
        begin, end = 0, len(text)
        if self.place:
            begin = self._only(text, self.place, 0, end, "place").start()
            close = re.compile(r"^}", re.MULTILINE).search(text, begin)
            end = close.start() if close else end
        found = self._only(text, self.before, begin, end, "text")
        nothing = ";" if self.before.endswith(";") else ""
        return text[: found.start()] + (self.after or nothing) + text[found.end() :]

    def _only(self, text, wanted, begin, end, what):
        found = list(pattern_of(wanted).finditer(text, begin, end))
        if len(found) != 1:
            times = "not found" if not found else f"found {len(found)} times"
            raise ListError(f"{self.name}: {what} {times} in {self.file}: {wanted}")
        return found[0]


def pattern_of(text):
    """A pattern that matches the text with any blanks and line breaks."""
    tokens = re.findall(r"\w+|[^\w\s]", text)
    pattern = ""
    for before, token in zip([""] + tokens, tokens):
        if before:
            pattern += r"\s+" if is_word(before) and is_word(token) else r"\s*"
        pattern += re.escape(token)
    starts = r"(?<!\w)" if is_word(tokens[0]) else ""
    ends = r"(?!\w)" if is_word(tokens[-1]) else ""
    return re.compile(starts + pattern + ends)


def is_word(token):
    return re.match(r"\w", token) is not None


def parse(area, text):
    mutations = []
    file = ""
    for number, line in enumerate(text.splitlines(), 1):
        words = line.strip()
        if not words or words.startswith("#"):
            continue
        if line.startswith("file "):
            file = line[5:].strip()
        elif not line.startswith(" "):
            if not file or not re.fullmatch(r"[a-z0-9-]+", words):
                raise ListError(f"{area}:{number}: no file, or no name: {line}")
            mutations.append(Mutation(area, file, words))
        elif mutations:
            add_line(mutations[-1], words, f"{area}:{number}")
        else:
            raise ListError(f"{area}:{number}: {line}")
    for mutation in mutations:
        if not mutation.before:
            raise ListError(f"{mutation.name}: no text")
    return mutations


def add_line(mutation, words, where):
    key, _, rest = words.partition(" ")
    field = {"in": "place", "-": "before", "+": "after", "=": "reason"}.get(key)
    if field is None:
        raise ListError(f"{where}: {words}")
    old = getattr(mutation, field)
    setattr(mutation, field, f"{old}\n{rest}" if old else rest)


def read_all(folder):
    mutations = []
    for path in sorted(pathlib.Path(folder).glob("*.txt")):
        mutations += parse(path.stem, path.read_text(encoding="utf-8"))
    names = [mutation.name for mutation in mutations]
    twice = sorted({name for name in names if names.count(name) > 1})
    if not mutations or twice:
        raise ListError(f"{folder}: empty, or the same name twice: {twice}")
    return mutations


def problems(mutations, root):
    """The reason for each mutation that does not fit the sources."""
    found = []
    for mutation in mutations:
        path = pathlib.Path(root) / mutation.file
        try:
            text = path.read_text(encoding="utf-8")
            if mutation.apply(text) == text:
                found.append(f"{mutation.name}: changes nothing")
        except OSError:
            found.append(f"{mutation.name}: no file {mutation.file}")
        except ListError as error:
            found.append(str(error))
    return found
