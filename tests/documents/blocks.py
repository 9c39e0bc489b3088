"""The examples of a page: its fenced blocks, line by line."""

import dataclasses


@dataclasses.dataclass(frozen=True)
class Line:
    number: int
    text: str


def read(paths):
    """The pages of "PATH,PATH", one after the other."""
    texts = []
    for path in paths.split(","):
        with open(path, encoding="utf-8") as file:
            texts.append(file.read())
    return "".join(texts)


def blocks(page, kind):
    """The blocks that begin with ```kind, each a list of lines."""
    found, current, margin = [], None, 0
    for number, text in enumerate(page.splitlines(), 1):
        fence = text.lstrip()  # a block may stand in a list
        if fence == "```" + kind:
            current, margin = [], len(text) - len(fence)
        elif fence.startswith("```"):
            if current is not None:
                found.append(current)
            current = None
        elif current is not None:
            current.append(Line(number, text[margin:]))
    return found


def lines(page, kind):
    """All lines of these blocks but the empty ones."""
    return [line for block in blocks(page, kind) for line in block if line.text]


def paragraphs(page, kind):
    """What empty lines divide these blocks into."""
    found = []
    for block in blocks(page, kind):
        found.append([])
        for line in block:
            if line.text:
                found[-1].append(line)
            elif found[-1]:
                found.append([])
    return [paragraph for paragraph in found if paragraph]


def text(page, kind):
    """The one block of this kind, as it stands."""
    (block,) = blocks(page, kind)
    return "\n".join(line.text for line in block) + "\n"
