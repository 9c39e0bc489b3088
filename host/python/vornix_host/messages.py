"""Decodes the bridge's payloads: decode("V;") gives CorveltaOnMains().

A payload has a known kind only if all its fields are there, none is too many and each is within its
range; everything else is an UnknownMessage. The kinds are in table.py.
"""

from __future__ import annotations

import dataclasses
from typing import Dict, List

from vornix_host import table
from vornix_host.form import Form
from vornix_host.received import Event as Event
from vornix_host.received import Message as Message
from vornix_host.table import *  # noqa: F403
from vornix_host.table import FORMS

__all__ = ["Event", "Message", "UnknownMessage", "decode"]
__all__ += table.__all__


@dataclasses.dataclass(frozen=True)
class UnknownMessage(Message):
    """A whole message with a valid checksum, but of no known kind."""

    payload: str


_BY_FIRST: Dict[str, List[Form]] = {}
for _form in FORMS:
    _BY_FIRST.setdefault(_form.first, []).append(_form)


def decode(payload: str) -> Message:
    for form in _BY_FIRST.get(payload[:1], ()):
        message = form.read(payload)
        if message is not None:
            return message
    return UnknownMessage(payload)
