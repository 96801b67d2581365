# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

import ctypes
import signal
import threading
from unittest import mock

from source_api import Change, Client, Delivery, SourceApiError, _glib

from .support import LIMIT, TestOnTv

glib = ctypes.CDLL("libglib-2.0.so.0")


class DeliveryByTheApplication(TestOnTv):
    def test_handlers_run_only_while_the_application_iterates(self) -> None:
        heard: list[tuple[Change, threading.Thread]] = []
        with Client(delivery=Delivery.APPLICATION) as client:
            client.subscribe(lambda change: heard.append((change, threading.current_thread())))
            self.tv.happens("plug", "usb-stick")
            self.assertEqual(heard, [])
            while not heard:
                glib.g_main_context_iteration(None, True)
        ((change, thread),) = heard
        self.assertEqual(change.result, 1)
        self.assertIs(thread, threading.current_thread())

    def test_no_thread_is_started(self) -> None:
        with Client(delivery=Delivery.APPLICATION) as client:
            client.sources()
            self.assertEqual(threading.enumerate(), [threading.main_thread()])

    def test_the_applications_own_context_is_used(self) -> None:
        glib.g_main_context_new.restype = ctypes.c_void_p
        context = ctypes.c_void_p(glib.g_main_context_new())
        glib.g_main_context_push_thread_default(context)
        heard: list[Change] = []
        with Client(delivery=Delivery.APPLICATION) as client, client.subscribe(heard.append):
            glib.g_main_context_pop_thread_default(context)
            self.tv.happens("plug", "usb-stick")
            while not heard:
                glib.g_main_context_iteration(context, True)

    def test_later_clients_use_the_same_delivery_by_default(self) -> None:
        with Client(delivery=Delivery.APPLICATION), Client(), Client(delivery=Delivery.APPLICATION):
            self.assertEqual(threading.active_count(), 1)


class DeliveryByAThread(TestOnTv):
    def test_it_is_the_default(self) -> None:
        with Client():
            self.assertIn("source-api", [thread.name for thread in threading.enumerate()])

    def test_all_clients_share_one_thread(self) -> None:
        with Client(), Client(delivery=Delivery.THREAD), Client():
            self.assertEqual(threading.active_count(), 2)

    def test_clients_made_at_the_same_time_share_one_thread(self) -> None:
        makers = [threading.Thread(target=Client) for _ in range(8)]
        for maker in makers:
            maker.start()
        for maker in makers:
            maker.join(LIMIT)
        self.assertEqual(threading.active_count(), 2)

    def test_the_next_client_starts_the_thread_if_the_first_was_interrupted(self) -> None:
        bus_is_there = threading.Event()
        open_bus = _glib._bus_get

        def interrupt_and_wait(*arguments: object) -> object:
            main = threading.main_thread().ident
            assert main is not None
            signal.pthread_kill(main, signal.SIGINT)
            bus_is_there.wait(LIMIT)
            return open_bus(*arguments)

        with mock.patch.object(_glib, "_bus_get", interrupt_and_wait):
            with self.assertRaises(KeyboardInterrupt):
                Client()
            bus_is_there.set()
            with Client() as client, client.changes() as changes:
                self.tv.happens("plug", "usb-stick")
                self.assertEqual(changes.get(LIMIT).result, 1)

    def test_it_cannot_be_changed_later(self) -> None:
        with Client(), self.assertRaisesRegex(SourceApiError, "Delivery.THREAD"):
            Client(delivery=Delivery.APPLICATION)
