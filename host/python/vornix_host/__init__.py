"""A host for Vornix: see Bridge, and docs/host-protocol.md for the protocol."""

from vornix_host import messages
from vornix_host.bridge import Bridge, BridgeEnded
from vornix_host.commands import CommandError
from vornix_host.events import DeviceLost, Ended, GivenUp, RadioChanged, Restarting, Started
from vornix_host.events import StreamLost, TrustLost
from vornix_host.lines import DamagedLine, LineReader, LogEntry, Payload, checksum
from vornix_host.messages import *  # noqa: F403
from vornix_host.streams import BridgeOver, Stream

__all__ = [
    "Bridge", "BridgeEnded", "BridgeOver", "CommandError", "DamagedLine", "DeviceLost", "Ended", "GivenUp",
    "LineReader", "LogEntry", "Payload", "RadioChanged", "Restarting", "Started", "Stream", "StreamLost",
    "TrustLost", "checksum",
]  # fmt: skip
__all__ += messages.__all__
