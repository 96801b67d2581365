# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

import unittest

from source_api import Change, Source
from source_api._hub import Follower, Following, News

OLD = (Source(3, "old", "", "", "a", True, 1, 0, 0),)
NEW = (Source(3, "new", "", "", "a", True, 1, 0, 0),)


class FollowerOfTheList(unittest.TestCase):
    def setUp(self) -> None:
        self.given: list[News] = []
        self.follower = Follower(self.given.append)

    def changes(self) -> list[tuple[str, str]]:
        return [
            (change.changed[0].old.edit_name, change.changed[0].new.edit_name)
            for change in self.given
            if isinstance(change, Change)
        ]

    def test_it_receives_changes_relative_to_its_first_list(self) -> None:
        self.assertEqual(self.follower.begin(OLD), OLD)
        self.follower.hear(NEW, 3)
        self.follower.hear(OLD, 3)
        self.assertEqual(self.changes(), [("old", "new"), ("new", "old")])

    def test_it_does_not_receive_an_unchanged_list(self) -> None:
        self.follower.begin(OLD)
        self.follower.hear(OLD, 3)
        self.assertEqual(self.given, [])

    def test_it_begins_with_a_list_that_was_announced_during_its_read(self) -> None:
        self.follower.hear(NEW, 3)
        self.assertEqual(self.follower.begin(OLD), NEW)
        self.assertEqual(self.given, [])
        self.follower.hear(OLD, 3)
        self.assertEqual(self.changes(), [("new", "old")])

    def test_its_end_is_reported_once_and_last(self) -> None:
        self.follower.begin(OLD)
        self.follower.end()
        self.follower.end()
        self.follower.hear(NEW, 3)
        self.assertEqual(self.given, [None])

    def test_it_ends_at_once_if_its_client_is_being_closed(self) -> None:
        following = Following()
        following.end_all()
        following.add(self.given.append)
        self.assertEqual(self.given, [None])
