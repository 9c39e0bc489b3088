"""The bridge's messages, its commands and its devices' families. Written by host/tables/write.py
from docs/messages.json, and not by hand.

Numbers without a unit are the device's own: its maker knows what they mean.
"""

# fmt: off
from __future__ import annotations

import dataclasses
from typing import Dict, List, Optional, Tuple, Type

from vornix_host.form import Bytes, Choice, Form, Number, Text
from vornix_host.received import Message

__all__ = [
    "RadioUnusable",
    "ProbeFound",
    "ProbeMeasurement",
    "TramselFound",
    "TramselMotion",
    "CorveltaBattery",
    "CorveltaOnMains",
    "CorveltaCalibration",
    "CorveltaCalibrationError",
    "CorveltaContraction",
    "FenwixIdentity",
    "FenwixBattery",
    "FenwixRms",
    "FenwixRaw",
    "FenwixJson",
]


@dataclasses.dataclass(frozen=True)
class RadioUnusable(Message):
    '''"Z;{reason};": Bluetooth is unusable; the bridge ends one second later.'''

    # "off": switched off; "unsupported": not there, or its state is unknown; "unauthorized":
    # forbidden to the bridge
    reason: str


@dataclasses.dataclass(frozen=True)
class ProbeFound(Message):
    '''"C;{model};": a probe is accepted, before it is connected.'''

    model: str  # "ilo": Ilo; "tenoval": Tenoval


@dataclasses.dataclass(frozen=True)
class ProbeMeasurement(Message):
    '''"S;{battery};{first};{second};": each measurement; remember `C;1;` or `C;2;`, nothing else
    tells whose it is.'''

    battery: Optional[int]  # 0 to 255, None: -1 not known yet, Tenoval only
    first: int  # 0 to 65535
    second: int  # 0 to 65535, 0 from an Ilo
    # Of the ProbeFound before it, or None where that was missed.
    model: Optional[str] = dataclasses.field(default=None, compare=False)


@dataclasses.dataclass(frozen=True)
class TramselFound(Message):
    '''"C;3;0;": a Tramsel is accepted, before it is connected.'''


@dataclasses.dataclass(frozen=True)
class TramselMotion(Message):
    '''"B;{battery};{v1};{v2};{v3};{v4};{v5};{v6};{v7};{v8};{v9};": each motion value.'''

    battery: Optional[int]  # 0 to 255, None: -1 not known yet
    values: Tuple[int, ...]  # 9 of -32768 to 32767


@dataclasses.dataclass(frozen=True)
class CorveltaBattery(Message):
    '''"C;4;0;{level};0;": once, after connecting: it is ready.'''

    level: int  # 0 to 255


@dataclasses.dataclass(frozen=True)
class CorveltaOnMains(Message):
    '''"V;": the device is on mains power: after connecting, and whenever it says so.'''


@dataclasses.dataclass(frozen=True)
class CorveltaCalibration(Message):
    '''"K;NC;{value};": a new calibration value.'''

    value: int  # 0 to 255


@dataclasses.dataclass(frozen=True)
class CorveltaCalibrationError(Message):
    '''"K;EC;{code};": a calibration failed.'''

    code: int  # 0 to 255


@dataclasses.dataclass(frozen=True)
class CorveltaContraction(Message):
    '''"K;MC;{first};{second};{third};": a contraction record; unasked too, where an acquisition
    was never stopped.'''

    first: int  # 0 to 65535
    second: int  # 0 to 255
    third: int  # 0 to 16777215


@dataclasses.dataclass(frozen=True)
class FenwixIdentity(Message):
    '''"C;5;0;{serial};{model};{firmware};{hardware};{systemId};": once: its command channel is
    open, it is ready.'''

    serial: int  # 1 to 4294967295
    model: int  # 0 to 4294967295
    firmware: int  # 0 to 4294967295
    hardware: int  # 0 to 4294967295
    system_id: int  # 0 to 4294967295


@dataclasses.dataclass(frozen=True)
class FenwixBattery(Message):
    '''"P0;{level};{health};": each battery value, once both are known.'''

    level: int  # 0 to 255
    health: int  # 0 to 255


@dataclasses.dataclass(frozen=True)
class FenwixRms(Message):
    '''"P{stream};{value};": each value of an RMS stream, also before it is ready.'''

    stream: int  # 1 or 2
    value: int  # -9223372036854775808 to 9223372036854775807, ten-millionths


@dataclasses.dataclass(frozen=True)
class FenwixRaw(Message):
    '''"PR{stream};{bytes};": each value of a raw stream that is on.'''

    stream: int  # 1 or 2
    data: bytes  # as the device sent them; perhaps none


@dataclasses.dataclass(frozen=True)
class FenwixJson(Message):
    '''"PJSON;{text};": the JSON document, when all of it is there.'''

    text: str  # the device's own, not yet parsed, and not to be trusted


