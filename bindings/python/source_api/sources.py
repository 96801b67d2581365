# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""One source, and the list of them as the library's text tells it."""

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
    #: Given by the user.
    edit_name: str
    #: Told by the connected device.
    detected_name: str
    #: Empty when there is none.
    icon_path: str
    #: Names the source among all.
    unique_key: str
    #: A device is connected.
    connection_state: bool
    power_state: int
    #: Tells apart several sources of one type.
    mbr_activity_index: int
    setting_method: int

    @property
    def name(self) -> str:
        """The user's name, else the detected one."""
        return self.edit_name or self.detected_name


def parse_sources(text: str) -> tuple[Source, ...]:
    """The sources of a list's text. What is no array is an empty list, as it is to the library."""
    document = json.loads(text)
    elements = document if isinstance(document, list) else []
    return tuple(_source(element) for element in elements if isinstance(element, dict))


def decode_name(text: str) -> str:
    """Undoes the percent-encoding of a name in the way of the library: an escape always takes two
    characters, and what is no number is a zero."""
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


# A member that is missing or of another type is empty: one bad element hides no good one.
def _number(element: Mapping[str, Any], key: str) -> int:
    value = element.get(key)
    return int(value) if isinstance(value, int) else 0


def _text(element: Mapping[str, Any], key: str) -> str:
    value = element.get(key)
    return value if isinstance(value, str) else ""
