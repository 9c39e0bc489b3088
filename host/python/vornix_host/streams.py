"""Streams of a Bridge's events, for `async for`."""

from __future__ import annotations

import asyncio
import collections
import weakref
from typing import AsyncIterator, Callable, Deque, Generic, Set, TypeVar, cast

from vornix_host.messages import Event

_T = TypeVar("_T", bound=Event)


class BridgeOver(Exception):
    """The bridge has ended and is not started again; the text says why."""


class Stream(AsyncIterator[_T], Generic[_T]):
    """The events from now on, one by one; those not fetched yet are kept.

    Ends when the host has closed the bridge. Raises BridgeOver if the bridge is over otherwise.
    """

    def __init__(self, hub: Hub, is_wanted: Callable[[Event], bool]) -> None:
        self._hub, self._is_wanted = hub, is_wanted
        self._kept: Deque[_T] = collections.deque()

    def offer(self, event: Event) -> None:
        if self._is_wanted(event):
            self._kept.append(cast(_T, event))

    def __aiter__(self) -> Stream[_T]:
        return self

    async def __anext__(self) -> _T:
        await self._hub.until(lambda: bool(self._kept) or self._hub.is_over)
        if self._kept:
            return self._kept.popleft()
        if self._hub.why_over:
            raise BridgeOver(self._hub.why_over)
        raise StopAsyncIteration


class Hub:
    """Distributes events to all streams, and wakes tasks that wait. Belongs to one event loop."""

    def __init__(self) -> None:
        self.is_over = False
        self.why_over = ""  # empty if the host ended it
        self._streams: weakref.WeakSet[Stream[Event]] = weakref.WeakSet()  # those in use
        self._waiting: Set[asyncio.Future[None]] = set()

    def stream(self, is_wanted: Callable[[Event], bool]) -> Stream[_T]:
        stream: Stream[_T] = Stream(self, is_wanted)
        self._streams.add(cast("Stream[Event]", stream))
        return stream

    def tell(self, event: Event) -> None:
        for stream in list(self._streams):
            stream.offer(event)
        self.wake()

    def end(self, why: str) -> None:
        self.is_over, self.why_over = True, why
        self.wake()

    def wake(self) -> None:
        """To be called when something has changed for which a task may wait."""
        for future in self._waiting:
            if not future.done():
                future.set_result(None)

    async def until(self, is_so: Callable[[], bool]) -> None:
        while not is_so():
            future: asyncio.Future[None] = asyncio.get_running_loop().create_future()
            self._waiting.add(future)
            try:
                await future
            finally:
                self._waiting.discard(future)
