# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""The library's C functions, called through the guard library, which converts C++ exceptions.

Calls release the global interpreter lock, as the functions belong to a ctypes.CDLL."""

from __future__ import annotations

import ctypes
import operator
from ctypes import c_bool, c_char_p, c_int, c_uint, c_void_p
from typing import Any, Callable, Optional

from .errors import SourceApiError

#: The type of the library's callback on every change: result, user data.
Callback = ctypes.CFUNCTYPE(None, c_int, c_void_p)

_library = ctypes.CDLL("libsource-api-guard.so.1")


def _declare(name: str, result: Any, *parameters: Any) -> Callable[..., Any]:
    function = getattr(_library, "guarded_" + name)
    function.argtypes = [*parameters, ctypes.POINTER(c_void_p)]
    function.restype = result

    def call(*arguments: Any) -> Any:
        error = c_void_p()
        returned = function(*arguments, ctypes.byref(error))
        if error.value is not None:
            raise SourceApiError(_taken(error.value))
        return returned

    return call


def _taken(text: int) -> str:
    try:
        return ctypes.string_at(text).decode("utf-8", "replace")
    finally:
        release(text)


def _text_or_none(text: Optional[int]) -> Optional[str]:
    return None if text is None else _taken(text)


release = _library.guarded_release
release.argtypes = [c_void_p]
release.restype = None

# Texts are declared as void pointers, because with c_char_p the pointer to release would be lost.
_get_source_list = _declare("get_source_list", c_void_p)
_get_usb_data = _declare("get_usb_data", c_void_p, c_char_p)
_get_edit_name = _declare("get_edit_name", c_void_p, c_int, c_int)
_get_device_type = _declare("get_device_type", c_uint, c_int, c_int)
_set_edit_name = _declare("set_edit_name", c_bool, c_int, c_char_p, c_int)
_set_device_type = _declare("set_device_type", c_bool, c_int, c_uint, c_int)
_connect_source = _declare("connect_source", c_bool, c_int)
_connect_with_key = _declare("connect_source_with_uniquekey", c_bool, c_int, c_char_p)
_register = _declare("register_sourcelist_changed_callback", None, Callback, c_void_p)
_unregister = _declare("unregister_sourcelist_changed_callback", None, c_void_p)
_get_osd_text = _declare("get_source_osd_text", c_void_p, c_int)
_set_detected = _declare(
    "set_source_detetedname_and_devicetype", c_bool, c_int, c_char_p, c_uint, c_int
)


def get_source_list() -> Optional[str]:
    return _text_or_none(_get_source_list())


def get_usb_data(unique_key: str) -> Optional[str]:
    return _text_or_none(_get_usb_data(_bytes(unique_key)))


def get_edit_name(source_type: int, index: int) -> Optional[str]:
    return _text_or_none(_get_edit_name(_int(source_type), _int(index)))


def get_device_type(source_type: int, index: int) -> int:
    return int(_get_device_type(_int(source_type), _int(index)))


def set_edit_name(source_type: int, name: str, index: int) -> bool:
    return bool(_set_edit_name(_int(source_type), _bytes(name), _int(index)))


def set_device_type(source_type: int, device_type: int, index: int) -> bool:
    return bool(_set_device_type(_int(source_type), _unsigned(device_type), _int(index)))


def connect_source(source_type: int) -> bool:
    return bool(_connect_source(_int(source_type)))


def connect_source_with_unique_key(source_type: int, unique_key: str) -> bool:
    return bool(_connect_with_key(_int(source_type), _bytes(unique_key)))


def register(callback: Any) -> None:
    _register(callback, None)


def unregister() -> None:
    _unregister(None)


def get_source_osd_text(source_type: int) -> str:
    return _text_or_none(_get_osd_text(_int(source_type))) or ""


def set_detected_name_and_device_type(
    source_type: int, name: str, device_type: int, index: int
) -> bool:
    return bool(
        _set_detected(_int(source_type), _bytes(name), _unsigned(device_type), _int(index))
    )


def _bytes(text: str) -> bytes:
    if not isinstance(text, str):
        raise TypeError(f"a text is wanted, not {type(text).__name__}")
    if "\0" in text:
        raise ValueError("a text cannot have a null character")
    return text.encode("utf-8")


# Checked here because ctypes truncates numbers that do not fit.
def _within(number: int, lowest: int, highest: int) -> int:
    value = operator.index(number)
    if not lowest <= value <= highest:
        raise OverflowError(f"{value} is not between {lowest} and {highest}")
    return value


def _int(number: int) -> int:
    return _within(number, -(2**31), 2**31 - 1)


def _unsigned(number: int) -> int:
    return _within(number, 0, 2**32 - 1)
