# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

import asyncio
import ctypes
import selectors
import socket
import tempfile
import threading
import unittest
from ctypes import CFUNCTYPE, c_int, c_uint, c_void_p
from typing import Any, Awaitable, Callable
from unittest import mock

from source_api import (
    AsyncClient,
    BusLostError,
    Change,
    Client,
    Delivery,
    SourceApiError,
    iterated_main_context,
)
from source_api._glib import OwnedContext

from .support import LIMIT, Bus, EmulatedTv
from .test_asyncio import next_of

glib = ctypes.CDLL("libglib-2.0.so.0")
glib.g_main_context_new.restype = c_void_p
glib.g_main_context_push_thread_default.argtypes = [c_void_p]
glib.g_main_context_pop_thread_default.argtypes = [c_void_p]

SourceFunction = CFUNCTYPE(c_int, c_void_p)
DescriptorFunction = CFUNCTYPE(c_int, c_int, c_uint, c_void_p)
IN, OUT = 1, 4


class GlibSources:
    """GLib sources, by default of the global default context. Each is dispatched until its
    function returns a false value."""

    def __init__(self) -> None:
        self._functions: list[object] = []

    def idle(self, call: Callable[[], object]) -> None:
        glib.g_idle_add(self._function(call), None)

    def invoke(self, context: int, call: Callable[[], object]) -> None:
        glib.g_main_context_invoke(c_void_p(context), self._function(call), None)

    def timer(self, milliseconds: int, call: Callable[[], object]) -> None:
        glib.g_timeout_add(milliseconds, self._function(call), None)

    def descriptor(
        self, descriptor: int, condition: int, call: Callable[[], object], priority: int = 0
    ) -> None:
        function = self._function(call, DescriptorFunction)
        glib.g_unix_fd_add_full(priority, descriptor, condition, function, None, None)

    def _function(self, call: Callable[[], object], function_type: Any = SourceFunction) -> Any:
        self._functions.append(function_type(lambda *_: bool(call())))
        return self._functions[-1]


async def within_limit(event: asyncio.Event) -> None:
    await asyncio.wait_for(event.wait(), LIMIT)


def own_context() -> None:
    with OwnedContext():
        pass


class AsyncClientOnTheLoopsThread(unittest.IsolatedAsyncioTestCase):
    def setUp(self) -> None:
        self.tv = EmulatedTv()
        self.addCleanup(self.tv.end)

    async def happens(self, *arguments: str) -> None:
        await asyncio.to_thread(self.tv.happens, *arguments)

    async def test_changes_arrive_on_it_without_another_thread(self) -> None:
        threads: list[threading.Thread] = []
        async with iterated_main_context(), AsyncClient(delivery=Delivery.APPLICATION) as client:
            Client().subscribe(lambda _: threads.append(threading.current_thread()))
            async with client.changes() as changes:
                await self.happens("plug", "usb-stick")
                self.assertEqual((await next_of(changes)).result, 1)
                names = [thread.name for thread in threading.enumerate()]
        self.assertEqual(threads, [threading.current_thread()])
        self.assertNotIn("source-api", names)

    async def test_every_subscriber_receives_every_change(self) -> None:
        async with iterated_main_context(), AsyncClient(delivery=Delivery.APPLICATION) as client:
            async with AsyncClient() as another:
                async with client.changes() as first, another.changes() as second:
                    for state in ("off", "on"):
                        await self.happens("power", "hdmi1", state)
                    heard = [[await next_of(each) for _ in range(2)] for each in (first, second)]
        self.assertEqual(heard[0], heard[1])
        self.assertEqual([change.changed[0].new.power_state for change in heard[0]], [0, 1])

    async def test_calls_can_be_awaited_while_changes_arrive(self) -> None:
        async with iterated_main_context(), AsyncClient(delivery=Delivery.APPLICATION) as client:
            async with client.changes() as changes:
                for number in range(5):
                    answers = await asyncio.gather(
                        self.happens("power", "hdmi1", "on" if number % 2 else "off"),
                        client.connect(4),
                        client.set_edit_name(8, f"Name {number}", 1),
                        client.edit_name(3),
                        next_of(changes),
                    )
                    self.assertEqual(answers[1:4], [True, True, "Wohnzimmer Bär"])

    async def test_the_context_may_also_be_iterated_later(self) -> None:
        async with AsyncClient(delivery=Delivery.APPLICATION) as client:
            async with client.changes() as changes:
                await self.happens("plug", "usb-stick")
                async with iterated_main_context():
                    self.assertEqual((await next_of(changes)).result, 1)

    async def test_the_choice_cannot_be_changed_later(self) -> None:
        async with AsyncClient(delivery=Delivery.APPLICATION):
            with self.assertRaisesRegex(SourceApiError, "Delivery.APPLICATION"):
                await AsyncClient(delivery=Delivery.THREAD).__aenter__()


