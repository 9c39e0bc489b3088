#!/usr/bin/env python3
"""An example host: runs the bridge, prints what its devices measure, passes commands on.

  vornix_host.py [--log] BRIDGE [ARGUMENT...]      such as: vornix_host.py vornix

Lines of standard input are commands of the bridge. Those for a device that is not ready yet wait
for it. The end of the input, or Ctrl-C, ends the bridge. With --log its log goes to standard error.
"""

import argparse
import queue
import signal
import sys
import threading
import time

import lines
import messages
from bridge import Bridge

SILENCE = 5  # seconds after which a stream that had begun is said to be silent
STARTS = 3  # how often in all a bridge that ends abnormally is started
PAUSE = 1  # seconds before it is started again

STREAMS = (messages.Motion, messages.Measurement, messages.Rms)


class Silence:
    """Tells once when a stream stays away: the bridge does not say that a device is lost."""

    def __init__(self):
        self._last = {}

    def heard(self, message):
        if isinstance(message, STREAMS):
            self._last[type(message).__name__] = time.monotonic()

    def check(self):
        for name, last in list(self._last.items()):
            if time.monotonic() - last > SILENCE:
                del self._last[name]
                print(f"silent for {SILENCE} seconds: {name}", flush=True)


class Host:
    def __init__(self, command, shows_log):
        self._command = command
        self._shows_log = shows_log
        self._bridge = None
        self._is_ending = threading.Event()

    def run(self):
        """The bridge's last status."""
        for start in range(1, STARTS + 1):
            self._bridge = Bridge(self._command)
            if start == 1:
                threading.Thread(target=self._read_commands, daemon=True).start()
            self._serve()
            status = self._bridge.status()
            if status == 0 or self._is_ending.is_set():
                return status
            print(f"the bridge has ended abnormally ({status})", flush=True)
            if start < STARTS:
                time.sleep(PAUSE)
        return status

    def end(self):
        self._is_ending.set()
        self._bridge.end()

    def _read_commands(self):
        for command in sys.stdin:
            self._bridge.send(command.rstrip("\r\n"))
        self.end()

    def _serve(self):
        silence = Silence()
        while True:
            try:
                line = self._bridge.lines.get(timeout=1)
            except queue.Empty:
                silence.check()
                continue
            if line is None:
                return
            self._show(line, silence)

    def _show(self, line, silence):
        if isinstance(line, lines.Log):
            if self._shows_log:
                print(line.time, line.text, file=sys.stderr, flush=True)
        elif isinstance(line, lines.Damage):
            print(f"damaged: {line.data!r}", flush=True)
        else:
            message = messages.decode(line.text)
            silence.heard(message)
            print(message, flush=True)


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("--log", action="store_true", help="show the bridge's log")
    parser.add_argument("command", nargs=argparse.REMAINDER, metavar="BRIDGE [ARGUMENT...]")
    options = parser.parse_args()
    if not options.command:
        parser.error("which bridge?")
    host = Host(options.command, options.log)
    signal.signal(signal.SIGINT, lambda *_: host.end())
    return 0 if host.run() == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
