# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""The source list for programs without asyncio."""

from __future__ import annotations

import json
import queue
import weakref
from functools import partial
from types import TracebackType
from typing import Callable, Iterator, Optional, Type, TypeVar, Union

from . import _guard
from ._hub import Delivery, Following, News, hub, read_sources, report
from .changes import Change
from .errors import BusLostError, SourceApiError
from .sources import Source

Handler = Callable[[Change], object]
ErrorHandler = Callable[[BaseException], object]
#: Schedules a function on a certain thread, like call_soon_threadsafe() of an event loop.
Post = Callable[[Callable[[], None]], object]

_Self = TypeVar("_Self", bound="_Closing")


class _Closing:
    """A context manager that calls close()."""

    def close(self) -> None:
        raise NotImplementedError

    def __enter__(self: _Self) -> _Self:
        return self

    def __exit__(
        self,
        _type: Optional[Type[BaseException]],
        _error: Optional[BaseException],
        _traceback: Optional[TracebackType],
    ) -> None:
        self.close()


class Client(_Closing):
    """A client of the library.

    Every method may be called on any thread, also inside a handler. A request blocks until the
    service replies, at most 25 seconds for each of two bus calls, and fails at once if the service
    is not on the bus. A read that fetches the list may also wait until the service is ready. False
    is returned for a refusal by the service and for a service that could not be reached.

    A source is identified by its type, in the service's numbering, and by its activity index, which
    distinguishes sources of one type. Numbers out of range raise OverflowError; a text with a null
    character raises ValueError. An exception of the library is a SourceApiError."""

    def __init__(self, *, delivery: Optional[Delivery] = None) -> None:
        """Opens the connection to the system bus if it is the first client of the process.
        SourceApiError when there is no bus. Without a delivery, it is the one that the process has,
        else Delivery.THREAD."""
        self._following = Following()
        self._is_closed = False
        hub.start(delivery)

    def close(self) -> None:
        """Closes what subscribe() and changes() have returned. The library's own resources are kept
        until the process exits."""
        self._is_closed = True
        self._following.end_all()

    def sources(self) -> tuple[Source, ...]:
        """Returns the list. It is requested once and then updated by the service's signals. Raises
        ListUnavailableError if it cannot be read."""
        self._check()
        return read_sources()

    def usb_data(self, unique_key: str) -> Optional[dict[str, object]]:
        """Returns the service's complete reply about the USB device with that key. None if the
        service refused or could not be reached."""
        self._check()
        text = _guard.get_usb_data(unique_key)
        document = None if text is None else json.loads(text)
        return document if isinstance(document, dict) else None

    def edit_name(self, source_type: int, mbr_activity_index: int = 0) -> Optional[str]:
        """Returns the user's name of a source or, without one, the detected name. None if the
        source is unknown or the names could not be read."""
        self._check()
        return _guard.get_edit_name(source_type, mbr_activity_index)

    def device_type(self, source_type: int, mbr_activity_index: int = 0) -> int:
        """Returns the device type of a source. 0 also if the source is unknown or the types could
        not be read."""
        self._check()
        return _guard.get_device_type(source_type, mbr_activity_index)

    def set_edit_name(self, source_type: int, name: str, mbr_activity_index: int = 0) -> bool:
        """Sets the user's name of a source, which may be empty. True on success."""
        self._check()
        return _guard.set_edit_name(source_type, name, mbr_activity_index)

    def set_device_type(
        self, source_type: int, device_type: int, mbr_activity_index: int = 0
    ) -> bool:
        """Sets the device type of a source. True on success."""
        self._check()
        return _guard.set_device_type(source_type, device_type, mbr_activity_index)

    def set_detected_name_and_device_type(
        self, source_type: int, name: str, device_type: int, mbr_activity_index: int = 0
    ) -> bool:
        """Sets what was detected for a source. True on success."""
        self._check()
        return _guard.set_detected_name_and_device_type(
            source_type, name, device_type, mbr_activity_index
        )

    def connect(self, source_type: int) -> bool:
        """Switches the TV to a source. True on success."""
        self._check()
        return _guard.connect_source(source_type)

    def connect_with_unique_key(self, source_type: int, unique_key: str) -> bool:
        """Connects the source of that type and key. True on success."""
        self._check()
        return _guard.connect_source_with_unique_key(source_type, unique_key)

    def osd_text(self, source_type: int) -> str:
        """Returns the platform's on-screen text of a source type, "----" for an unknown type. Does
        not call the service."""
        self._check()
        return _guard.get_source_osd_text(source_type)

    def subscribe(
        self,
        handler: Handler,
        *,
        post: Optional[Post] = None,
        on_error: Optional[ErrorHandler] = None,
    ) -> Subscription:
        """Calls handler on every change from now on. Reads the list, as sources() does; a list
        that cannot be read counts as empty.

        The handler is scheduled by `post`. Without it, it runs on the thread that delivers signals,
        which it should not block for long, or for the first load of the list on the thread that
        requested it. Its exceptions, and the loss of the bus, are passed to `on_error` or else to
        sys.unraisablehook."""
        self._check()
        return Subscription(self._following, handler, post, on_error or report)

    def changes(self) -> Changes:
        """Returns an iterator over the changes from now on, for any thread. Reads the list as
        subscribe() does."""
        self._check()
        return Changes(self._following)

    def _check(self) -> None:
        if self._is_closed:
            raise SourceApiError("the client is closed")


