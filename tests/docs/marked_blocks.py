# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0
"""Reads and replaces the code blocks of a document. Each has a line '<!-- MARKER -->' before it."""

import re
from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class Block:
    marker: str
    text: str
    first: int  # index of the first line of the text in the document's lines
    last: int  # index behind its last line


class BadDocument(Exception):
    """A code block that has no marker or no end."""


def blocks_of(document: Path) -> list[Block]:
    lines = document.read_text(encoding="utf-8").splitlines(keepends=True)
    blocks = []
    begin = None
    for number, line in enumerate(lines):
        if not line.lstrip().startswith("```"):
            continue
        if begin is None:
            begin = number
            continue
        marker = re.fullmatch(r"<!-- (.+) -->\n", lines[begin - 1]) if begin > 0 else None
        if marker is None:
            raise BadDocument(f"{document.name}:{begin + 1}: a code block without a marker")
        blocks.append(Block(marker[1], "".join(lines[begin + 1 : number]), begin + 1, number))
        begin = None
    if begin is not None:
        raise BadDocument(f"{document.name}:{begin + 1}: a code block without an end")
    return blocks


def replace_block(document: Path, block: Block, text: str) -> None:
    """Replaces the text of a block. Blocks below it that were read before are stale afterwards."""
    lines = document.read_text(encoding="utf-8").splitlines(keepends=True)
    lines[block.first : block.last] = [text]
    document.write_text("".join(lines), encoding="utf-8")
