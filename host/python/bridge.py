"""The bridge as a child process: lines come out of a queue, commands go in."""

import queue
import subprocess
import threading

import lines

# What a device has to have sent before it takes commands, by the commands' beginning.
READY = {"CV_": "C;4;0;", "FX_": "C;5;0;"}


class Bridge:
    """Reading and writing have a thread each: the bridge may wait for one of them while the other
    is what it waits for."""

    def __init__(self, command):
        self.lines = queue.SimpleQueue()  # of lines.py; None is the end of the output
        self._orders = queue.SimpleQueue()  # for the writing thread
        self._process = subprocess.Popen(
            command,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            start_new_session=True,  # a Ctrl-C at the terminal is for the host alone
        )
        for work in (self._read, self._write):
            threading.Thread(target=work, daemon=True).start()

    def send(self, command):
        """A command whose device is not ready waits for it: too early, it would end the bridge."""
        self._orders.put(("command", command))

    def end(self):
        """Closes the bridge's input. Its lines go on coming until None."""
        self._orders.put(("end", None))

    def status(self):
        """After the end: the exit status, or minus the number of the signal that ended it."""
        return self._process.wait()

    def _read(self):
        reader = lines.LineReader()
        while data := self._process.stdout.read1():
            for line in reader.feed(data):
                self._take(line)
        for line in reader.finish():
            self._take(line)
        self.lines.put(None)
        self.end()

    def _take(self, line):
        if isinstance(line, lines.Payload):
            for commands, beginning in READY.items():
                if line.text.startswith(beginning):
                    self._orders.put(("ready", commands))
        self.lines.put(line)

    def _write(self):
        ready, waiting = set(), []
        with self._process.stdin as pipe:
            for kind, what in iter(self._orders.get, ("end", None)):
                if kind == "ready":
                    ready.add(what)
                else:
                    waiting.append(what)
                for command in [one for one in waiting if is_free(one, ready)]:
                    waiting.remove(command)
                    if not written(command, pipe):
                        return


def is_free(command, ready):
    beginning = command[:3]
    return beginning not in READY or beginning in ready


def written(command, pipe):
    try:
        pipe.write(command.encode() + b"\n")
        pipe.flush()
    except BrokenPipeError:
        return False  # the bridge has ended: None comes in its lines
    return True
