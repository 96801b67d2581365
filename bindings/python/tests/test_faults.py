# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

import os
import queue
import threading
from pathlib import Path
from typing import Callable

from source_api import (
    BusLostError,
    Change,
    Client,
    ListUnavailableError,
    SourceApiError,
)

from .support import LIMIT, SETTINGS_FILE, TestOnBus, TestOnTv


class ServiceFaults(TestOnBus):
    def setUp(self) -> None:
        super().setUp()
        self.bus.start()

    def test_without_a_service_requests_are_false_and_there_is_no_list(self) -> None:
        with Client() as client:
            self.assertFalse(client.connect(4))
            self.assertFalse(client.set_edit_name(3, "x"))
            self.assertIsNone(client.usb_data("usb-disk"))
            self.assertIsNone(client.edit_name(3))
            self.assertEqual(client.device_type(3), 0)
            self.assertEqual(client.osd_text(3), "HDMI 1")
            with self.assertRaises(ListUnavailableError):
                client.sources()

    def test_changes_begin_with_an_empty_list_without_a_service(self) -> None:
        with Client() as client, client.changes() as changes:
            self.assertEqual(changes.sources, ())
            self.bus.start_service()
            self.assertEqual(len(client.sources()), 7)
            change = changes.get(LIMIT)
            self.assertEqual((change.result, len(change.added)), (0, 7))

    def test_signals_of_a_service_that_starts_later_arrive(self) -> None:
        with Client() as client, client.changes() as changes:
            self.bus.start_service()
            self.bus.happens("plug", "usb-stick")
            self.assertEqual(changes.get(LIMIT).result, 1)

    def test_a_restarted_service_is_used(self) -> None:
        self.bus.start_service()
        with Client() as client, client.changes() as changes:
            self.bus.stop_service()
            self.assertFalse(client.connect(4))
            self.assertEqual(len(client.sources()), 7)
            self.bus.start_service()
            self.assertTrue(client.connect(4))
            self.bus.happens("plug", "usb-stick")
            self.assertEqual(changes.get(LIMIT).result, 1)

    def test_a_waiting_call_does_not_block_other_threads(self) -> None:
        self.bus.start_service()
        answers: queue.SimpleQueue[bool] = queue.SimpleQueue()
        with Client() as client:
            self.bus.freeze_service()
            threading.Thread(target=lambda: answers.put(client.connect(4))).start()
            with self.assertRaises(queue.Empty):
                answers.get(timeout=0.5)
            self.assertEqual(client.osd_text(4), "HDMI 2")
            self.bus.thaw_service()
            self.assertTrue(answers.get(timeout=LIMIT))


class BusFaults(TestOnBus):
    def test_a_client_needs_a_bus(self) -> None:
        with self.assertRaisesRegex(SourceApiError, "no system bus"):
            Client()
        self.bus.start()
        self.bus.start_service()
        with Client() as client, client.changes() as changes:
            self.bus.happens("plug", "usb-stick")
            self.assertEqual(changes.get(LIMIT).result, 1)

    def test_the_loss_of_the_bus_is_reported_to_every_subscriber(self) -> None:
        self.bus.start()
        self.bus.start_service()
        errors: queue.SimpleQueue[BaseException] = queue.SimpleQueue()
        heard: list[Change] = []
        with Client() as client, client.changes() as changes:
            client.subscribe(heard.append, on_error=errors.put)
            self.bus.stop()
            for _ in range(2):
                with self.assertRaises(BusLostError):
                    changes.get(LIMIT)
            self.assertIsInstance(errors.get(timeout=LIMIT), BusLostError)
        self.assertEqual(heard, [])

    def test_after_the_loss_requests_and_subscriptions_fail(self) -> None:
        self.bus.start()
        self.bus.start_service()
        with Client() as client, client.changes() as changes:
            self.bus.stop()
            with self.assertRaises(BusLostError):
                changes.get(LIMIT)
            self.assertFalse(client.connect(4))
            self.assertEqual(len(client.sources()), 7)
            with self.assertRaises(BusLostError):
                client.subscribe(print)

    def test_the_loss_is_reported_also_if_the_first_client_failed(self) -> None:
        self.bus.start()
        self.bus.start_service()
        settings = Path(os.environ["SOURCE_TV_ROOT"]) / SETTINGS_FILE
        right = settings.read_text()
        settings.write_text('[{"SourceType":"seven"}]')
        with self.assertRaises(SourceApiError):
            Client()
        settings.write_text(right)
        with Client() as client, client.changes() as changes:
            self.bus.stop()
            with self.assertRaises(BusLostError):
                changes.get(LIMIT)


class WrongTypesInTheSettings(TestOnTv):
    def test_no_client_can_be_made_until_they_are_correct(self) -> None:
        settings = self.tv.root() / SETTINGS_FILE
        right = settings.read_text()
        settings.write_text('[{"SourceType":"seven"}]')
        for _ in range(50):
            with self.assertRaisesRegex(SourceApiError, "convertible|Value"):
                Client()
        settings.write_text(right)
        with Client() as client, client.changes() as changes:
            self.assertEqual(client.edit_name(3), "Wohnzimmer Bär")
            self.tv.happens("plug", "usb-stick")
            self.assertEqual(changes.get(LIMIT).result, 1)

    def test_the_call_that_reads_them_raises_an_error(self) -> None:
        settings = self.tv.root() / SETTINGS_FILE
        settings.unlink()
        with Client() as client:
            settings.write_text('[{"SourceType":"seven"}]')
            calls: list[Callable[[], object]] = [
                lambda: client.edit_name(3),
                lambda: client.device_type(3),
                client.sources,
            ]
            for call in calls:
                with self.assertRaises(SourceApiError) as raised:
                    call()
                self.assertIs(type(raised.exception), SourceApiError)
            with self.assertRaises(SourceApiError):
                client.changes()
