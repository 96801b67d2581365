# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

import json
from typing import Callable

from source_api import Client, Source, SourceApiError

from .support import TestOnTv

TEXT = 'Björn\'s „Kamera" 100% + 漢字 🎮'


class ClientFunctions(TestOnTv):
    def setUp(self) -> None:
        super().setUp()
        self.client = Client()
        self.addCleanup(self.client.close)

    def source(self, key: str) -> Source:
        (source,) = [each for each in self.client.sources() if each.unique_key == key]
        return source

    def test_the_list_has_every_source_in_the_order_of_the_service(self) -> None:
        self.assertEqual(
            [source.unique_key for source in self.client.sources()],
            ["tuner", "hdmi1", "hdmi2", "hdmi3", "av", "usb-disk", "usb-camera"],
        )

    def test_a_source_has_every_member(self) -> None:
        self.assertEqual(
            self.source("hdmi1"),
            Source(
                source_type=3,
                edit_name="Wohnzimmer Bär",
                detected_name="Set-top box",
                icon_path="/usr/share/tv/icons/hdmi.png",
                unique_key="hdmi1",
                connection_state=True,
                power_state=1,
                mbr_activity_index=0,
                setting_method=1,
            ),
        )

    def test_usb_data_is_the_whole_reply(self) -> None:
        data = self.client.usb_data("usb-camera")
        assert data is not None
        self.assertEqual(data["deviceName"], "Björn's Kamera")
        self.assertIs(data["isPTP"], True)
        self.assertEqual(data["deviceBusNumber"], "001")

    def test_usb_data_of_another_source_is_none(self) -> None:
        self.assertIsNone(self.client.usb_data("hdmi1"))

    def test_the_name_is_the_users_or_the_detected_one(self) -> None:
        self.assertEqual(self.client.edit_name(3), "Wohnzimmer Bär")
        self.assertEqual(self.client.edit_name(8, 1), "Björn's Kamera")

    def test_the_name_of_an_unknown_source_is_none(self) -> None:
        self.assertIsNone(self.client.edit_name(99))
        self.assertIsNone(self.client.edit_name(3, 7))

    def test_the_device_type_is_that_of_the_index(self) -> None:
        self.assertEqual(self.client.device_type(8, 0), 6)
        self.assertEqual(self.client.device_type(8, 1), 5)
        self.assertEqual(self.client.device_type(99), 0)

    def test_a_name_is_set_and_read_unchanged(self) -> None:
        self.assertTrue(self.client.set_edit_name(8, TEXT, 1))
        self.assertEqual(self.client.edit_name(8, 1), TEXT)

    def test_an_empty_name_removes_the_users_name(self) -> None:
        self.assertTrue(self.client.set_edit_name(3, ""))
        self.assertEqual(self.client.edit_name(3), "Set-top box")

    def test_a_changed_name_is_in_the_list_unchanged(self) -> None:
        with self.client.changes() as changes:
            self.assertTrue(self.client.set_edit_name(3, TEXT))
            (changed,) = changes.get(timeout=30).changed
        self.assertEqual(changed.new.edit_name, TEXT)
        self.assertEqual(self.source("hdmi1").edit_name, TEXT)

    def test_a_device_type_is_set_and_read(self) -> None:
        for device_type in (3, 2**32 - 1):
            self.assertTrue(self.client.set_device_type(4, device_type))
            self.assertEqual(self.client.device_type(4), device_type)

    def test_a_detected_name_and_device_type_are_set_together(self) -> None:
        self.assertTrue(self.client.set_detected_name_and_device_type(8, TEXT, 4, 1))
        self.assertEqual(self.client.edit_name(8, 1), TEXT)
        self.assertEqual(self.client.device_type(8, 1), 4)

    def selected(self) -> object:
        return json.loads((self.tv.root() / "state.json").read_text())["selected"]

    def test_connect_switches_the_tv(self) -> None:
        self.assertTrue(self.client.connect(4))
        self.assertEqual(self.selected(), "hdmi2")

    def test_connect_with_a_key_switches_the_tv_to_that_source(self) -> None:
        self.assertTrue(self.client.connect_with_unique_key(8, "usb-camera"))
        self.assertEqual(self.selected(), "usb-camera")

    def test_the_on_screen_text_is_that_of_the_platform(self) -> None:
        self.assertEqual(self.client.osd_text(4), "HDMI 2")
        self.assertEqual(self.client.osd_text(99), "----")

    def test_a_refused_request_returns_false(self) -> None:
        self.assertIs(self.client.connect(99), False)
        self.assertIs(self.client.connect_with_unique_key(3, "usb-camera"), False)
        self.assertIs(self.client.set_edit_name(99, "x"), False)
        self.assertIs(self.client.set_device_type(99, 1), False)
        self.assertIs(self.client.set_detected_name_and_device_type(99, "x", 1), False)

    def test_a_closed_client_raises_errors(self) -> None:
        self.client.close()
        calls: list[Callable[[], object]] = [
            self.client.sources,
            self.client.changes,
            lambda: self.client.connect(4),
            lambda: self.client.subscribe(print),
        ]
        for call in calls:
            with self.assertRaises(SourceApiError):
                call()

    def test_another_client_of_the_process_works_after_one_is_closed(self) -> None:
        self.client.close()
        with Client() as another, another.changes() as changes:
            self.tv.happens("power", "hdmi1", "off")
            self.assertEqual(changes.get(timeout=30).result, 4)
