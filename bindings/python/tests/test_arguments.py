# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

from typing import Any, Callable

from source_api import Client

from .support import TestOnTv


class Arguments(TestOnTv):
    """Invalid arguments raise an error before the library is called."""

    def setUp(self) -> None:
        super().setUp()
        self.client = Client()
        self.addCleanup(self.client.close)

    def text_calls(self) -> list[Callable[[Any], object]]:
        return [
            self.client.usb_data,
            lambda text: self.client.set_edit_name(3, text),
            lambda text: self.client.connect_with_unique_key(8, text),
            lambda text: self.client.set_detected_name_and_device_type(3, text, 1),
        ]

    def int_calls(self) -> list[Callable[[Any], object]]:
        return [
            self.client.edit_name,
            lambda number: self.client.edit_name(3, number),
            self.client.device_type,
            lambda number: self.client.device_type(3, number),
            lambda number: self.client.set_edit_name(number, "x"),
            lambda number: self.client.set_edit_name(3, "x", number),
            lambda number: self.client.set_device_type(number, 1),
            lambda number: self.client.set_device_type(3, 1, number),
            self.client.connect,
            lambda number: self.client.connect_with_unique_key(number, "x"),
            self.client.osd_text,
            lambda number: self.client.set_detected_name_and_device_type(number, "x", 1),
            lambda number: self.client.set_detected_name_and_device_type(3, "x", 1, number),
        ]

    def unsigned_calls(self) -> list[Callable[[Any], object]]:
        return [
            lambda number: self.client.set_device_type(3, number),
            lambda number: self.client.set_detected_name_and_device_type(3, "x", number),
        ]

    def test_another_type_than_str_is_a_type_error(self) -> None:
        for call in self.text_calls():
            for value in (None, b"x", 1):
                with self.assertRaises(TypeError):
                    call(value)

    def test_a_text_with_a_null_character_is_a_value_error(self) -> None:
        for call in self.text_calls():
            with self.assertRaises(ValueError):
                call("a\0b")

    def test_a_text_without_utf8_form_is_a_value_error(self) -> None:
        for call in self.text_calls():
            with self.assertRaises(ValueError):
                call("\ud800")

    def test_another_type_than_int_is_a_type_error(self) -> None:
        for call in self.int_calls() + self.unsigned_calls():
            for value in (None, "3", 3.0):
                with self.assertRaises(TypeError):
                    call(value)

    def test_a_number_out_of_range_is_an_overflow_error(self) -> None:
        for call in self.int_calls():
            for value in (2**31, -(2**31) - 1, 2**32 + 3):
                with self.assertRaises(OverflowError):
                    call(value)
        for call in self.unsigned_calls():
            for value in (2**32, -1):
                with self.assertRaises(OverflowError):
                    call(value)

    def test_the_limits_of_the_range_are_accepted(self) -> None:
        for call in self.int_calls():
            for value in (2**31 - 1, -(2**31)):
                call(value)
