"""A bridge as a child process, for the checks of the documents."""

import queue
import re
import subprocess
import threading

# For one line. A check that passes never waits it out.
PATIENCE = 60


class Unexpected(Exception):
    """What the bridge did is not what the page says."""


def without_time(line):
    """A log line as the page writes it: "<@ : text>"."""
    return re.sub(r"^<@\d\d:\d\d:\d\d\.\d\d\d : ", "<@ : ", line)


class Bridge:
    """Lines are those of the output without line feed; log lines without their time."""

    def __init__(self, command):
        self.lines = []  # all that next() has returned
        self._queue = queue.Queue()
        self._has_ended = False
        self._process = subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE
        )
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._process.kill()
        self._process.wait()
        self._reader.join()
        for pipe in (self._process.stdin, self._process.stdout, self._process.stderr):
            try:
                pipe.close()
            except BrokenPipeError:
                pass

    def send(self, line):
        try:
            self._process.stdin.write(line.encode() + b"\n")
            self._process.stdin.flush()
        except BrokenPipeError as error:
            raise Unexpected(f"the bridge has ended before {line!r}") from error

    def close_input(self):
        try:
            self._process.stdin.close()
        except BrokenPipeError:
            pass

    def next(self):
        """The next line, or None at the end of the output."""
        if self._has_ended:
            return None
        try:
            line = self._queue.get(timeout=PATIENCE)
        except queue.Empty:
            raise Unexpected(f"nothing more after {self.lines[-1:]}") from None
        if line is None:
            self._has_ended = True
        else:
            self.lines.append(line)
        return line

    def until(self, is_wanted):
        """The lines up to the wanted one, which is the last of them."""
        passed = []
        while True:
            line = self.next()
            if line is None:
                raise Unexpected(f"the bridge ended ({self.status()}) after {passed[-3:]}")
            passed.append(line)
            if is_wanted(line):
                return passed

    def rest(self):
        """What is still written until the end."""
        return list(iter(self.next, None))

    def status(self):
        """How it ended: an exit status, or minus a signal's number."""
        try:
            return self._process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            raise Unexpected("the bridge does not end") from None

    def errors(self):
        return self._process.stderr.read().decode()

    def _read(self):
        for line in self._process.stdout:
            text = line.decode("utf-8", "backslashreplace")
            whole = text.endswith(">\n")
            self._queue.put(without_time(text[:-1]) if whole else "cut off: " + text)
        self._queue.put(None)

