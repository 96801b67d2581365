# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""Sources, parsed from the library's text of the list."""

from __future__ import annotations

import json
import re
from dataclasses import dataclass
from typing import Any, Mapping

_ESCAPE = re.compile(rb"%(.{0,2})", re.DOTALL)
_NUMBER = re.compile(rb"[ \t\n\v\f\r]*([+-]?)([0-9A-Fa-f]*)")


@dataclass(frozen=True)
class Source:
    """One source of the service's list. Numbers are in the service's numbering."""

    source_type: int
    #: Set by the user.
    edit_name: str
    #: Reported by the connected device.
    detected_name: str
    #: May be empty.
    icon_path: str
    #: Identifies the source.
    unique_key: str
    #: A device is connected.
    connection_state: bool
    power_state: int
    #: Distinguishes sources of one type.
    mbr_activity_index: int
    setting_method: int

    @property
    def name(self) -> str:
        """The user's name or, without one, the detected name."""
        return self.edit_name or self.detected_name


def parse_sources(text: str) -> tuple[Source, ...]:
    """Parses the text of a list. Other JSON than an array is an empty list, as in the library."""
    document = json.loads(text)
    elements = document if isinstance(document, list) else []
    return tuple(_source(element) for element in elements if isinstance(element, dict))


def decode_name(text: str) -> str:
    """Percent-decodes a name as the library does: an escape always consumes two characters, and two
    that are not a number become a zero byte."""
    decoded = _ESCAPE.sub(_unescaped, text.encode("utf-8", "replace"))
    return decoded.decode("utf-8", "replace")


def _unescaped(escape: re.Match[bytes]) -> bytes:
    number = _NUMBER.match(escape[1])
    assert number is not None  # every part of it may be empty
    value = int(number[2] or b"0", 16)
    return bytes([(-value if number[1] == b"-" else value) & 0xFF])


def _source(element: Mapping[str, Any]) -> Source:
    return Source(
        source_type=_number(element, "sourceType"),
        edit_name=decode_name(_text(element, "editName")),
        detected_name=decode_name(_text(element, "detectedName")),
        icon_path=_text(element, "iconPath"),
        unique_key=_text(element, "uniqueKey"),
        connection_state=element.get("connectionState") is True,
        power_state=_number(element, "powerState"),
        mbr_activity_index=_number(element, "mbrActivityIndex"),
        setting_method=_number(element, "settingMethod"),
    )


# A missing member, or one of another type, becomes empty, so that one invalid element does not
# hide the others.
def _number(element: Mapping[str, Any], key: str) -> int:
    value = element.get(key)
    return int(value) if isinstance(value, int) else 0


def _text(element: Mapping[str, Any], key: str) -> str:
    value = element.get(key)
    return value if isinstance(value, str) else ""
