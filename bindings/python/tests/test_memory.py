# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

import ctypes
import gc
from pathlib import Path
from typing import Callable, Optional
from unittest import mock

from source_api import Client, SourceApiError, _guard

from .support import LIMIT, SETTINGS_FILE, TestOnTv

CALLS = 10_000


class _Heap(ctypes.Structure):
    """struct mallinfo2 of the C library."""

    _fields_ = [
        (name, ctypes.c_size_t)
        for name in (
            "arena", "ordblks", "smblks", "hblks", "hblkhd",
            "usmblks", "fsmblks", "uordblks", "fordblks", "keepcost",
        )
    ]


def native_bytes() -> int:
    """The bytes allocated by malloc() and not freed."""
    mallinfo2 = ctypes.CDLL(None).mallinfo2
    mallinfo2.restype = _Heap
    heap = mallinfo2()
    return int(heap.uordblks + heap.hblkhd)


def resident_bytes() -> int:
    pages = int(Path("/proc/self/statm").read_text().split()[1])
    return pages * 4096


class FlatMemory(TestOnTv):
    def check(self, call: Callable[[], object], calls: int = CALLS, lost: int = 32) -> None:
        """`lost` is the minimum number of bytes that a leak would lose per call."""
        for _ in range(min(calls, 500)):
            call()
        gc.collect()
        native, resident = native_bytes(), resident_bytes()
        for _ in range(calls):
            call()
        gc.collect()
        self.assertLess(native_bytes() - native, calls * lost // 2)
        self.assertLess(resident_bytes() - resident, 2 * 1024 * 1024)

    def test_texts_of_the_cache_are_released(self) -> None:
        with Client() as client:
            client.sources()
            self.check(lambda: (client.osd_text(3), client.edit_name(3), client.sources()))

    def test_texts_read_from_the_service_are_released(self) -> None:
        with Client() as client:
            client.sources()
            self.check(lambda: client.usb_data("usb-camera"), calls=2000, lost=256)

    def test_texts_of_errors_are_released(self) -> None:
        settings = self.tv.root() / SETTINGS_FILE
        settings.write_text('[{"SourceType":"seven"}]')

        def fail() -> None:
            with self.assertRaises(SourceApiError):
                _guard.get_device_type(3, 0)

        self.check(fail)

    def test_every_text_is_released_once(self) -> None:
        released: list[Optional[int]] = []
        release = _guard.release

        def count(text: Optional[int]) -> None:
            released.append(text)
            release(text)

        with Client() as client:
            client.sources()
            self.enterContext(mock.patch.object(_guard, "release", count))
            for _ in range(100):
                client.osd_text(3)
                client.edit_name(3)
                client.edit_name(99)  # returns no text
                client.device_type(3)  # returns no text
                client.usb_data("usb-disk")
                client.sources()
        self.assertEqual(len(released), 400)
        self.assertNotIn(None, released)

    def test_closed_subscriptions_are_released(self) -> None:
        with Client() as client:
            client.sources()

            def follow() -> None:
                with client.subscribe(print), client.changes():
                    pass

            self.check(follow, calls=2000)

    def test_changes_are_released(self) -> None:
        with Client() as client, client.changes() as changes:
            state = iter(["off", "on"] * CALLS)

            def change() -> None:
                self.assertTrue(client.set_edit_name(3, next(state)))
                changes.get(LIMIT)

            # The text of the list is longer than that.
            self.check(change, calls=100, lost=1024)
