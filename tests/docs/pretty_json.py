# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0
"""Formats JSON for the documents: the short fields of a message body stay on one line."""

import json

WIDTH = 96


def pretty(value: object, indent: int = 0, used: int = 0) -> str:
    """JSON on one line if it fits after `used` columns, else on several, indented by `indent`."""
    line = json.dumps(value, ensure_ascii=False)
    if used + len(line) < WIDTH or not isinstance(value, (dict, list)) or not value:
        return line
    if isinstance(value, list) and is_body(value):
        head = json.dumps(value[:3], ensure_ascii=False)[:-1]
        return f"{head}, {pretty(value[3], indent, WIDTH)}]"
    inner = indent + 2
    if isinstance(value, dict):
        keys = [json.dumps(key, ensure_ascii=False) + ": " for key in value]
        items = [key + pretty(item, inner, inner + len(key))
                 for key, item in zip(keys, value.values())]
    else:
        items = [pretty(item, inner, inner) for item in value]
    opening, closing = "{}" if isinstance(value, dict) else "[]"
    inside = (",\n" + " " * inner).join(items)
    return f"{opening}\n{' ' * inner}{inside}\n{' ' * indent}{closing}"


def is_body(fields: list) -> bool:
    return len(fields) == 4 and not isinstance(fields[0], dict) and isinstance(fields[3], dict)
