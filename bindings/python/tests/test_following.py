# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

import gc
import queue
import threading
from typing import Callable

from source_api import Change, Client, SourceApiError, Subscription
from source_api._hub import hub

from .support import LIMIT, Reported, TestOnTv


class Following(TestOnTv):
    def setUp(self) -> None:
        super().setUp()
        self.client = Client()
        self.addCleanup(self.client.close)
        self.heard: queue.SimpleQueue[Change] = queue.SimpleQueue()

    def next_heard(self) -> Change:
        return self.heard.get(timeout=LIMIT)

    def test_a_source_that_is_plugged_in_is_added(self) -> None:
        with self.client.changes() as changes:
            self.tv.happens("plug", "usb-stick", "--name", "Urlaub März")
            change = changes.get(LIMIT)
        (added,) = change.added
        self.assertEqual(added.detected_name, "Urlaub März")
        self.assertEqual((change.result, change.removed, change.changed), (1, (), ()))
        self.assertEqual(change.sources, self.client.sources())

    def test_a_source_that_is_unplugged_is_removed(self) -> None:
        with self.client.changes() as changes:
            self.tv.happens("unplug", "usb-disk")
            change = changes.get(LIMIT)
        self.assertEqual([source.unique_key for source in change.removed], ["usb-disk"])
        self.assertEqual((change.result, change.added, change.changed), (2, (), ()))

    def test_a_changed_source_is_reported_before_and_after_the_change(self) -> None:
        with self.client.changes() as changes:
            self.tv.happens("rename", "hdmi1", "Küche")
            change = changes.get(LIMIT)
        (changed,) = change.changed
        self.assertEqual(changed.old.edit_name, "Wohnzimmer Bär")
        self.assertEqual(changed.new.edit_name, "Küche")
        self.assertEqual((change.result, change.added, change.removed), (3, (), ()))

    def test_changes_begin_with_the_list_that_they_refer_to(self) -> None:
        with self.client.changes() as changes:
            self.assertEqual(changes.sources, self.client.sources())

    def test_changes_arrive_in_order(self) -> None:
        with self.client.changes() as changes:
            for state in ("off", "on", "off"):
                self.tv.happens("power", "hdmi1", state)
            states = [changes.get(LIMIT).changed[0].new.power_state for _ in range(3)]
        self.assertEqual(states, [0, 1, 0])

    def test_the_iteration_ends_when_another_thread_closes_it(self) -> None:
        changes = self.client.changes()
        self.tv.happens("power", "hdmi1", "off")
        heard = []
        for change in changes:
            heard.append(change)
            threading.Thread(target=changes.close).start()
        self.assertEqual(len(heard), 1)
        with self.assertRaises(SourceApiError):
            changes.get(LIMIT)

    def test_a_wait_for_a_change_can_time_out(self) -> None:
        with self.client.changes() as changes, self.assertRaises(TimeoutError):
            changes.get(timeout=0.01)

    def test_closing_the_client_ends_the_iteration(self) -> None:
        changes = self.client.changes()
        self.client.close()
        self.assertEqual(list(changes), [])

    def test_a_handler_is_called_without_a_reference_to_its_subscription(self) -> None:
        self.client.subscribe(self.heard.put)
        gc.collect()
        self.tv.happens("plug", "usb-stick")
        self.assertEqual(self.next_heard().result, 1)

    def test_every_subscription_receives_a_change(self) -> None:
        another: queue.SimpleQueue[Change] = queue.SimpleQueue()
        with self.client.subscribe(self.heard.put), Client() as client:
            with client.subscribe(another.put), client.changes() as changes:
                self.tv.happens("plug", "usb-stick")
                expected = changes.get(LIMIT)
                self.assertEqual(self.next_heard(), expected)
                self.assertEqual(another.get(timeout=LIMIT), expected)

    def test_a_handler_may_call_the_library(self) -> None:
        answers: queue.SimpleQueue[object] = queue.SimpleQueue()

        def handle(change: Change) -> None:
            answers.put((self.client.sources() == change.sources, self.client.connect(4)))

        with self.client.subscribe(handle):
            self.tv.happens("plug", "usb-stick")
            self.assertEqual(answers.get(timeout=LIMIT), (True, True))

    def test_a_handler_may_close_a_subscription_and_open_another(self) -> None:
        later: queue.SimpleQueue[Change] = queue.SimpleQueue()

        def handle(change: Change) -> None:
            subscription.close()
            self.client.subscribe(later.put)
            self.heard.put(change)

        subscription = self.client.subscribe(handle)
        self.tv.happens("power", "hdmi1", "off")
        self.next_heard()
        self.tv.happens("power", "hdmi1", "on")
        self.assertEqual(later.get(timeout=LIMIT).changed[0].new.power_state, 1)
        self.assertTrue(self.heard.empty())

    def test_a_subscription_may_be_closed_while_its_handler_runs(self) -> None:
        entered, leave = threading.Event(), threading.Event()

        def handle(change: Change) -> None:
            self.heard.put(change)
            entered.set()
            leave.wait(LIMIT)

        subscription = self.client.subscribe(handle)
        with self.client.changes() as changes:
            self.tv.happens("power", "hdmi1", "off")
            self.assertTrue(entered.wait(LIMIT))
            subscription.close()
            leave.set()
            self.tv.happens("power", "hdmi1", "on")
            changes.get(LIMIT)
            changes.get(LIMIT)
        self.next_heard()
        self.assertTrue(self.heard.empty())

    def test_a_closed_subscription_is_not_called(self) -> None:
        with self.client.subscribe(self.heard.put):
            pass
        with self.client.changes() as changes:
            self.tv.happens("plug", "usb-stick")
            changes.get(LIMIT)
        self.assertTrue(self.heard.empty())

    def test_a_handler_runs_where_the_post_function_runs_it(self) -> None:
        posted: queue.SimpleQueue[Callable[[], None]] = queue.SimpleQueue()
        threads = []
        with self.client.subscribe(
            lambda _: threads.append(threading.current_thread()), post=posted.put
        ):
            self.tv.happens("plug", "usb-stick")
            posted.get(timeout=LIMIT)()
        self.assertEqual(threads, [threading.current_thread()])

    def test_a_posted_change_is_not_handled_after_the_close(self) -> None:
        posted: queue.SimpleQueue[Callable[[], None]] = queue.SimpleQueue()
        with self.client.subscribe(self.heard.put, post=posted.put):
            self.tv.happens("plug", "usb-stick")
            handle = posted.get(timeout=LIMIT)
        handle()
        self.assertTrue(self.heard.empty())

    def test_a_handler_runs_on_the_packages_thread_by_default(self) -> None:
        threads: queue.SimpleQueue[str] = queue.SimpleQueue()
        with self.client.subscribe(lambda _: threads.put(threading.current_thread().name)):
            self.tv.happens("plug", "usb-stick")
            self.assertEqual(threads.get(timeout=LIMIT), "source-api")


