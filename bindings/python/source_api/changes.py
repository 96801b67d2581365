# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""The difference of two lists."""

from __future__ import annotations

from collections import defaultdict, deque
from dataclasses import dataclass
from typing import DefaultDict, Deque, Sequence, Tuple

from .sources import Source

_Identity = Tuple[str, int, int]


@dataclass(frozen=True)
class Changed:
    """A source that is in both lists with different members."""

    old: Source
    new: Source


@dataclass(frozen=True)
class Change:
    """A change of the list. The order of the sources is no difference."""

    #: What the service says of the change, in its numbering; 0 for the first load of the list.
    result: int
    added: tuple[Source, ...]
    removed: tuple[Source, ...]
    changed: tuple[Changed, ...]
    #: The whole list after it.
    sources: tuple[Source, ...]

    def __bool__(self) -> bool:
        return bool(self.added or self.removed or self.changed)


def change_between(before: Sequence[Source], after: Sequence[Source], result: int) -> Change:
    """Sources are matched by unique key; those without a key by type and index. Several with the
    same identity are matched in their order."""
    gone: DefaultDict[_Identity, Deque[Source]] = defaultdict(deque)
    for source in before:
        gone[_identity(source)].append(source)
    added = []
    changed = []
    for source in after:
        earlier = gone[_identity(source)]
        if not earlier:
            added.append(source)
        elif (old := earlier.popleft()) != source:
            changed.append(Changed(old, source))
    return Change(
        result=result,
        added=tuple(added),
        removed=tuple(_left_over(before, gone)),
        changed=tuple(changed),
        sources=tuple(after),
    )


def _identity(source: Source) -> _Identity:
    if source.unique_key:
        return (source.unique_key, 0, 0)
    return ("", source.source_type, source.mbr_activity_index)


# In the order of the list; of several with one identity, the last ones are left.
def _left_over(
    before: Sequence[Source], gone: DefaultDict[_Identity, Deque[Source]]
) -> list[Source]:
    left = []
    for source in reversed(before):
        if gone[_identity(source)]:
            left.append(gone[_identity(source)].pop())
    return left[::-1]
