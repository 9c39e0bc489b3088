"""The devices of docs/device-values.md, in the words of tests/process/Script.h."""

import pathlib

import blocks

BATTERY = "2A19"
COMMAND = "3A93"
NEW_CALIBRATION = "FE5EB478-CC3B-4EF0-B33C-B674B32E0C41"
CALIBRATION_ERROR = "60583850-163A-4C00-A0DC-2DFDD223A716"

PAGE = pathlib.Path(__file__).parents[2] / "docs/device-values.md"


class Device:
    def __init__(self, paragraph):
        first, *rows = [line.text.split() for line in paragraph]
        self.kind, self.name = first
        # What is there, in the order in which it is found.
        self.services = {characteristic: service for service, characteristic, *_ in rows}
        # What the bridge reads; everything else comes by notification.
        self.read = {characteristic: value for _, characteristic, *values in rows for value in values}


DEVICES = {one.kind: one for one in map(Device, blocks.paragraphs(blocks.read(str(PAGE)), "devices"))}


def _words(device, characteristics):
    """characteristics: identifier to the words about it, in the order in which they are found."""
    services = DEVICES[device].services
    words = ["device=" + DEVICES[device].name]
    for service in dict.fromkeys(services[one] for one in characteristics):
        words.append("service=" + service)
        for one in characteristics:
            if services[one] == service:
                words += ["characteristic=" + one, *characteristics[one]]
    return words


def playing(device, values):
    """A device with nothing but these values, in their order."""
    characteristics = {}
    for characteristic, value in values:
        if characteristic not in DEVICES[device].services:
            raise ValueError(f"a {device} has no {characteristic}")
        how = "value=" if characteristic in DEVICES[device].read else "send="
        characteristics.setdefault(characteristic, []).append(how + value)
    if device == "fenwix":
        characteristics.setdefault(COMMAND, [])
    return _words(device, characteristics)


def complete(device, more=None):
    """A whole device that sends nothing by itself. more: words about some characteristics."""
    more = more or {}
    characteristics = {}
    read = DEVICES[device].read
    for characteristic in DEVICES[device].services:
        own = ["value=" + read[characteristic]] if characteristic in read else []
        characteristics[characteristic] = own + more.get(characteristic, [])
    unknown = set(more) - set(characteristics)
    if unknown:
        raise ValueError(f"a {device} has no {', '.join(unknown)}")
    return _words(device, characteristics)


def sending(device, values):
    """A whole device that sends these values when it is subscribed to."""
    more = {}
    for characteristic, value in values:
        more.setdefault(characteristic, []).append("send=" + value)
    return complete(device, more)
