"""A host for Vornix: see Bridge, and docs/host-protocol.md for what stands behind it."""

from vornix_host.bridge import Bridge, BridgeEnded
from vornix_host.commands import CommandError
from vornix_host.events import DeviceLost, Ended, GivenUp, RadioChanged, Restarting, Started
from vornix_host.events import StreamLost, TrustLost
from vornix_host.lines import DamagedLine, LineReader, LogEntry, Payload, checksum
from vornix_host.messages import (
    CorveltaBattery,
    CorveltaCalibration,
    CorveltaCalibrationError,
    CorveltaContraction,
    CorveltaOnMains,
    Event,
    FenwixBattery,
    FenwixIdentity,
    FenwixJson,
    FenwixRaw,
    FenwixRms,
    Message,
    ProbeFound,
    ProbeMeasurement,
    RadioUnusable,
    TramselFound,
    TramselMotion,
    UnknownMessage,
    decode,
)
from vornix_host.streams import BridgeOver, Stream

__all__ = [
    "Bridge", "BridgeEnded", "BridgeOver", "CommandError", "CorveltaBattery", "CorveltaCalibration",
    "CorveltaCalibrationError", "CorveltaContraction", "CorveltaOnMains", "DamagedLine", "DeviceLost",
    "Ended", "Event", "FenwixBattery", "FenwixIdentity", "FenwixJson", "FenwixRaw", "FenwixRms", "GivenUp",
    "LineReader", "LogEntry", "Message", "Payload", "ProbeFound", "ProbeMeasurement",
    "RadioChanged", "RadioUnusable", "Restarting", "Started", "Stream", "StreamLost",
    "TramselFound", "TramselMotion", "TrustLost", "UnknownMessage", "checksum", "decode",
]  # fmt: skip
