# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""The source list for asyncio.

Signals are delivered by the package's thread and handed to the loop. The loop iterates GLib's main
context itself only for a program that enters iterated_main_context(): while it delivers a signal,
the library may request the list from the service, which blocks the loop."""

from __future__ import annotations

import asyncio
import weakref
from contextlib import suppress
from functools import partial
from types import TracebackType
from typing import AsyncIterator, Callable, Optional, Type, TypeVar

from ._hub import Delivery, Follower, Following, News
from .changes import Change
from .client import Client
from .errors import SourceApiError
from .sources import Source

_Result = TypeVar("_Result")


class AsyncClient:
    """A Client whose calls are awaited. They run on the loop's default executor; a
    cancelled call continues there and its result is discarded.

        async with AsyncClient() as client:
            async for change in client.changes():
                ..."""

    def __init__(self, *, delivery: Optional[Delivery] = None) -> None:
        """As Client(). With Delivery.APPLICATION the first client of the process is opened on the
        loop's thread, whose thread-default main context must be the iterated one; this blocks
        the loop."""
        self._delivery = delivery
        self._client: Optional[Client] = None

    async def __aenter__(self) -> AsyncClient:
        opening = partial(Client, delivery=self._delivery)
        is_here = self._delivery is Delivery.APPLICATION
        self._client = opening() if is_here else await _run(opening)
        return self

    async def __aexit__(
        self,
        _type: Optional[Type[BaseException]],
        _error: Optional[BaseException],
        _traceback: Optional[TracebackType],
    ) -> None:
        self.close()

    def close(self) -> None:
        """Ends every iteration that changes() has returned. Does not block."""
        self._opened().close()

    async def sources(self) -> tuple[Source, ...]:
        """See Client.sources(); the same holds for the following methods."""
        return await _run(self._opened().sources)

    async def usb_data(self, unique_key: str) -> Optional[dict[str, object]]:
        return await _run(partial(self._opened().usb_data, unique_key))

    async def edit_name(self, source_type: int, mbr_activity_index: int = 0) -> Optional[str]:
        return await _run(partial(self._opened().edit_name, source_type, mbr_activity_index))

    async def device_type(self, source_type: int, mbr_activity_index: int = 0) -> int:
        return await _run(partial(self._opened().device_type, source_type, mbr_activity_index))

    async def set_edit_name(self, source_type: int, name: str, mbr_activity_index: int = 0) -> bool:
        return await _run(
            partial(self._opened().set_edit_name, source_type, name, mbr_activity_index)
        )

    async def set_device_type(
        self, source_type: int, device_type: int, mbr_activity_index: int = 0
    ) -> bool:
        return await _run(
            partial(self._opened().set_device_type, source_type, device_type, mbr_activity_index)
        )

    async def set_detected_name_and_device_type(
        self, source_type: int, name: str, device_type: int, mbr_activity_index: int = 0
    ) -> bool:
        return await _run(
            partial(
                self._opened().set_detected_name_and_device_type,
                source_type,
                name,
                device_type,
                mbr_activity_index,
            )
        )

    async def connect(self, source_type: int) -> bool:
        return await _run(partial(self._opened().connect, source_type))

    async def connect_with_unique_key(self, source_type: int, unique_key: str) -> bool:
        return await _run(partial(self._opened().connect_with_unique_key, source_type, unique_key))

    async def osd_text(self, source_type: int) -> str:
        return await _run(partial(self._opened().osd_text, source_type))

    def changes(self) -> AsyncChanges:
        """Returns the changes from its first await or from its `async with` on."""
        return AsyncChanges(self._opened()._following)

    def _opened(self) -> Client:
        if self._client is None:
            raise SourceApiError('the client is to be opened with "async with"')
        return self._client


class AsyncChanges(AsyncIterator[Change]):
    """A queue of changes. The iteration ends with close() and raises BusLostError when the bus is
    lost. To be used in one loop.

        async with client.changes() as changes:
            show(changes.sources)
            async for change in changes:
                ..."""

    def __init__(self, following: Following) -> None:
        self._following = following
        self._news: asyncio.Queue[News] = asyncio.Queue()
        self._follower: Optional[Follower] = None
        self._sources: Optional[tuple[Source, ...]] = None
        self._is_closed = False

    @property
    def sources(self) -> tuple[Source, ...]:
        """The list that the first change is relative to."""
        if self._sources is None:
            raise SourceApiError("nothing was awaited yet")
        return self._sources

    def close(self) -> None:
        """Ends the iteration after the changes that have arrived. For the loop's thread only."""
        self._is_closed = True
        if self._follower is not None:
            self._following.end(self._follower)

    async def __aenter__(self) -> AsyncChanges:
        await self._begin()
        return self

    async def __aexit__(
        self,
        _type: Optional[Type[BaseException]],
        _error: Optional[BaseException],
        _traceback: Optional[TracebackType],
    ) -> None:
        self.close()

    async def __anext__(self) -> Change:
        if self._sources is None and not self._is_closed:
            await self._begin()
        if self._follower is None:
            raise StopAsyncIteration
        news = await self._news.get()
        if isinstance(news, Change):
            return news
        # Put back for other waiting tasks.
        self._news.put_nowait(news)
        raise news or StopAsyncIteration

    # The follower is added before the list is read, so that no change is missed. It stays if the
    # read is cancelled; the next await reads again.
    async def _begin(self) -> None:
        if self._follower is None:
            self._follower = self._following.add(_giver(asyncio.get_running_loop(), self._news))
            weakref.finalize(self, self._following.end, self._follower).atexit = False
        self._sources = await _run(partial(self._following.begin, self._follower))


def _giver(
    loop: asyncio.AbstractEventLoop, queue: asyncio.Queue[News]
) -> Callable[[News], None]:
    def give(news: News) -> None:
        # The loop is closed, so no task can be waiting.
        with suppress(RuntimeError):
            loop.call_soon_threadsafe(queue.put_nowait, news)

    return give


async def _run(function: Callable[[], _Result]) -> _Result:
    return await asyncio.get_running_loop().run_in_executor(None, function)
