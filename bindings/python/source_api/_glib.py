# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""The GLib functions that are needed to deliver the library's signals."""

from __future__ import annotations

import ctypes
from ctypes import POINTER, c_char_p, c_int, c_uint32, c_ulong, c_ushort, c_void_p
from typing import Any, Callable

from .errors import BusLostError, SourceApiError

_glib = ctypes.CDLL("libglib-2.0.so.0")
_gobject = ctypes.CDLL("libgobject-2.0.so.0")
_gio = ctypes.CDLL("libgio-2.0.so.0")


def _declare(library: ctypes.CDLL, name: str, result: Any, *parameters: Any) -> Callable[..., Any]:
    function = getattr(library, name)
    function.argtypes = list(parameters)
    function.restype = result
    return function  # type: ignore[no-any-return]


class _Error(ctypes.Structure):
    _fields_ = [("domain", c_uint32), ("code", c_int), ("message", c_char_p)]


class _PollRecord(ctypes.Structure):
    _fields_ = [("descriptor", c_int), ("events", c_ushort), ("happened", c_ushort)]


_Closed = ctypes.CFUNCTYPE(None, c_void_p, c_int, c_void_p, c_void_p)
_SYSTEM_BUS = 1

_context_new = _declare(_glib, "g_main_context_new", c_void_p)
_context_push = _declare(_glib, "g_main_context_push_thread_default", None, c_void_p)
_context_pop = _declare(_glib, "g_main_context_pop_thread_default", None, c_void_p)
_context_iterate = _declare(_glib, "g_main_context_iteration", c_int, c_void_p, c_int)
_context_wake_up = _declare(_glib, "g_main_context_wakeup", None, c_void_p)
_context_ref_default = _declare(_glib, "g_main_context_ref_thread_default", c_void_p)
_context_unref = _declare(_glib, "g_main_context_unref", None, c_void_p)
_context_acquire = _declare(_glib, "g_main_context_acquire", c_int, c_void_p)
_context_release = _declare(_glib, "g_main_context_release", None, c_void_p)
_context_prepare = _declare(_glib, "g_main_context_prepare", c_int, c_void_p, POINTER(c_int))
_context_query = _declare(
    _glib, "g_main_context_query", c_int, c_void_p, c_int, POINTER(c_int), POINTER(_PollRecord),
    c_int,
)
_error_free = _declare(_glib, "g_error_free", None, POINTER(_Error))
_bus_get = _declare(_gio, "g_bus_get_sync", c_void_p, c_int, c_void_p, POINTER(POINTER(_Error)))
_bus_is_closed = _declare(_gio, "g_dbus_connection_is_closed", c_int, c_void_p)
_connect_signal = _declare(
    _gobject, "g_signal_connect_data", c_ulong, c_void_p, c_char_p, _Closed, c_void_p, c_void_p,
    c_int,
)


def keep_forever(callback: object) -> None:
    """Prevents the destruction of an object that native code refers to until the process exits."""
    ctypes.pythonapi.Py_IncRef(ctypes.py_object(callback))


class MainContext:
    """A main context that is never destroyed."""

    def __init__(self) -> None:
        self._context = _context_new()

    def __enter__(self) -> None:
        """Makes it the thread-default main context."""
        _context_push(self._context)

    def __exit__(self, *_: object) -> None:
        _context_pop(self._context)

    def iterate(self) -> None:
        """Waits for an event and dispatches it."""
        _context_iterate(self._context, True)

    def wake_up(self) -> None:
        """Wakes iterate() on another thread, or makes its next call return at once."""
        _context_wake_up(self._context)


class OwnedContext:
    """The thread-default main context, acquired by this thread. GLib wakes a context for changes by
    other threads only while it is acquired."""

    def __enter__(self) -> OwnedContext:
        self._context = _context_ref_default()
        if not _context_acquire(self._context):
            _context_unref(self._context)
            raise SourceApiError("another thread iterates the main context")
        return self

    def __exit__(self, *_: object) -> None:
        _context_release(self._context)
        _context_unref(self._context)

    def awaited(self) -> tuple[dict[int, int], int]:
        """Returns the poll() events to wait for, by descriptor, and the timeout in milliseconds
        after which dispatch() must be called, negative for none."""
        priority, timeout = c_int(), c_int()
        _context_prepare(self._context, priority)
        count = 0
        while True:
            records = (_PollRecord * count)()
            count = _context_query(self._context, priority, timeout, records, len(records))
            if count <= len(records):
                break
        events: dict[int, int] = {}
        for record in records[:count]:
            events[record.descriptor] = events.get(record.descriptor, 0) | record.events
        return events, timeout.value

    def dispatch(self) -> None:
        """Dispatches pending events without blocking."""
        _context_iterate(self._context, False)

    def wake_up(self) -> None:
        """Makes the iterating thread poll again."""
        _context_wake_up(self._context)


class SystemBus:
    """The process's connection to the system bus, which the library uses as well."""

    def __init__(self, on_closed: Callable[[], None]) -> None:
        """Opens the connection if necessary. on_closed is called in the thread-default main context
        of the thread that opened it."""
        error = POINTER(_Error)()
        self._connection = _bus_get(_SYSTEM_BUS, None, ctypes.byref(error))
        if self._connection is None:
            message = error.contents.message or b""
            _error_free(error)
            raise SourceApiError("no system bus: " + message.decode("utf-8", "replace"))
        if _bus_is_closed(self._connection):
            raise BusLostError("the connection to the system bus was lost")
        callback = _Closed(lambda *_: on_closed())
        keep_forever(callback)
        _connect_signal(self._connection, b"closed", callback, None, None, 0)
