"""The form of a payload: Form(["V;"], make) or Form(["P0;", Number(0, 255), ";"], make)."""

from __future__ import annotations

import re
from typing import Any, Callable, Dict, List, Optional, Sequence, Union

from vornix_host.received import Message


class Number:
    pattern = "(0|-?[1-9][0-9]{0,19})"  # no number has more digits

    def __init__(self, least: int, most: int, absent: Optional[int] = None) -> None:
        self._least, self._most, self._absent = least, most, absent

    def value(self, text: str) -> Optional[int]:
        number = int(text)
        if not self._least <= number <= self._most:
            raise ValueError(text)
        return None if number == self._absent else number


class Choice:
    def __init__(self, called: Dict[str, str]) -> None:
        self._called = called
        self.pattern = f"({'|'.join(called)})"

    def value(self, text: str) -> str:
        return self._called[text]


class Bytes:
    pattern = "((?:[0-9A-F]{2})*)"

    def value(self, text: str) -> bytes:
        return bytes.fromhex(text)


class Text:
    pattern = "(.*)"

    def value(self, text: str) -> str:
        return text


_Field = Union[Number, Choice, Bytes, Text]


class Form:
    def __init__(self, parts: Sequence[Union[str, _Field]], make: Callable[[List[Any]], Message]) -> None:
        """parts: constant texts and fields. make: makes the message from the fields' values."""
        self.first = str(parts[0])[0]
        self._values = [part.value for part in parts if not isinstance(part, str)]
        self._make = make
        patterns = (re.escape(part) if isinstance(part, str) else part.pattern for part in parts)
        self._pattern = re.compile("".join(patterns), re.S)

    def read(self, payload: str) -> Optional[Message]:
        """The message in the payload; None unless the whole payload has this form and each field is
        within its range."""
        match = self._pattern.fullmatch(payload)
        if match is None:
            return None
        try:
            return self._make([value(text) for value, text in zip(self._values, match.groups())])
        except ValueError:
            return None
