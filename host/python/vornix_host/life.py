"""The state of one run of the bridge, from its start to its end."""

from __future__ import annotations

import json
from typing import Dict, Iterator, List, NoReturn, Optional, Set, Tuple

from vornix_host import messages as m
from vornix_host.commands import asks_for_document, word_of
from vornix_host.events import DeviceLost, RadioChanged, StreamLost, TrustLost
from vornix_host.lines import DamagedLine, LogEntry
from vornix_host.messages import Event
from vornix_host.table import DEVICES, FAMILIES, STOPS, STREAMS

_RADIO = "manager state update : "
_ACCEPTED = "Connexion a "
_FAILED = "erreur de lecture des services "
_RADIO_STATES = {"poweredOn": "on", "poweredOff": "off"}


class Life:
    def __init__(self) -> None:
        self.radio = "unknown"  # as in RadioChanged
        self.why_unusable: Optional[str] = None  # as in RadioUnusable
        self.last_log: Optional[str] = None
        self.devices: Dict[str, m.Message] = {}  # found or ready, each with the message of that
        self.stops: Dict[str, str] = {}  # the stop command for each command that started something
        self.awaits_document = False  # it was asked for, and has not come
        self.has_no_document = False  # it was asked for, and given up
        self.why_distrusted = ""  # as in TrustLost; empty while the bridge is trusted
        self._was_reset = False  # the radio was, so that all devices found before are lost
        self._told: Set[str] = set()  # the families of all devices so far, lost ones included
        self._failed: Set[str] = set()  # families of devices that failed before they were ready
        self._accepted: List[str] = []  # the devices' names
        self._heard: Dict[str, float] = {}  # when each stream was last heard, monotonic clock

    def note(self, event: Event) -> List[Event]:
        """Notes what the bridge wrote. Returns the events for the host: this one, and those that
        follow from it about a device or the radio; nothing while the bridge is not trusted."""
        if self.why_distrusted:
            return []
        self.why_distrusted = self._why_distrusted(event)
        told = [self._note_document(event) if isinstance(event, m.FenwixJson) else event]
        news: Optional[Event] = None
        if self.why_distrusted:
            self.devices.clear()
            self._heard.clear()
            news = TrustLost(self.why_distrusted)
        elif isinstance(event, LogEntry):
            news = self._note_log(event.text)
        elif isinstance(event, m.RadioUnusable):
            self.why_unusable = event.reason
            news = self._note_radio(event.reason)
        elif isinstance(event, m.Message):
            self._note_device(event)
        return told + [news.received(event.monotonic, event.wall)] if news else told

    def _why_distrusted(self, event: Event) -> str:
        if isinstance(event, DamagedLine) and (event.may_be_document or self.awaits_document):
            return "damaged output may be the text of a document"
        if isinstance(event, m.FenwixJson) and event.text and not _is_json(event.text):
            return "a document is no JSON"
        if isinstance(event, m.Message) and DEVICES.get(type(event)) in self._told:
            return "a device is told of twice, as only the text of a document does"
        return ""

    def _note_document(self, event: m.FenwixJson) -> Event:
        if not self.awaits_document:  # the bridge never sends one without being asked
            return m.UnknownMessage(f"PJSON;{event.text};").received(event.monotonic, event.wall)
        self.awaits_document = self.has_no_document = False
        return event

    def _note_device(self, event: m.Message) -> None:
        if isinstance(event, m.ProbeMeasurement):
            probe = self.devices.get("probe")
            if isinstance(probe, m.ProbeFound):
                object.__setattr__(event, "model", probe.model)
        device = DEVICES.get(type(event))
        if device:
            self._told.add(device)
        if device and device not in self._failed:  # the log line may come before the message
            self.devices[device] = event
        stream, stop = _stream_of(event)
        if stream and (not stop or stop in self.stops.values()):
            self._heard[stream] = event.monotonic

    def note_sent(self, line: str) -> None:
        """Notes a line that is being sent to the bridge."""
        word = word_of(line)
        self.awaits_document = self.awaits_document or asks_for_document(line)
        if word in STOPS:
            self.stops[word] = STOPS[word]
        for start, stop in STOPS.items():
            if word == stop:
                self.stops.pop(start, None)
        for stream, stop in (one for streams in STREAMS.values() for one in streams):
            if word == stop:
                self._heard.pop(stream, None)

    def lost(self, now: float, silence: float) -> Iterator[StreamLost]:
        """Streams that have been silent for this many seconds; each is reported once."""
        for stream, last in list(self._heard.items()):
            if now - last >= silence:
                del self._heard[stream]
                yield StreamLost(stream, now - last)

    @property
    def has_lost(self) -> bool:
        """Whether the log has reported a loss, which then need not be concluded from silence."""
        return bool(self._failed) or (self._was_reset and self.radio == "on")

    def _note_log(self, text: str) -> Optional[Event]:
        self.last_log = text
        if text.startswith(_ACCEPTED):
            self._accepted.append(text[len(_ACCEPTED) :])
        if text.startswith(_FAILED):
            return self._note_failed(self._name_at_end(text))
        if not text.startswith(_RADIO):
            return None
        state = text[len(_RADIO) :]
        return self._note_radio(_RADIO_STATES.get(state, state))

    def _note_failed(self, name: str) -> DeviceLost:
        families = (FAMILIES[one] for one in FAMILIES if name.lower().startswith(one))
        family = next(families, "")
        self._failed.add(family)
        self.devices.pop(family, None)
        return DeviceLost(name)

    def _name_at_end(self, text: str) -> str:
        """The name at the end of a log text. It is looked for among the accepted devices' names,
        since the name and the error before it may contain " de " as well."""
        names = [name for name in self._accepted if text.endswith(" de " + name)]
        return max(names, key=len, default=text.rpartition(" de ")[2])

    def _note_radio(self, state: str) -> Optional[RadioChanged]:
        if state == self.radio:
            return None
        self.radio = state
        if state == "resetting":
            self._was_reset = self._was_reset or bool(self._accepted or self.devices)
            self.devices.clear()
        return RadioChanged(state)


def _stream_of(event: m.Message) -> Tuple[str, str]:
    """The stream that an event belongs to, and the command that stops it; "" for none."""
    streams = STREAMS.get(type(event), [("", "")])
    return streams[getattr(event, "stream", 1) - 1]


def _is_json(text: str) -> bool:
    """Whether a text is strictly JSON. Numbers are not converted, as they may have any length."""
    try:
        json.loads(text, parse_int=str, parse_float=str, parse_constant=_refuse)
    except (ValueError, RecursionError):  # the latter at some thousand levels, which no device has
        return False
    return True


def _refuse(constant: str) -> NoReturn:
    raise ValueError(constant)  # NaN and Infinity
