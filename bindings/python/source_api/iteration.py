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
    """Makes the running loop iterate the thread-default GLib main context, for a program with a
    single thread:

        async with iterated_main_context(), AsyncClient(delivery=Delivery.APPLICATION) as client:
            ...

    The loop is blocked while a GLib source is dispatched. Delivering a signal of the library may
    block on the source service: after a signal with an empty list the library requests the list.

    A GLib source that is attached by another thread, or during a dispatch, takes effect at once.
    GLib does not report one that the loop's thread attaches elsewhere, for example in a coroutine;
    it takes effect at the next dispatch or after g_main_context_wakeup().

    Raises SourceApiError if another thread iterates the context. Can be nested."""
    with OwnedContext() as context:
        iteration = _Iteration(asyncio.get_running_loop(), context)
        try:
            yield
        finally:
            iteration.end()
            # Another iteration of this context may have missed events that this one received.
            context.wake_up()


class _Iteration:
    """The descriptors are polled with a separate epoll, because the loop allows one reader for each
    descriptor and another library may have registered it."""

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

    # The descriptors are unregistered before a dispatch, which may close them.
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
                timeout = 0  # always ready for poll() too, for example a file
        if timeout >= 0:
            self._timer = self._loop.call_later(timeout / 1000, self._dispatch)

    def _end_wait(self) -> None:
        if self._timer is not None:
            self._timer.cancel()
            self._timer = None
        while self._descriptors:
            with suppress(OSError):  # already closed
                self._epoll.unregister(self._descriptors.pop())