class AsyncClientOnTheLoopsThreadAndABus(unittest.IsolatedAsyncioTestCase):
    async def test_the_loss_of_the_bus_is_raised_in_every_wait(self) -> None:
        bus = Bus()
        self.addCleanup(bus.end)
        bus.start()
        bus.start_service()
        async with iterated_main_context(), AsyncClient(delivery=Delivery.APPLICATION) as client:
            async with client.changes() as changes:
                await asyncio.to_thread(bus.stop)
                with self.assertRaises(BusLostError):
                    await next_of(changes)


class OneIteratingLoopAfterAnother(unittest.TestCase):
    def test_the_second_loop_of_the_process_receives_changes(self) -> None:
        tv = EmulatedTv()
        self.addCleanup(tv.end)

        async def hear(state: str) -> Change:
            client = AsyncClient(delivery=Delivery.APPLICATION)
            async with iterated_main_context(), client, client.changes() as changes:
                await asyncio.to_thread(tv.happens, "power", "hdmi1", state)
                return await next_of(changes)

        states = [asyncio.run(hear(state)).changed[0].new.power_state for state in ("off", "on")]
        self.assertEqual(states, [0, 1])


class IteratedMainContext(unittest.IsolatedAsyncioTestCase):
    def setUp(self) -> None:
        self.sources = GlibSources()
        self.happened = asyncio.Event()

    def note_thread(self) -> None:
        self.thread = threading.current_thread()
        self.happened.set()

    async def test_the_loop_is_idle_until_a_timer_is_due(self) -> None:
        loop = asyncio.get_running_loop()
        dispatch = mock.Mock(wraps=OwnedContext.dispatch)
        begin = loop.time()
        self.sources.timer(300, self.happened.set)
        with mock.patch.object(OwnedContext, "dispatch", lambda context: dispatch(context)):
            async with iterated_main_context():
                await within_limit(self.happened)
        self.assertGreaterEqual(loop.time() - begin, 0.3)
        # A busy loop would have dispatched thousands of times.
        self.assertLess(dispatch.call_count, 10)

    async def test_a_source_attached_by_another_thread_is_dispatched(self) -> None:
        async with iterated_main_context():
            await asyncio.to_thread(self.sources.idle, self.note_thread)
            await within_limit(self.happened)
        self.assertIs(self.thread, threading.current_thread())

    async def test_a_source_attached_by_another_source_is_dispatched(self) -> None:
        def attach_timer() -> None:
            self.sources.timer(1, self.happened.set)

        self.sources.idle(lambda: self.sources.idle(attach_timer))
        async with iterated_main_context():
            await within_limit(self.happened)

    async def test_a_source_attached_by_the_loops_thread_is_dispatched_after_a_wakeup(self) -> None:
        async with iterated_main_context():
            self.sources.idle(self.happened.set)
            glib.g_main_context_wakeup(None)
            await within_limit(self.happened)

    async def test_several_sources_and_the_loop_may_wait_for_one_descriptor(self) -> None:
        here, there = socket.socketpair()
        with here, there:
            readable, also_readable, writable = asyncio.Event(), asyncio.Event(), asyncio.Event()
            self.sources.descriptor(here.fileno(), OUT, writable.set)
            for event in readable, also_readable:
                self.sources.descriptor(here.fileno(), IN, event.set)
            asyncio.get_running_loop().add_reader(here, self.happened.set)
            async with iterated_main_context():
                await within_limit(writable)
                self.assertFalse(readable.is_set())
                there.send(b"x")
                for event in readable, also_readable, self.happened:
                    await within_limit(event)
            self.assertTrue(asyncio.get_running_loop().remove_reader(here))

    async def test_a_descriptor_may_be_closed_by_its_source_and_used_again(self) -> None:
        here, there = socket.socketpair()
        number = here.fileno()

        def close_and_open_another() -> None:
            nonlocal here, there
            for end in here, there:
                end.close()
            here, there = socket.socketpair()
            self.sources.descriptor(here.fileno(), IN, self.happened.set)
            there.send(b"x")

        self.sources.descriptor(number, IN, close_and_open_another)
        there.send(b"x")
        async with iterated_main_context():
            await within_limit(self.happened)
        self.assertEqual(here.fileno(), number)
        for end in here, there:
            end.close()

    async def test_a_regular_file_is_always_ready(self) -> None:
        with tempfile.TemporaryFile() as file:
            # Checked after the idle source has run, when nothing else wakes the context.
            self.sources.descriptor(file.fileno(), IN, self.happened.set, priority=300)
            self.sources.idle(bool)
            async with iterated_main_context():
                await within_limit(self.happened)

    async def test_a_source_may_iterate_the_context_itself(self) -> None:
        def iterate() -> None:
            self.sources.idle(self.happened.set)
            while not self.happened.is_set():
                glib.g_main_context_iteration(None, True)

        after = asyncio.Event()
        self.sources.idle(iterate)
        async with iterated_main_context():
            await within_limit(self.happened)
            await asyncio.to_thread(self.sources.idle, after.set)
            await within_limit(after)

    async def test_the_thread_default_context_is_used(self) -> None:
        context = glib.g_main_context_new()
        glib.g_main_context_push_thread_default(context)
        self.addCleanup(glib.g_main_context_pop_thread_default, context)
        async with iterated_main_context():
            await asyncio.to_thread(own_context)  # the global default, which is free
            # Run by the calling thread unless another thread owns the context.
            await asyncio.to_thread(self.sources.invoke, context, self.note_thread)
            await within_limit(self.happened)
        self.assertIs(self.thread, threading.current_thread())

    async def test_it_can_be_nested(self) -> None:
        async with iterated_main_context():
            async with iterated_main_context():
                await asyncio.to_thread(self.sources.idle, self.happened.set)
                await within_limit(self.happened)
                after = asyncio.Event()
                self.sources.timer(1, after.set)
            await within_limit(after)

    async def test_it_fails_while_another_thread_iterates(self) -> None:
        owned, released = threading.Event(), threading.Event()

        def own() -> None:
            with OwnedContext():
                owned.set()
                released.wait(LIMIT)

        thread = threading.Thread(target=own)
        thread.start()
        owned.wait(LIMIT)
        with self.assertRaisesRegex(SourceApiError, "another thread"):
            async with iterated_main_context():
                pass
        released.set()
        thread.join(LIMIT)
        async with iterated_main_context():
            pass


