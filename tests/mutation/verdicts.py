"""The results of the mutations, kept in a file so that a long run can be made in parts."""

import dataclasses
import hashlib
import json
import pathlib
import re
import threading


@dataclasses.dataclass
class Verdict:
    result: str  # killed, survived, not built, timed out, not tried
    by: str = ""


class Verdicts:
    """By mutation. A verdict counts while the mutation and the file that it changes are the same.

    Comments may change: they are no part of what is compared.
    """

    def __init__(self, path, source):
        self._path = pathlib.Path(path)
        self._source = pathlib.Path(source)
        self._lock = threading.Lock()
        self._entries = json.loads(self._path.read_text()) if self._path.is_file() else {}

    def __getitem__(self, mutation):
        entry = self._entries.get(mutation.name)
        if entry is None or entry["of"] != self._digest(mutation):
            return Verdict("not tried")
        return Verdict(entry["result"], entry["by"])

    def __setitem__(self, mutation, verdict):
        with self._lock:
            entry = dataclasses.asdict(verdict) | {"of": self._digest(mutation)}
            self._entries[mutation.name] = entry
            self._path.parent.mkdir(parents=True, exist_ok=True)
            written = self._path.with_suffix(".new")
            written.write_text(json.dumps(self._entries, indent=1))
            written.replace(self._path)

    def _digest(self, mutation):
        text = (self._source / mutation.file).read_text(encoding="utf-8")
        return hashlib.sha256(without_comments(mutation.apply(text)).encode()).hexdigest()


def without_comments(text):
    return re.sub(r"(?m)^\s*//.*\n|\s+// .*$", "", text)
