"""One run of the bridge as a process: gives its output as events, and writes lines to its input.

Reading and writing have a thread each, since the bridge may not read its input while its output is
not read. Reading never waits for the host either, so nothing is lost while the host is busy.
"""

from __future__ import annotations

import queue
import subprocess
import threading
import time
from typing import Callable, Iterable, List, Optional, Sequence, Union

from vornix_host.lines import DamagedLine, Line, LineReader, LogEntry, Payload
from vornix_host.messages import Message, decode

Came = Union[LogEntry, DamagedLine, Message]


class Process:
    """Calls take(events) and, last of all, ended(status) on the reading thread.

    status: the exit status, or minus the number of the signal that ended it.
    """

    def __init__(
        self,
        command: Sequence[str],
        take: Callable[[List[Came]], None],
        ended: Callable[[int], None],
    ) -> None:
        self.started = time.monotonic()
        self.last_read = self.started
        self._take, self._ended = take, ended
        self._lines: queue.SimpleQueue[Optional[bytes]] = queue.SimpleQueue()
        self._process = subprocess.Popen(
            command,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            bufsize=0,
            start_new_session=True,  # a Ctrl-C at the terminal is for the host alone
        )
        for work in (self._read, self._write):
            threading.Thread(target=work, daemon=True).start()

    def write(self, line: str) -> None:
        """Queues a line, without waiting. If the bridge has ended, the line is lost."""
        self._lines.put(line.encode() + b"\n")

    def close_input(self) -> None:
        self._lines.put(None)

    def kill(self) -> None:
        """Ends the bridge by SIGKILL, if it does not end by itself."""
        self._process.kill()

    def _read(self) -> None:
        assert self._process.stdout
        reader = LineReader()
        while data := self._process.stdout.read(1 << 16):
            self.last_read = time.monotonic()
            self._pass_on(reader.feed(data))
        self._pass_on(reader.finish())
        self._process.stdout.close()
        self.close_input()
        self._ended(self._process.wait())

    def _pass_on(self, lines: Iterable[Line]) -> None:
        monotonic, wall = self.last_read, time.time()
        came: List[Came] = []
        for line in lines:
            event = decode(line.text) if isinstance(line, Payload) else line
            came.append(event.received(monotonic, wall))
        if came:
            self._take(came)

    def _write(self) -> None:
        assert self._process.stdin
        try:
            with self._process.stdin as pipe:
                for line in iter(self._lines.get, None):
                    pipe.write(line)
        except BrokenPipeError:
            pass  # the bridge has ended, which ended() reports
