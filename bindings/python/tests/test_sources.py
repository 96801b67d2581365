# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

import json
import unittest
from dataclasses import FrozenInstanceError

from source_api import Source
from source_api.sources import decode_name, parse_sources

ELEMENT = {
    "sourceType": 3,
    "editName": "B%C3%A4r%20100%25",
    "detectedName": "Set-top+box",
    "iconPath": "/icons/a%20b.png",
    "uniqueKey": "hdmi%31",
    "connectionState": True,
    "powerState": 1,
    "mbrActivityIndex": 2,
    "settingMethod": 4,
}


class SourcesOfAText(unittest.TestCase):
    def test_every_member_is_read_and_both_names_are_decoded(self) -> None:
        self.assertEqual(
            parse_sources(json.dumps([ELEMENT])),
            (
                Source(
                    3, "Bär 100%", "Set-top+box", "/icons/a%20b.png", "hdmi%31", True, 1, 2, 4
                ),
            ),
        )

    def test_the_order_of_the_service_is_kept(self) -> None:
        sources = parse_sources('[{"sourceType":8},{"sourceType":1},{"sourceType":8}]')
        self.assertEqual([source.source_type for source in sources], [8, 1, 8])

    def test_a_missing_member_is_empty(self) -> None:
        self.assertEqual(parse_sources("[{}]"), (Source(0, "", "", "", "", False, 0, 0, 0),))

    def test_a_member_of_another_type_is_empty_and_does_not_affect_others(self) -> None:
        (source,) = parse_sources(
            '[{"sourceType":"x","editName":1,"uniqueKey":"k","connectionState":"yes"}]'
        )
        self.assertEqual(source, Source(0, "", "", "", "k", False, 0, 0, 0))

    def test_elements_that_are_no_objects_are_skipped(self) -> None:
        self.assertEqual(len(parse_sources('[1,null,{"sourceType":1},"x",[]]')), 1)

    def test_another_document_than_an_array_is_an_empty_list(self) -> None:
        for text in ("null", "{}", '"x"', "3"):
            self.assertEqual(parse_sources(text), ())

    def test_the_users_name_takes_precedence(self) -> None:
        self.assertEqual(parse_sources('[{"editName":"a","detectedName":"b"}]')[0].name, "a")
        self.assertEqual(parse_sources('[{"editName":"","detectedName":"b"}]')[0].name, "b")

    def test_a_source_is_immutable(self) -> None:
        (source,) = parse_sources("[{}]")
        with self.assertRaises(FrozenInstanceError):
            source.source_type = 1  # type: ignore[misc]


class NamesInTheirEncoding(unittest.TestCase):
    def test_an_escape_is_a_byte(self) -> None:
        self.assertEqual(decode_name("HDMI%201"), "HDMI 1")
        self.assertEqual(decode_name("%c3%A9t%C3%A9"), "été")

    def test_a_plus_and_unescaped_text_are_unchanged(self) -> None:
        self.assertEqual(decode_name("A+B ä 漢"), "A+B ä 漢")

    def test_a_malformed_escape_is_decoded_as_by_the_library(self) -> None:
        self.assertEqual(decode_name("%zzx"), "\0x")
        self.assertEqual(decode_name("%4zx"), "\x04x")
        self.assertEqual(decode_name("% 4x"), "\x04x")
        self.assertEqual(decode_name("%+4x"), "\x04x")

    def test_an_incomplete_escape_at_the_end_is_decoded(self) -> None:
        self.assertEqual(decode_name("a%"), "a\0")
        self.assertEqual(decode_name("a%4"), "a\x04")

    def test_invalid_utf8_is_replaced(self) -> None:
        self.assertEqual(decode_name("a%FFb"), "a\ufffdb")
        self.assertEqual(decode_name("%-1"), "\ufffd")