class WatchedLoop(asyncio.SelectorEventLoop):
    def __init__(self) -> None:
        self.selector = selectors.DefaultSelector()
        self.timers: list[asyncio.TimerHandle] = []
        super().__init__(self.selector)
        # Not by overriding, as the annotations of call_at differ between versions of mypy.
        setattr(self, "call_at", self.watched_call_at)

    def watched_call_at(self, *arguments: Any, **named: Any) -> asyncio.TimerHandle:
        self.timers.append(super().call_at(*arguments, **named))
        return self.timers[-1]

    def readers(self) -> set[int]:
        return {key.fd for key in self.selector.get_map().values()}

    def waits_of_a_day(self) -> list[bool]:
        """For each timer of about a day, whether it is still pending."""
        begin = self.time() + 23 * 60 * 60
        return [not timer.cancelled() for timer in self.timers if timer.when() > begin]


class LeavingTheIteratedMainContext(unittest.TestCase):
    """It leaves nothing in the loop, and the context can be used by another thread."""

    def expect_nothing_left(self, use: Callable[[WatchedLoop], Awaitable[None]]) -> None:
        loop = WatchedLoop()
        sources = GlibSources()
        sources.timer(24 * 60 * 60 * 1000, self.fail)

        async def main() -> None:
            before = loop.readers()
            await use(loop)
            self.assertEqual(loop.readers(), before)
            self.assertIn(False, loop.waits_of_a_day())
            self.assertNotIn(True, loop.waits_of_a_day())
            await asyncio.to_thread(own_context)

        with asyncio.Runner(loop_factory=lambda: loop) as runner:
            runner.run(main())

    async def expect_in_use(self, loop: WatchedLoop) -> None:
        self.assertEqual(len(loop.readers()), 2)  # one is that of the loop itself
        self.assertIn(True, loop.waits_of_a_day())
        with self.assertRaises(SourceApiError):
            await asyncio.to_thread(own_context)

    def test_at_its_end(self) -> None:
        async def use(loop: WatchedLoop) -> None:
            async with iterated_main_context():
                await self.expect_in_use(loop)

        self.expect_nothing_left(use)

    def test_with_an_exception(self) -> None:
        async def use(loop: WatchedLoop) -> None:
            with self.assertRaises(ZeroDivisionError):
                async with iterated_main_context():
                    await self.expect_in_use(loop)
                    raise ZeroDivisionError

        self.expect_nothing_left(use)

    def test_with_its_task_cancelled(self) -> None:
        async def use(loop: WatchedLoop) -> None:
            entered = asyncio.Event()

            async def stay() -> None:
                async with iterated_main_context():
                    await self.expect_in_use(loop)
                    entered.set()
                    await asyncio.Event().wait()

            task = asyncio.create_task(stay())
            await within_limit(entered)
            task.cancel()
            with self.assertRaises(asyncio.CancelledError):
                await task

        self.expect_nothing_left(use)