class RaisingHandlers(TestOnTv):
    def setUp(self) -> None:
        super().setUp()
        self.client = Client()
        self.addCleanup(self.client.close)
        self.error: BaseException = LookupError("of the handler")

    def handle(self, _change: Change) -> None:
        raise self.error

    def test_an_error_is_reported_and_other_handlers_are_still_called(self) -> None:
        reported = Reported(self)
        with self.client.subscribe(self.handle), self.client.changes() as changes:
            for state in ("off", "on"):
                self.tv.happens("power", "hdmi1", state)
                changes.get(LIMIT)
            self.assertTrue(reported.came.wait(LIMIT))
        self.assertEqual(reported.errors, [self.error, self.error])

    def test_an_error_goes_to_the_callers_own_handler(self) -> None:
        reported = Reported(self)
        errors: queue.SimpleQueue[BaseException] = queue.SimpleQueue()
        with self.client.subscribe(self.handle, on_error=errors.put):
            self.tv.happens("plug", "usb-stick")
            self.assertIs(errors.get(timeout=LIMIT), self.error)
        self.assertEqual(reported.errors, [])

    def test_an_error_of_the_callers_own_handler_is_reported(self) -> None:
        reported = Reported(self)

        def fail(_error: BaseException) -> None:
            raise ArithmeticError

        with self.client.subscribe(self.handle, on_error=fail):
            self.tv.happens("plug", "usb-stick")
            self.assertTrue(reported.came.wait(LIMIT))
        self.assertIsInstance(reported.errors[0], ArithmeticError)

    def test_an_exit_inside_a_handler_is_reported_as_an_error(self) -> None:
        reported = Reported(self)
        self.error = SystemExit(3)
        with self.client.subscribe(self.handle), self.client.changes() as changes:
            self.tv.happens("plug", "usb-stick")
            self.assertTrue(reported.came.wait(LIMIT))
            self.assertEqual(changes.get(LIMIT).result, 1)
        self.assertEqual(reported.errors, [self.error])


class Collection(TestOnTv):
    def test_unreferenced_changes_are_closed(self) -> None:
        with Client() as client:
            client.changes()
            self.assertEqual(hub._followers, [])

    def test_they_may_be_collected_inside_the_hub_on_the_same_thread(self) -> None:
        with Client() as client:
            ring: list[object] = [client.changes()]
            ring.append(ring)
            (follower,) = hub._followers
            with hub._lock, follower._lock:
                del ring
                gc.collect()
            self.assertEqual(hub._followers, [])


class FirstLoad(TestOnTv):
    def test_the_first_read_of_the_list_is_no_change(self) -> None:
        with Client() as client, client.changes() as changes:
            self.assertEqual(len(changes.sources), 7)
            with self.assertRaises(TimeoutError):
                changes.get(timeout=0)

    def test_threads_that_subscribe_at_the_same_time_all_receive_changes(self) -> None:
        with Client() as client:
            subscriptions: list[Subscription] = []
            heard: queue.SimpleQueue[Change] = queue.SimpleQueue()
            threads = [
                threading.Thread(
                    target=lambda: subscriptions.append(client.subscribe(heard.put))
                )
                for _ in range(8)
            ]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join(LIMIT)
            self.tv.happens("plug", "usb-stick")
            changes = [heard.get(timeout=LIMIT) for _ in threads]
        self.assertEqual({change.result for change in changes}, {1})
        self.assertTrue(heard.empty())
