"""What is known from one start of the bridge to its end. The next start begins with nothing."""

from __future__ import annotations

from typing import Dict, Iterator, List, Optional, Type, Union

from vornix_host import messages as m
from vornix_host.commands import STOPS, asks_for_document, word_of
from vornix_host.events import DeviceLost, RadioChanged, StreamLost
from vornix_host.lines import LogEntry
from vornix_host.messages import Event

_RADIO = "manager state update : "
_ACCEPTED = "Connexion a "
_FAILED = "erreur de lecture des services "
_RADIO_STATES = {"poweredOn": "on", "poweredOff": "off"}
_DEVICES: Dict[Type[m.Message], str] = {
    m.TramselFound: "tramsel",
    m.ProbeFound: "probe",
    m.CorveltaBattery: "corvelta",
    m.FenwixIdentity: "fenwix",
}
_RAW = {"FX_startRaw": "raw 1", "FX_startRaw2": "raw 2"}


class Life:
    def __init__(self) -> None:
        self.radio = "unknown"  # as RadioChanged has it
        self.why_unusable: Optional[str] = None  # as RadioUnusable has it
        self.last_log: Optional[str] = None
        self.devices: Dict[str, m.Message] = {}  # by the message that makes each known or ready
        self.stops: Dict[str, str] = {}  # by the command that started, the one that stops
        self.awaits_document = False  # it was asked for, and has not come
        self.has_no_document = False  # nor will it
        self._was_reset = False  # the radio: whoever was found is lost
        self._has_failed = False  # a device, before its services were known
        self._accepted: List[str] = []  # the devices' names
        self._heard: Dict[str, float] = {}  # when each stream was last heard, monotonic clock

    def note(self, event: Event) -> Union[RadioChanged, DeviceLost, None]:
        """What the bridge wrote; what that says of the radio, if it is new, or of a device."""
        if isinstance(event, LogEntry):
            return self._note_log(event)
        if isinstance(event, m.RadioUnusable):
            self.why_unusable = event.reason
            return self._note_radio(event.reason, event)
        if isinstance(event, m.FenwixJson):
            self.awaits_document = self.has_no_document = False
        if isinstance(event, m.ProbeMeasurement):
            probe = self.devices.get("probe")
            if isinstance(probe, m.ProbeFound):
                object.__setattr__(event, "model", probe.model)
        for kind, device in _DEVICES.items():
            if isinstance(event, kind):
                self.devices[device] = event
        stream = _stream_of(event)
        if stream and (stream not in _RAW.values() or self._is_on(stream)):
            self._heard[stream] = event.monotonic
        return None

    def note_sent(self, line: str) -> None:
        """A line that is on its way to the bridge."""
        word = word_of(line)
        self.awaits_document = self.awaits_document or asks_for_document(line)
        if word in STOPS:
            self.stops[word] = STOPS[word]
        for start, stop in STOPS.items():
            if word == stop:
                self.stops.pop(start, None)
                self._heard.pop(_RAW.get(start, ""), None)

    def lost(self, now: float, silence: float) -> Iterator[StreamLost]:
        """Streams that have been silent for so many seconds; each is told once."""
        for stream, last in list(self._heard.items()):
            if now - last >= silence:
                del self._heard[stream]
                yield StreamLost(stream, now - last)

    @property
    def has_lost(self) -> bool:
        """Whether the log told of a loss: no silence of a stream is needed to know it."""
        return self._has_failed or (self._was_reset and self.radio == "on")

    def _note_log(self, event: LogEntry) -> Union[RadioChanged, DeviceLost, None]:
        text = self.last_log = event.text
        if text.startswith(_ACCEPTED):
            self._accepted.append(text[len(_ACCEPTED) :])
        if text.startswith(_FAILED):
            self._has_failed = True
            return DeviceLost(self._name_at_end(text)).received(event.monotonic, event.wall)
        if not text.startswith(_RADIO):
            return None
        state = text[len(_RADIO) :]
        return self._note_radio(_RADIO_STATES.get(state, state), event)

    def _name_at_end(self, text: str) -> str:
        """Of an accepted device: a name, and the error before it, may hold " de " as well."""
        names = [name for name in self._accepted if text.endswith(" de " + name)]
        return max(names, key=len, default=text.rpartition(" de ")[2])

    def _note_radio(self, state: str, event: Event) -> Optional[RadioChanged]:
        if state == self.radio:
            return None
        self.radio = state
        if state == "resetting":
            self._was_reset = True
            self.devices.clear()
        return RadioChanged(state).received(event.monotonic, event.wall)

    def _is_on(self, raw: str) -> bool:
        return any(_RAW.get(start) == raw for start in self.stops)


def _stream_of(event: Event) -> Optional[str]:
    """The stream that should go on once it has begun. A Corvelta may be silent."""
    if isinstance(event, m.TramselMotion):
        return "motion"
    if isinstance(event, m.ProbeMeasurement):
        return "measurement"
    if isinstance(event, m.FenwixRms):
        return f"rms {event.stream}"
    if isinstance(event, m.FenwixRaw):
        return f"raw {event.stream}"
    return None
