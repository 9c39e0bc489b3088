"""The devices of the examples, in the words of tests/process/Script.h."""

BATTERY = "2A19"
COMMAND = "3A93"
NEW_CALIBRATION = "FE5EB478-CC3B-4EF0-B33C-B674B32E0C41"
CALIBRATION_ERROR = "60583850-163A-4C00-A0DC-2DFDD223A716"

NAMES = {
    "tramsel": "Tramsel-12",
    "ilo": "ILO-1234",
    "tenoval": "Tenoval-7",
    "corvelta": "Tarvix-3",
    "fenwix": "Nomsuel-9",
}

# Characteristic to service, per device. The battery comes first: what a device is said to be ready
# for then has the fewest answers before it.
SERVICES = {
    "tramsel": {
        BATTERY: "180F",
        "EF680408-9B35-4933-9B10-52FFA9740042": "EF680400-9B35-4933-9B10-52FFA9740042",
    },
    "ilo": {"23BCDD50-00AC-446D-92B9-07AB6E436AD8": "85538AF7-9604-4F46-A933-C9E7A9E05748"},
    "tenoval": {BATTERY: "180F", "AA41": "AA40"},
    "corvelta": {
        BATTERY: "180F",
        "36410EC0-A40F-49AF-AA74-27B875BA8751": "89E6B9FD-F08F-4B6C-93E6-49A24BA04200",
        "D35386E6-0B1E-453B-963E-9E1F2B527FE7": "89E6B9FD-F08F-4B6C-93E6-49A24BA04200",
        "0860AC22-B172-468E-9755-03A53F3C7E40": "A4459812-7361-4607-95E1-E58B2FC953D9",
        NEW_CALIBRATION: "A4459812-7361-4607-95E1-E58B2FC953D9",
        CALIBRATION_ERROR: "A4459812-7361-4607-95E1-E58B2FC953D9",
        "5B4153A2-3F1C-4DC4-872E-E43265446878": "D72DCC05-7E84-464D-91A6-B8CC7FE47B2A",
        "5D63AFC1-16D0-4C47-BDB8-39DE23DAF30A": "D72DCC05-7E84-464D-91A6-B8CC7FE47B2A",
    },
    "fenwix": {
        BATTERY: "180F",
        "2BEB": "180F",
        "2A24": "180A",
        "2A28": "180A",
        "2A27": "180A",
        "2A25": "180A",
        "2A23": "180A",
        "3A89": "98AB",
        "3A90": "98AB",
        "3A87": "98AB",
        "3A88": "98AB",
        COMMAND: "98AC",
    },
}

# What the bridge reads; everything else comes by notification.
READ = {
    BATTERY: "57",
    "2BEB": "01",
    "2A24": "02000000",
    "2A28": "04010000",
    "2A27": "03000000",
    "2A25": "E2D40100",
    "2A23": "07000000",
    "36410EC0-A40F-49AF-AA74-27B875BA8751": "312E322E33",
    "D35386E6-0B1E-453B-963E-9E1F2B527FE7": "00",
}


def _words(device, characteristics):
    """characteristics: identifier to the words about it, in the order in which they are found."""
    services = SERVICES[device]
    words = ["device=" + NAMES[device]]
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
        if characteristic not in SERVICES[device]:
            raise ValueError(f"a {device} has no {characteristic}")
        how = "value=" if characteristic in READ else "send="
        characteristics.setdefault(characteristic, []).append(how + value)
    if device == "fenwix":
        characteristics.setdefault(COMMAND, [])
    return _words(device, characteristics)


def complete(device, more=None):
    """A whole device that sends nothing by itself. more: words about some characteristics."""
    more = more or {}
    characteristics = {}
    for characteristic in SERVICES[device]:
        own = ["value=" + READ[characteristic]] if characteristic in READ else []
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