class Subscription(_Closing):
    """The subscription of a handler, which is called on changes until close()."""

    #: The list that the first change is relative to.
    sources: tuple[Source, ...]

    def __init__(
        self,
        following: Following,
        handler: Handler,
        post: Optional[Post],
        on_error: ErrorHandler,
    ) -> None:
        self._following = following
        self._handler = handler
        self._post = post
        self._on_error = on_error
        self._is_closed = False
        self._follower = following.add(self._take)
        self.sources = following.begin(self._follower)

    def close(self) -> None:
        """Ends the subscription. Does not wait for a call that runs on another thread. May be
        called inside the handler."""
        self._is_closed = True
        self._following.end(self._follower)

    def _take(self, news: News) -> None:
        if news is None:
            self._is_closed = True
        elif self._post is None:
            self._handle(news)
        else:
            try:
                self._post(partial(self._handle, news))
            except BaseException as error:
                self._report(error)

    def _handle(self, news: Union[Change, BusLostError]) -> None:
        if self._is_closed:
            return
        if isinstance(news, BusLostError):
            self._report(news)
            return
        try:
            self._handler(news)
        except BaseException as error:
            self._report(error)

    def _report(self, error: BaseException) -> None:
        try:
            self._on_error(error)
        except BaseException as another:
            report(another)


class Changes(_Closing, Iterator[Change]):
    """A queue of changes. The iteration ends with close() and raises BusLostError when the bus is
    lost."""

    #: The list that the first change is relative to.
    sources: tuple[Source, ...]

    def __init__(self, following: Following) -> None:
        self._news: queue.SimpleQueue[News] = queue.SimpleQueue()
        follower = following.add(self._news.put)
        self._end = weakref.finalize(self, following.end, follower)
        self._end.atexit = False
        self.sources = following.begin(follower)

    def close(self) -> None:
        """Ends the iteration after the changes that have arrived. Any thread may call it."""
        self._end()

    def get(self, timeout: Optional[float] = None) -> Change:
        """Returns the next change. Raises TimeoutError after that many seconds, and SourceApiError
        when closed."""
        try:
            news = self._news.get(timeout=timeout)
        except queue.Empty:
            raise TimeoutError(f"no change within {timeout} seconds") from None
        if isinstance(news, Change):
            return news
        # Put back for other waiting threads.
        self._news.put(news)
        raise news or _Ended("the changes are closed")

    def __next__(self) -> Change:
        try:
            return self.get()
        except _Ended:
            raise StopIteration from None


class _Ended(SourceApiError):
    pass
