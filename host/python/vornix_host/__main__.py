"""An example host: runs the bridge, prints what its devices measure, passes commands on.

  python3 -m vornix_host [--log] [--restart-on-loss] BRIDGE [ARGUMENT...]     BRIDGE: vornix

Lines of standard input are commands of the bridge. Those for a device that is not ready yet wait
for it; those that would end the bridge are refused. At the end of the input the bridge ends, once
all commands are sent and a document that was asked for has come. Ctrl-C ends it at once.

A command that waits for its device for a minute is given up. The status is 0 if the bridge ended
with 0 and every command was sent.
"""

from __future__ import annotations

import argparse
import asyncio
import signal
import sys
import threading
from typing import List, Optional, Set

from vornix_host import Bridge, BridgeEnded, BridgeOver, CommandError, Ended, LogEntry

PATIENCE = 60.0  # seconds


class Host:
    def __init__(self, bridge: Bridge, shows_log: bool) -> None:
        self._bridge, self._shows_log = bridge, shows_log
        self._events = bridge.events()
        self._waiting: Set[asyncio.Task[None]] = set()
        self.has_failed = False
        self.status: Optional[int] = None  # of the bridge's last run

    async def show(self) -> None:
        """Prints events until the bridge is over."""
        threading.Thread(target=self._read, args=[asyncio.get_running_loop()], daemon=True).start()
        try:
            async for event in self._events:
                if not isinstance(event, LogEntry):
                    print(event, flush=True)
                elif self._shows_log:
                    print(event.time, event.text, file=sys.stderr, flush=True)
                if isinstance(event, Ended):
                    self.status = event.status
        except BridgeOver as error:
            print(error, file=sys.stderr, flush=True)

    async def settle(self) -> None:
        """Lets commands that still wait fail, now that the bridge is over."""
        if self._waiting:
            await asyncio.wait(self._waiting)

    def _read(self, loop: asyncio.AbstractEventLoop) -> None:
        try:
            for line in sys.stdin:
                loop.call_soon_threadsafe(self._begin, line.rstrip("\r\n"))
            loop.call_soon_threadsafe(self._begin, None)
        except RuntimeError:
            pass  # the loop is closed: all is over

    def _begin(self, line: Optional[str]) -> None:
        work = self._end() if line is None else self._send(line)
        task = asyncio.ensure_future(work)
        self._waiting.add(task)
        task.add_done_callback(self._waiting.discard)

    async def _end(self) -> None:
        others = self._waiting - {asyncio.current_task()}
        if others:
            await asyncio.wait(others)
        await self._bridge.close()

    async def _send(self, line: str) -> None:
        try:
            if line == "FX_getJson":
                await asyncio.wait_for(self._bridge.fenwix(), PATIENCE)
                await self._bridge.get_json(PATIENCE)  # it is shown with the other messages
            else:
                await asyncio.wait_for(self._bridge.send(line), PATIENCE)
        except CommandError as error:
            self._fail(f"refused: {error}")
        except asyncio.TimeoutError:
            self._fail(f"given up after {PATIENCE:.0f} seconds: {line}")
        except (BridgeEnded, BridgeOver) as error:
            self._fail(f"{line}: {error}")

    def _fail(self, what: str) -> None:
        self.has_failed = True
        print(what, file=sys.stderr, flush=True)


async def run(command: List[str], shows_log: bool, restart_on_loss: bool) -> int:
    bridge = Bridge(*command, restart_on_loss=restart_on_loss)
    host = Host(bridge, shows_log)
    async with bridge:
        closing: List[asyncio.Future[None]] = []
        asyncio.get_running_loop().add_signal_handler(
            signal.SIGINT, lambda: closing.append(asyncio.ensure_future(bridge.close()))
        )
        await host.show()
        await host.settle()
    return 0 if host.status == 0 and not host.has_failed else 1


def main() -> int:
    parser = argparse.ArgumentParser(
        prog="vornix_host",
        description=__doc__,
        formatter_class=argparse.RawDescriptionHelpFormatter,
    )
    parser.add_argument("--log", action="store_true", help="show the bridge's log")
    parser.add_argument(
        "--restart-on-loss", action="store_true", help="start again when a device is lost"
    )
    parser.add_argument("command", nargs=argparse.REMAINDER, metavar="BRIDGE [ARGUMENT...]")
    options = parser.parse_args()
    if not options.command:
        parser.error("which bridge?")
    return asyncio.run(run(options.command, options.log, options.restart_on_loss))


if __name__ == "__main__":
    sys.exit(main())
