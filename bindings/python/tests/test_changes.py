# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

import unittest
from dataclasses import replace

from source_api import Changed, Source
from source_api.changes import change_between


def source(key: str, *, kind: int = 3, name: str = "", index: int = 0) -> Source:
    return Source(kind, name, "", "", key, True, 1, index, 0)


A, B, C = source("a"), source("b"), source("c")


class ChangeBetweenTwoLists(unittest.TestCase):
    def test_it_has_added_and_removed_sources_in_the_order_of_the_lists(self) -> None:
        change = change_between((A, B), (source("z"), B, C), result=1)
        self.assertEqual(change.added, (source("z"), C))
        self.assertEqual(change.removed, (A,))
        self.assertEqual(change.changed, ())

    def test_removed_sources_are_in_the_order_of_the_old_list(self) -> None:
        first, second = source("k", name="1"), source("k", name="2")
        change = change_between((A, first, B, second, C), (B, first), result=2)
        self.assertEqual(change.removed, (A, second, C))

    def test_it_has_the_result_and_the_new_list(self) -> None:
        change = change_between((A,), (B,), result=7)
        self.assertEqual(change.result, 7)
        self.assertEqual(change.sources, (B,))

    def test_sources_are_matched_by_key(self) -> None:
        for old in (
            replace(A, source_type=9),
            replace(A, edit_name="x"),
            replace(A, detected_name="x"),
            replace(A, icon_path="x"),
            replace(A, connection_state=False),
            replace(A, power_state=0),
            replace(A, mbr_activity_index=5),
            replace(A, setting_method=1),
        ):
            change = change_between((old,), (A,), result=3)
            self.assertEqual(change.changed, (Changed(old, A),))
            self.assertEqual((change.added, change.removed), ((), ()))

    def test_sources_without_a_key_are_matched_by_type_and_index(self) -> None:
        before = (source("", index=0), source("", index=1))
        after = (source("", index=1, name="x"), source("", index=2))
        change = change_between(before, after, result=0)
        self.assertEqual(change.changed, (Changed(before[1], after[0]),))
        self.assertEqual(change.removed, (before[0],))
        self.assertEqual(change.added, (after[1],))

    def test_several_with_one_identity_are_matched_by_their_order(self) -> None:
        first, second, third = (source("k", name=name) for name in "123")
        change = change_between((first, second, third), (first,), result=2)
        self.assertEqual(change.removed, (second, third))
        change = change_between((first,), (first, second), result=1)
        self.assertEqual(change.added, (second,))

    def test_another_order_is_no_change(self) -> None:
        self.assertFalse(change_between((A, B), (B, A), result=1))

    def test_any_difference_is_a_change(self) -> None:
        self.assertTrue(change_between((), (A,), result=1))
        self.assertTrue(change_between((A,), (), result=1))
        self.assertTrue(change_between((A,), (replace(A, power_state=0),), result=1))
