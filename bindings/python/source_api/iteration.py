# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""GLib's main context, iterated by an asyncio loop."""

from __future__ import annotations

import asyncio
import select
from contextlib import asynccontextmanager, suppress
from typing import AsyncIterator, Optional

from ._glib import OwnedContext


@asynccontextmanager
async def iterated_main_context() -> AsyncIterator[None]:
    """Has the running loop iterate the GLib main context that is its thread's default, for a
    program that wants everything on one thread:

        async with iterated_main_context(), AsyncClient(delivery=Delivery.APPLICATION) as client:
            ...

    The loop stands still while a source is dispatched. One that delivers the library's signals may
    wait for the source service: a signal with an empty list has the library ask for the list.

    A source that another thread attaches, or one that is being dispatched, is seen at once. GLib
    tells nobody of one that the loop's thread attaches elsewhere, as in a coroutine: it is seen
    when the context has something else to do, or after g_main_context_wakeup().

    SourceApiError when another thread iterates the context. May be entered several times."""
    with OwnedContext() as context:
        iteration = _Iteration(asyncio.get_running_loop(), context)
        try:
            yield
        finally:
            iteration.end()
            # What this one has seen may be more than another one here waits for.
            context.wake_up()


class _Iteration:
    """The descriptors have an epoll of their own: the loop takes one reader for each descriptor,
    and that may be somebody else's."""

    def __init__(self, loop: asyncio.AbstractEventLoop, context: OwnedContext) -> None:
        self._loop = loop
        self._context = context
        self._descriptors: list[int] = []
        self._timer: Optional[asyncio.TimerHandle] = None
        self._epoll = select.epoll()
        loop.add_reader(self._epoll.fileno(), self._dispatch)
        self._wait()

    def end(self) -> None:
        self._end_wait()
        self._loop.remove_reader(self._epoll.fileno())
        self._epoll.close()

    # The wait ends before anything is dispatched, which may close the descriptors.
    def _dispatch(self) -> None:
        self._end_wait()
        self._context.dispatch()
        self._wait()

    def _wait(self) -> None:
        events, timeout = self._context.awaited()
        for descriptor, mask in events.items():
            try:
                self._epoll.register(descriptor, mask)
                self._descriptors.append(descriptor)
            except OSError:
                timeout = 0  # one that poll() does not wait for either, such as a file
        if timeout >= 0:
            self._timer = self._loop.call_later(timeout / 1000, self._dispatch)

    def _end_wait(self) -> None:
        if self._timer is not None:
            self._timer.cancel()
            self._timer = None
        while self._descriptors:
            with suppress(OSError):  # closed meanwhile
                self._epoll.unregister(self._descriptors.pop())
