"""A session with vornix-scope in the bridge's place, as its host has it."""

import os
import pathlib
import signal
import subprocess
import tempfile
import threading
import time

PATIENCE = 60  # seconds


class Session:
    """Reads all that comes, unless it is told to stall."""

    def __init__(self, scope, *arguments, environment=None, is_stalled=False):
        self._folder = tempfile.TemporaryDirectory(prefix="scope-session-")
        self.address_file = pathlib.Path(self._folder.name, "address")
        self.process = subprocess.Popen(
            [scope, "--address", str(self.address_file), *arguments], stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            env={**os.environ, **(environment or {})})
        self.output = bytearray()
        self.error = bytearray()
        self._may_read = threading.Event()
        if not is_stalled:
            self._may_read.set()
        self._readers = [threading.Thread(target=self._read, args=each, daemon=True) for each in (
            (self.process.stdout, self.output), (self.process.stderr, self.error))]
        for reader in self._readers:
            reader.start()

    def _read(self, stream, into):
        while True:
            if stream is self.process.stdout:
                self._may_read.wait()
            data = os.read(stream.fileno(), 65536)
            if not data:
                return
            into += data

    def stall(self):
        self._may_read.clear()

    def resume(self):
        self._may_read.set()

    @property
    def address(self):
        end = time.monotonic() + PATIENCE
        while not self.address_file.exists():
            assert time.monotonic() < end, f"no address: {bytes(self.error)!r}"
            time.sleep(0.01)
        return self.address_file.read_text(encoding="ascii").strip()

    def write(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def wait_for(self, text, patience=PATIENCE):
        end = time.monotonic() + patience
        while text not in self.output:
            assert time.monotonic() < end, f"did not come: {text!r}"
            time.sleep(0.01)

    def end(self, line="kill"):
        """The status, negative for a signal, as subprocess has it."""
        if line:
            self.write(line)
        status = self.process.wait(PATIENCE)
        for reader in self._readers:
            reader.join()
        return status

    def close(self):
        self.resume()
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
            self.process.wait()
        for stream in (self.process.stdin, self.process.stdout, self.process.stderr):
            try:
                stream.close()
            except BrokenPipeError:
                pass
        self._folder.cleanup()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def watcher(scope, session):
    """The number of the process that holds a session's recording and page."""
    for path in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            words = (path / "cmdline").read_bytes().split(b"\0")
            if os.fsencode(scope) == words[0] and os.fsencode(session.address_file) in words \
                    and int(path.name) != session.process.pid:
                return int(path.name)
        except OSError:
            pass
    raise AssertionError("nobody watches")
