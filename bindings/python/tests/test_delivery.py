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
    def test_handlers_run_where_the_application_iterates_and_only_then(self) -> None:
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

    def test_a_context_of_the_applications_own_is_taken(self) -> None:
        glib.g_main_context_new.restype = ctypes.c_void_p
        context = ctypes.c_void_p(glib.g_main_context_new())
        glib.g_main_context_push_thread_default(context)
        heard: list[Change] = []
        with Client(delivery=Delivery.APPLICATION) as client, client.subscribe(heard.append):
            glib.g_main_context_pop_thread_default(context)
            self.tv.happens("plug", "usb-stick")
            while not heard:
                glib.g_main_context_iteration(context, True)

    def test_later_clients_need_not_say_so_again(self) -> None:
        with Client(delivery=Delivery.APPLICATION), Client(), Client(delivery=Delivery.APPLICATION):
            self.assertEqual(threading.active_count(), 1)


class DeliveryByAThread(TestOnTv):
    def test_it_is_what_a_client_has_who_says_nothing(self) -> None:
        with Client():
            self.assertIn("source-api", [thread.name for thread in threading.enumerate()])

    def test_all_clients_share_one_thread(self) -> None:
        with Client(), Client(delivery=Delivery.THREAD), Client():
            self.assertEqual(threading.active_count(), 2)

    def test_clients_that_are_made_at_once_share_one_thread(self) -> None:
        makers = [threading.Thread(target=Client) for _ in range(8)]
        for maker in makers:
            maker.start()
        for maker in makers:
            maker.join(LIMIT)
        self.assertEqual(threading.active_count(), 2)

    def test_a_first_client_that_is_interrupted_leaves_it_to_the_next(self) -> None:
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
