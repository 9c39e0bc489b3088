"""The bridge as a child process, for asyncio: see Bridge."""

from __future__ import annotations

import asyncio
import time
from types import TracebackType
from typing import Callable, List, Optional, Type, TypeVar, Union, cast

from vornix_host import messages as m
from vornix_host.commands import CommandError, asks_for_document, check, word_of
from vornix_host.events import Ended, GivenUp, Restarting, Started
from vornix_host.life import Life
from vornix_host.messages import Event
from vornix_host.process import Came, Process
from vornix_host.recipe import Again, End, Over, Recipe
from vornix_host.streams import BridgeOver, Hub, Stream
from vornix_host.table import LOGS, NOT_DURING_DOCUMENT

DRAINED = 0.02  # seconds of silence after which no output waits in the bridge any more
LONGEST_DRAIN = 5.0  # seconds; a device that never falls silent would hold up the end for ever
PATIENCE = 5.0  # seconds that a bridge may take to end

_V = TypeVar("_V")


class BridgeEnded(Exception):
    """The bridge has ended before an answer came. It may be started again."""


class Bridge:
    """
        async with Bridge("vornix") as bridge:
            await bridge.tramsel()
            async for motion in bridge.motions():
                print(motion.monotonic, motion.battery, motion.values)

    Every message has the time at which this host received it. A command waits until its device is
    ready and, if it uses the document's channel, until a document that was asked for has come.
    Arguments are checked. A bridge that ends by itself is started again by the recipe of the host
    protocol; with restart_on_loss, also one that has lost a device. The host then has to wait for
    its devices and to start raw streams, acquisitions and calibrations again. At the end of the
    block all that was started is stopped, waiting output is read, and the bridge is ended.

    After a document that may be damaged nothing is trusted (TrustLost): the bridge is then ended,
    started again if restart is true, and never asked for a document again by this Bridge. A
    document that nobody asked for is an UnknownMessage.

    Belongs to one event loop. The output is read whatever the host does: streams that nobody
    fetches from grow in memory.
    """

    def __init__(
        self,
        *command: str,
        restart: bool = True,
        restart_on_loss: bool = False,
        silence: float = 5.0,
    ) -> None:
        """silence: seconds without a value after which a stream that has begun counts as lost."""
        self._command, self._restart = command, restart
        self._restart_on_loss, self._silence = restart_on_loss, silence
        self._recipe = Recipe()
        self._hub = Hub()
        self._life = Life()
        self._is_closing = False
        self._asks_no_document = False
        self._starts = 0

    @property
    def radio(self) -> str:
        """The radio's state, as in RadioChanged."""
        return self._life.radio

    # From the bridge

    async def tramsel(self) -> m.TramselFound:
        """Waits until a Tramsel is found that is not lost (DeviceLost)."""
        return cast(m.TramselFound, await self._device("tramsel"))

    async def probe(self) -> m.ProbeFound:
        """Waits until a probe is found that is not lost (DeviceLost)."""
        return cast(m.ProbeFound, await self._device("probe"))

    async def corvelta(self) -> m.CorveltaBattery:
        """Waits until the Corvelta is ready."""
        return cast(m.CorveltaBattery, await self._device("corvelta"))

    async def fenwix(self) -> m.FenwixIdentity:
        """Waits until the Fenwix is ready."""
        return cast(m.FenwixIdentity, await self._device("fenwix"))

    def motions(self) -> Stream[m.TramselMotion]:
        return self._hub.stream(lambda event: isinstance(event, m.TramselMotion))

    def measurements(self) -> Stream[m.ProbeMeasurement]:
        return self._hub.stream(lambda event: isinstance(event, m.ProbeMeasurement))

    def contractions(self) -> Stream[m.CorveltaContraction]:
        return self._hub.stream(lambda event: isinstance(event, m.CorveltaContraction))

    def rms(self, stream: int = 1) -> Stream[m.FenwixRms]:
        return self._hub.stream(lambda one: isinstance(one, m.FenwixRms) and one.stream == stream)

    def raw(self, stream: int = 1) -> Stream[m.FenwixRaw]:
        return self._hub.stream(lambda one: isinstance(one, m.FenwixRaw) and one.stream == stream)

    def messages(self) -> Stream[m.Message]:
        """Everything from the devices and about the radio."""
        return self._hub.stream(lambda event: isinstance(event, m.Message))

    def events(self) -> Stream[Event]:
        """Messages, log lines and damage, and the events about the bridge itself."""
        return self._hub.stream(lambda event: True)

    # To the bridge. Each waits until the device is ready, and returns when the line has been queued
    # for writing; the bridge does not acknowledge commands.

    async def start_calibration(self) -> None:
        await self.send("CV_debutCalib")

    async def stop_calibration(self) -> None:
        await self.send("CV_finCalib")

    async def start_acquisition(self) -> None:
        await self.send("CV_debutAcquisition")

    async def stop_acquisition(self) -> None:
        await self.send("CV_finAcquisition")

    async def start_raw(self, stream: int = 1) -> None:
        await self.send("FX_startRaw" + _stream_suffix(stream))

    async def stop_raw(self, stream: int = 1) -> None:
        await self.send("FX_stopRaw" + _stream_suffix(stream))

    async def write_int(self, code: int, value: int) -> None:
        """code: 0 to 255. value: 0 to 4294967295."""
        await self.send(f"FX_cmdWriteInt {code:d} {value:d}")

    async def write_byte(self, code: int, value: int) -> None:
        """code and value: 0 to 255."""
        await self.send(f"FX_cmdWriteByte {code:d} {value:d}")

    async def get_json(self, timeout: float = 60.0) -> m.FenwixJson:
        """Asks for the document and returns it. Raises asyncio.TimeoutError when none has come
        within timeout seconds, and BridgeEnded when the bridge ends meanwhile. After a timeout no
        command may use the document's channel until it has come, or the bridge was started again."""
        async with self._asking:
            answers: Stream[Event] = self._hub.stream(lambda one: isinstance(one, (m.FenwixJson, Ended)))
            await self.send("FX_getJson")
            life = self._life
            try:
                answer = await asyncio.wait_for(answers.__anext__(), timeout)
            except asyncio.TimeoutError:
                life.has_no_document = True
                self._hub.wake()
                raise
        if isinstance(answer, m.FenwixJson):
            return answer
        raise BridgeEnded("the bridge has ended before the document came")

    async def send(self, line: str) -> None:
        """Sends a line to the bridge; raises CommandError for one that would end it.

        "kill" is close().
        """
        device = check(line)
        line = line.removesuffix("\r")
        if line == "kill":
            await self.close()
            return
        word = word_of(line) or ""
        asks = asks_for_document(line)
        await self._hub.until(
            lambda: self._hub.is_over or (asks and self._asks_no_document) or self._may_go(device, word)
        )
        if self._hub.is_over or self._is_closing:
            raise BridgeOver(self._why_over())
        if asks and self._asks_no_document:
            raise CommandError(f"{line!r}: a document was damaged, and none is asked for any more")
        if word and LOGS[word] in self._recipe.avoided:
            raise CommandError(f"{line!r} has ended the bridge twice: the device cannot do it")
        if word in NOT_DURING_DOCUMENT and self._life.has_no_document:
            raise CommandError(f"{line!r}: the document before it has not come, and holds it up")
        self._life.note_sent(line)
        self._process.write(line)

    # Start, restarts and end

    async def __aenter__(self) -> Bridge:
        self._loop = asyncio.get_running_loop()
        self._asking = asyncio.Lock()
        self._start()
        self._tasks = [asyncio.ensure_future(self._run()), asyncio.ensure_future(self._watch())]
        return self

    async def __aexit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        await self.close()

    async def close(self) -> None:
        """Stops what was started, reads waiting output, ends the bridge."""
        if not self._is_closing:
            self._is_closing = True
            self._hub.wake()
            await self._end_orderly()
        await self._hub.until(lambda: self._hub.is_over)
        for task in self._tasks:
            task.cancel()

    def _start(self) -> None:
        self._process = Process(
            self._command, self._from_thread(self._take), self._from_thread(self._end)
        )
        self._ended: asyncio.Future[int] = self._loop.create_future()
        self._life = Life()
        self._ending: Optional[asyncio.Task[None]] = None  # as after a loss
        self._starts += 1
        self._tell(Started(self._starts))

    def _from_thread(self, work: Callable[[_V], None]) -> Callable[[_V], None]:
        def hand_over(what: _V) -> None:
            try:
                self._loop.call_soon_threadsafe(work, what)
            except RuntimeError:
                pass  # the host has closed its event loop, but not the bridge

        return hand_over

    def _take(self, came: List[Came]) -> None:
        for event in came:
            for told in self._life.note(event):
                self._hub.tell(told)
        if self._life.why_distrusted:
            self._asks_no_document = True
            self._begin_ending()
            self._hub.wake()

    def _end(self, status: int) -> None:
        self._ended.set_result(status)

    def _tell(self, event: Event) -> None:
        self._hub.tell(event.received(time.monotonic(), time.time()))

    def _may_go(self, device: Optional[str], word: str) -> bool:
        """Whether a command may go now (or, if its document was given up, may be refused now)."""
        life = self._life
        is_held_up = word in NOT_DURING_DOCUMENT and life.awaits_document and not life.has_no_document
        is_ready = device is None or device in life.devices
        return is_ready and not is_held_up and not self._ending

    async def _device(self, device: str) -> m.Message:
        await self._hub.until(lambda: device in self._life.devices or self._hub.is_over)
        if device not in self._life.devices:
            raise BridgeOver(self._why_over())
        return self._life.devices[device]

    def _why_over(self) -> str:
        return self._hub.why_over or "the host has closed the bridge"

    async def _run(self) -> None:
        """Restarts the bridge until the recipe or the host ends that."""
        while True:
            status = await self._ended
            end = self._end_of_life(status)
            self._life.devices.clear()  # no device is ready once the bridge has ended
            self._tell(Ended(status))
            verdict: Union[Again, Over, None] = self._verdict(end)
            if isinstance(verdict, Again):
                self._tell(Restarting(verdict.pause))
                verdict = await self._begin_again(verdict.pause)
            if isinstance(verdict, Over):
                self._give_up(verdict.why)
                return

    def _end_of_life(self, status: int) -> End:
        lived = time.monotonic() - self._process.started
        life = self._life
        is_loss = bool(self._ending or life.why_distrusted)
        return End(status, lived, life.last_log, life.why_unusable, is_loss)

    def _verdict(self, end: End) -> Union[Again, Over]:
        verdict = self._recipe.after(end)
        if isinstance(verdict, Again) and (self._is_closing or not self._restart):
            return Over(self._life.why_distrusted or f"the bridge has ended with {end.status}")
        return verdict

    async def _begin_again(self, pause: float) -> Optional[Over]:
        try:
            await asyncio.wait_for(self._hub.until(lambda: self._is_closing), pause)
            return Over("")
        except asyncio.TimeoutError:
            pass
        try:
            self._start()
        except OSError as error:
            return Over(str(error))
        return None

    def _give_up(self, why: str) -> None:
        if not self._is_closing:
            self._tell(GivenUp(why))
        self._hub.end("" if self._is_closing else why)

    async def _end_orderly(self) -> None:
        process, ended = self._process, self._ended
        for line in list(self._life.stops.values()):
            process.write(line)
        await _drain(process, ended)
        process.write("kill")
        for more in (process.close_input, process.kill):
            await asyncio.wait({ended}, timeout=PATIENCE)
            if ended.done():
                return
            more()

    async def _watch(self) -> None:
        """Watches for lost devices."""
        while True:
            await asyncio.sleep(self._silence / 10)
            losses = list(self._life.lost(time.monotonic(), self._silence))
            for loss in losses:
                self._tell(loss)
            if self._restart_on_loss and (losses or self._life.has_lost):
                self._begin_ending()
            if self._ending:
                await self._ending

    def _begin_ending(self) -> None:
        """Ends this run of the bridge, as after a loss; the recipe decides what follows."""
        if not (self._is_closing or self._ending):
            self._ending = asyncio.ensure_future(self._end_orderly())


async def _drain(process: Process, ended: asyncio.Future[int]) -> None:
    """Waits until all output that waited in the bridge has come: it then falls silent."""
    begin = time.monotonic()
    while time.monotonic() < begin + LONGEST_DRAIN and not ended.done():
        silent = time.monotonic() - max(process.last_read, begin)
        if silent >= DRAINED:
            return
        await asyncio.sleep(DRAINED - silent)


def _stream_suffix(stream: int) -> str:
    if stream not in (1, 2):
        raise CommandError(f"there are raw streams 1 and 2, not {stream!r}")
    return "" if stream == 1 else "2"
