# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""The single registration of this process with the library, and the followers that share it.

The library forbids registering and unregistering inside a callback. Therefore one callback is
registered once, and followers are added and removed here, where that is allowed at any time.

No lock of this module is held during a call of the library or of a follower, because the library
holds a lock of its own during callbacks. The locks are recursive because the garbage collector may
close changes at any time on any thread."""

from __future__ import annotations

import atexit
import ctypes
import enum
import threading
from concurrent.futures import Future
from typing import Callable, Optional, Union

from . import _guard
from ._glib import MainContext, SystemBus, keep_forever
from .changes import Change, change_between
from .errors import BusLostError, ListUnavailableError, SourceApiError
from .sources import Source, parse_sources

#: The argument of a follower: a change, the loss of the bus, or None after its removal.
News = Union[Change, BusLostError, None]


class Delivery(enum.Enum):
    """The thread that delivers the library's signals. It is chosen once for the process, because
    the library keeps using the main context in which it was first called."""

    #: A thread of this package with its own main context.
    THREAD = "thread"
    #: The application iterates the thread-default GLib main context of the calling thread, as a
    #: toolkit does. No thread is started.
    APPLICATION = "application"


class Follower:
    """A receiver of changes. The first change is relative to the list passed to begin()."""

    def __init__(self, give: Callable[[News], None]) -> None:
        self._give = give
        self._lock = threading.RLock()
        self._sources: Optional[tuple[Source, ...]] = None
        self._has_ended = False

    def begin(self, sources: tuple[Source, ...]) -> tuple[Source, ...]:
        """Returns the list that the first change is relative to: the given one, or a newer one if a
        signal arrived meanwhile."""
        with self._lock:
            if self._sources is None:
                self._sources = sources
            return self._sources

    def hear(self, sources: tuple[Source, ...], result: int) -> None:
        """Passes the difference to this list on, unless it is empty."""
        with self._lock:
            known, self._sources = self._sources, sources
        if known is None or self._has_ended:
            return
        change = change_between(known, sources, result)
        if change:
            self._give(change)

    def lose(self) -> None:
        self._give(BusLostError("the connection to the system bus was lost"))

    def end(self) -> None:
        with self._lock:
            if self._has_ended:
                return
            self._has_ended = True
        self._give(None)


class _Pump:
    """The thread that iterates the main context."""

    def __init__(self, context: MainContext, first_call: Callable[[], None]) -> None:
        self._context = context
        self._first_call = first_call
        self._is_taken = threading.Lock()
        self._begun: Future[None] = Future()
        self._is_ending = False

    def start(self) -> Optional[BaseException]:
        """Waits until the first call has returned and returns its exception. May be interrupted at
        any point and called again; only one of the started threads runs."""
        if not self._is_taken.locked():
            threading.Thread(target=self._run, name="source-api", daemon=True).start()
        return self._begun.exception()

    def stop(self) -> bool:
        """Returns False if a handler blocks the thread for too long."""
        self._is_ending = True
        self._context.wake_up()
        self._thread.join(timeout=10)
        return not self._thread.is_alive()

    def _run(self) -> None:
        if not self._is_taken.acquire(blocking=False):
            return
        self._thread = threading.current_thread()
        try:
            with self._context:
                self._first_call()
                self._begun.set_result(None)
                while not self._is_ending:
                    self._context.iterate()
        except BaseException as error:
            # Set after the context is released, as the next pump uses it.
            self._begun.set_exception(error)


class Hub:
    def __init__(self) -> None:
        self._starting = threading.Lock()
        self._delivery: Optional[Delivery] = None
        self._context: Optional[MainContext] = None
        self._pump: Optional[_Pump] = None
        self._bus: Optional[SystemBus] = None
        self._callback = _guard.Callback(self._on_change)
        keep_forever(self._callback)

        self._lock = threading.RLock()
        self._followers: list[Follower] = []
        self._has_lost_bus = False

    def start(self, delivery: Optional[Delivery]) -> None:
        """Makes the process's first call of the library, if necessary. After a failure the next
        call of start() tries again."""
        with self._starting:
            if self._delivery is None:
                self._start(delivery or Delivery.THREAD)
            elif delivery not in (None, self._delivery):
                raise SourceApiError(f"this process has chosen Delivery.{self._delivery.name}")

    def follow(self, follower: Follower) -> None:
        with self._lock:
            if self._has_lost_bus:
                raise BusLostError("the connection to the system bus was lost")
            self._followers.append(follower)

    def unfollow(self, follower: Follower) -> None:
        with self._lock:
            if follower in self._followers:
                self._followers.remove(follower)

    def _start(self, delivery: Delivery) -> None:
        if delivery is Delivery.THREAD:
            self._start_pump()
        else:
            self._call_first()
        self._delivery = delivery
        atexit.register(self._stop)

    def _start_pump(self) -> None:
        # Kept after a failure, because the bus connection stays bound to this context.
        self._context = self._context or MainContext()
        # It exists already if an earlier start was interrupted.
        self._pump = self._pump or _Pump(self._context, self._call_first)
        failure = self._pump.start()
        if failure is not None:
            self._pump = None
            raise failure

    # The library subscribes on the thread of the first call for which the bus is open. The bus is
    # opened first, so that this is the call below and not a later request on another thread.
    def _call_first(self) -> None:
        self._bus = self._bus or SystemBus(self._on_bus_lost)
        _guard.register(self._callback)

    # A thread that still runs Python during finalisation would be killed inside the library.
    def _stop(self) -> None:
        if self._pump is None or self._pump.stop():
            _guard.unregister()

    def _on_change(self, result: int, _user_data: Optional[int]) -> None:
        text = _guard.get_source_list()
        if text is None:
            return
        sources = parse_sources(text)
        for follower in self._all():
            follower.hear(sources, result)

    def _on_bus_lost(self) -> None:
        with self._lock:
            self._has_lost_bus = True
        for follower in self._all():
            follower.lose()

    def _all(self) -> list[Follower]:
        with self._lock:
            return list(self._followers)


class Following:
    """The followers of one client."""

    def __init__(self) -> None:
        self._followers: dict[Follower, None] = {}
        self._is_over = False

    def add(self, give: Callable[[News], None]) -> Follower:
        """Adds a follower, which receives changes after begin()."""
        follower = Follower(give)
        hub.follow(follower)
        self._followers[follower] = None
        if self._is_over:  # set by another thread meanwhile
            self.end(follower)
        return follower

    def begin(self, follower: Follower) -> tuple[Source, ...]:
        """Reads the list that the first change is relative to; empty if it cannot be read."""
        try:
            sources = read_sources()
        except ListUnavailableError:
            sources = ()
        except BaseException:
            self.end(follower)
            raise
        return follower.begin(sources)

    def end(self, follower: Follower) -> None:
        hub.unfollow(follower)
        self._followers.pop(follower, None)
        follower.end()

    def end_all(self) -> None:
        self._is_over = True
        for follower in list(self._followers):
            self.end(follower)


def read_sources() -> tuple[Source, ...]:
    text = _guard.get_source_list()
    if text is None:
        raise ListUnavailableError("the list of sources could not be read")
    return parse_sources(text)


def report(error: BaseException) -> None:
    """Passes the exception to sys.unraisablehook. Python code cannot call the hook directly, but
    ctypes calls it for an exception in a callback."""

    def leave() -> None:
        raise error

    ctypes.CFUNCTYPE(None)(leave)()


hub = Hub()