# How each payload is written.
FORMS: List[Form] = [
    Form(["Z;", Choice({'2': 'off', '3': 'unsupported', '4': 'unauthorized'}), ";"],
         lambda f: RadioUnusable(f[0])),
    Form(["C;", Choice({'1': 'ilo', '2': 'tenoval'}), ";"],
         lambda f: ProbeFound(f[0])),
    Form(["S;", Number(-1, 255, -1), ";", Number(0, 65535), ";", Number(0, 65535), ";"],
         lambda f: ProbeMeasurement(f[0], f[1], f[2])),
    Form(["C;3;0;"],
         lambda f: TramselFound()),
    Form(["B;", Number(-1, 255, -1), ";", Number(-32768, 32767), ";", Number(-32768, 32767), ";",
          Number(-32768, 32767), ";", Number(-32768, 32767), ";", Number(-32768, 32767), ";",
          Number(-32768, 32767), ";", Number(-32768, 32767), ";", Number(-32768, 32767), ";",
          Number(-32768, 32767), ";"],
         lambda f: TramselMotion(f[0], tuple(f[1:10]))),
    Form(["C;4;0;", Number(0, 255), ";0;"],
         lambda f: CorveltaBattery(f[0])),
    Form(["V;"],
         lambda f: CorveltaOnMains()),
    Form(["K;NC;", Number(0, 255), ";"],
         lambda f: CorveltaCalibration(f[0])),
    Form(["K;EC;", Number(0, 255), ";"],
         lambda f: CorveltaCalibrationError(f[0])),
    Form(["K;MC;", Number(0, 65535), ";", Number(0, 255), ";", Number(0, 16777215), ";"],
         lambda f: CorveltaContraction(f[0], f[1], f[2])),
    Form(["C;5;0;", Number(1, 4294967295), ";", Number(0, 4294967295), ";", Number(0, 4294967295),
          ";", Number(0, 4294967295), ";", Number(0, 4294967295), ";"],
         lambda f: FenwixIdentity(f[0], f[1], f[2], f[3], f[4])),
    Form(["P0;", Number(0, 255), ";", Number(0, 255), ";"],
         lambda f: FenwixBattery(f[0], f[1])),
    Form(["P", Number(1, 2), ";", Number(-9223372036854775808, 9223372036854775807), ";"],
         lambda f: FenwixRms(f[0], f[1])),
    Form(["PR", Number(1, 2), ";", Bytes(), ";"],
         lambda f: FenwixRaw(f[0], f[1])),
    Form(["PJSON;", Text(), ";"],
         lambda f: FenwixJson(f[0])),
]
# The message that tells that a device was found, or takes commands.
DEVICES: Dict[Type[Message], str] = {
    TramselFound: "tramsel",
    ProbeFound: "probe",
    CorveltaBattery: "corvelta",
    FenwixIdentity: "fenwix",
}
# What a device's name begins with, in lower case.
FAMILIES: Dict[str, str] = {
    "tramsel": "tramsel",
    "dorvane": "tramsel",
    "ilo": "probe",
    "tenoval": "probe",
    "pelko": "probe",
    "pelk0": "probe",
    "kvaltrin": "probe",
    "tarvix": "corvelta",
    "nomsuel": "fenwix",
}
# What should go on once it has begun, by its message's `stream` where it has one; and the
# command that stops it, "" where it comes unasked.
STREAMS: Dict[Type[Message], List[Tuple[str, str]]] = {
    ProbeMeasurement: [('measurement', '')],
    TramselMotion: [('motion', '')],
    FenwixRms: [('rms 1', ''), ('rms 2', '')],
    FenwixRaw: [('raw 1', 'FX_stopRaw'), ('raw 2', 'FX_stopRaw2')],
}
# What the bridge logs when it begins a command.
LOGS: Dict[str, str] = {
    "CV_debutCalib": "cde : start CV calibration",
    "CV_finCalib": "cde : stop CV calibration",
    "CV_debutAcquisition": "cde : start CV acquisition",
    "CV_finAcquisition": "cde : stop CV acquistion",
    "FX_startRaw": "cde : start raw",
    "FX_stopRaw": "cde : stop raw",
    "FX_startRaw2": "cde : start raw 2",
    "FX_stopRaw2": "cde : stop raw 2",
    "FX_getJson": "cde : get json",
    "FX_cmdWriteInt": "cde : Fenwix Cmd Write Int",
    "FX_cmdWriteByte": "cde : Fenwix Cmd Write Byte",
    "kill": "cde : kill",
}
# The command that stops what one starts.
STOPS: Dict[str, str] = {
    "CV_debutCalib": "CV_finCalib",
    "CV_debutAcquisition": "CV_finAcquisition",
    "FX_startRaw": "FX_stopRaw",
    "FX_startRaw2": "FX_stopRaw2",
}
# The device that has to be ready for a command.
NEEDS: Dict[str, str] = {
    "CV_debutCalib": "corvelta",
    "CV_finCalib": "corvelta",
    "CV_debutAcquisition": "corvelta",
    "CV_finAcquisition": "corvelta",
    "FX_startRaw": "fenwix",
    "FX_stopRaw": "fenwix",
    "FX_startRaw2": "fenwix",
    "FX_stopRaw2": "fenwix",
    "FX_getJson": "fenwix",
    "FX_cmdWriteInt": "fenwix",
    "FX_cmdWriteByte": "fenwix",
}
# The largest second argument of those that have two; the first is a code of 0 to 255.
MOST: Dict[str, int] = {
    "FX_cmdWriteInt": 4294967295,
    "FX_cmdWriteByte": 255,
}
# Not between a question for the document and its answer: what comes behind a reply that broke off
# is taken for its rest.
NOT_DURING_DOCUMENT: Tuple[str, ...] = ('FX_getJson', 'FX_cmdWriteInt', 'FX_cmdWriteByte')
