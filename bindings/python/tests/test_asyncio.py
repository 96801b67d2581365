# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

import asyncio
import gc
import unittest

from source_api import AsyncChanges, AsyncClient, BusLostError, Change, SourceApiError
from source_api._hub import hub

from .support import LIMIT, Bus, EmulatedTv


async def next_of(changes: AsyncChanges) -> Change:
    return await asyncio.wait_for(anext(changes), LIMIT)


class AsyncClientOnTv(unittest.IsolatedAsyncioTestCase):
    def setUp(self) -> None:
        self.tv = EmulatedTv()
        self.addCleanup(self.tv.end)

    async def happens(self, *arguments: str) -> None:
        await asyncio.to_thread(self.tv.happens, *arguments)

    async def test_every_call_can_be_awaited(self) -> None:
        async with AsyncClient() as client:
            self.assertEqual(len(await client.sources()), 7)
            usb_data = await client.usb_data("usb-disk")
            self.assertEqual(usb_data and usb_data["vendorName"], "Generic")
            self.assertTrue(await client.set_edit_name(8, "Ünlü", 1))
            self.assertEqual(await client.edit_name(8, 1), "Ünlü")
            self.assertTrue(await client.set_device_type(8, 3, 1))
            self.assertEqual(await client.device_type(8, 1), 3)
            self.assertTrue(await client.set_detected_name_and_device_type(8, "Neu", 4, 1))
            self.assertEqual(await client.device_type(8, 1), 4)
            self.assertTrue(await client.connect(4))
            self.assertTrue(await client.connect_with_unique_key(8, "usb-disk"))
            self.assertEqual(await client.osd_text(3), "HDMI 1")

    async def test_refusals_and_wrong_arguments_behave_as_without_asyncio(self) -> None:
        async with AsyncClient() as client:
            self.assertFalse(await client.connect(99))
            with self.assertRaises(OverflowError):
                await client.connect(2**31)
            with self.assertRaises(TypeError):
                await client.set_edit_name(3, None)  # type: ignore[arg-type]

    async def test_changes_begin_with_the_list_and_then_follow_it(self) -> None:
        async with AsyncClient() as client, client.changes() as changes:
            self.assertEqual(changes.sources, await client.sources())
            await self.happens("plug", "usb-stick")
            change = await next_of(changes)
            self.assertEqual([source.unique_key for source in change.added], ["usb-stick"])

    async def test_changes_can_be_iterated_over_without_being_opened(self) -> None:
        async with AsyncClient() as client:
            task = asyncio.create_task(self.first_of(client))
            # The iteration has begun when it is registered in the hub and the list was read.
            async with asyncio.timeout(LIMIT):
                while not hub._followers or hub._followers[0]._sources is None:
                    await client.osd_text(3)
            await self.happens("plug", "usb-stick")
            self.assertEqual((await asyncio.wait_for(task, LIMIT)).result, 1)

    async def first_of(self, client: AsyncClient) -> Change:
        async for change in client.changes():
            return change
        raise AssertionError("the iteration ended")

    async def test_every_subscriber_receives_every_change(self) -> None:
        async with AsyncClient() as client:
            async with client.changes() as first, client.changes() as second:
                for state in ("off", "on"):
                    await self.happens("power", "hdmi1", state)
                heard = [[await next_of(changes) for _ in range(2)] for changes in (first, second)]
        self.assertEqual(heard[0], heard[1])
        self.assertEqual([change.changed[0].new.power_state for change in heard[0]], [0, 1])

    async def test_a_cancelled_wait_loses_no_change(self) -> None:
        async with AsyncClient() as client, client.changes() as changes:
            task = asyncio.create_task(next_of(changes))
            await asyncio.sleep(0)
            task.cancel()
            with self.assertRaises(asyncio.CancelledError):
                await task
            await self.happens("plug", "usb-stick")
            self.assertEqual((await next_of(changes)).result, 1)

    async def test_a_wait_that_timed_out_can_be_repeated(self) -> None:
        async with AsyncClient() as client, client.changes() as changes:
            with self.assertRaises(TimeoutError):
                await asyncio.wait_for(anext(changes), 0.01)
            await self.happens("plug", "usb-stick")
            self.assertEqual((await next_of(changes)).result, 1)

    async def test_a_cancelled_task_leaves_no_subscription(self) -> None:
        begun = asyncio.Event()

        async def follow() -> None:
            async with AsyncClient() as client, client.changes() as changes:
                begun.set()
                async for _ in changes:
                    pass

        task = asyncio.create_task(follow())
        await asyncio.wait_for(begun.wait(), LIMIT)
        self.assertEqual(len(hub._followers), 1)
        task.cancel()
        with self.assertRaises(asyncio.CancelledError):
            await task
        self.assertEqual(hub._followers, [])

    async def test_unreferenced_changes_are_unsubscribed(self) -> None:
        async with AsyncClient() as client:
            changes = client.changes()
            # Not wait_for(): its TimeoutError refers to the frames of the cancelled wait.
            waiting = asyncio.create_task(next_of(changes))
            await asyncio.wait([waiting], timeout=0.5)
            self.assertTrue(waiting.cancel())
            await asyncio.wait([waiting])
            del waiting, changes
            gc.collect()
            self.assertEqual(hub._followers, [])

    async def test_closing_the_changes_ends_the_iteration(self) -> None:
        async with AsyncClient() as client, client.changes() as changes:
            await self.happens("plug", "usb-stick")
            heard = []
            async for change in changes:
                heard.append(change)
                changes.close()
            self.assertEqual(len(heard), 1)

    async def test_closing_the_changes_ends_every_wait_for_them(self) -> None:
        async with AsyncClient() as client, client.changes() as changes:
            waits = [asyncio.create_task(next_of(changes)) for _ in range(3)]
            await asyncio.sleep(0)
            changes.close()
            ends = await asyncio.gather(*waits, return_exceptions=True)
        self.assertEqual([type(end) for end in ends], [StopAsyncIteration] * 3)

    async def test_closing_the_client_ends_the_iteration(self) -> None:
        async with AsyncClient() as client, client.changes() as changes:
            client.close()
            with self.assertRaises(StopAsyncIteration):
                await next_of(changes)
            with self.assertRaises(SourceApiError):
                await client.sources()

    async def test_a_client_that_was_not_opened_raises_an_error(self) -> None:
        with self.assertRaises(SourceApiError):
            await AsyncClient().sources()


class OneLoopAfterAnother(unittest.TestCase):
    def test_a_second_loop_of_the_process_receives_changes(self) -> None:
        tv = EmulatedTv()
        self.addCleanup(tv.end)

        async def hear(state: str) -> Change:
            async with AsyncClient() as client, client.changes() as changes:
                await asyncio.to_thread(tv.happens, "power", "hdmi1", state)
                return await next_of(changes)

        states = [asyncio.run(hear(state)).changed[0].new.power_state for state in ("off", "on")]
        self.assertEqual(states, [0, 1])

    def test_changes_that_outlive_their_loop_are_harmless(self) -> None:
        tv = EmulatedTv()
        self.addCleanup(tv.end)

        async def begin() -> AsyncChanges:
            changes = (await AsyncClient().__aenter__()).changes()
            return await changes.__aenter__()

        left = asyncio.run(begin())

        async def hear() -> Change:
            async with AsyncClient() as client, client.changes() as changes:
                await asyncio.to_thread(tv.happens, "plug", "usb-stick")
                return await next_of(changes)

        self.assertEqual(asyncio.run(hear()).result, 1)
        left.close()


class AsyncClientOnBus(unittest.IsolatedAsyncioTestCase):
    def setUp(self) -> None:
        self.bus = Bus()
        self.addCleanup(self.bus.end)
        self.bus.start()

    async def test_a_service_that_does_not_reply_does_not_block_the_loop(self) -> None:
        self.bus.start_service()
        async with AsyncClient() as client:
            await client.sources()
            self.bus.freeze_service()
            answer = asyncio.create_task(client.connect(4))
            with self.assertRaises(TimeoutError):
                await asyncio.wait_for(asyncio.shield(answer), 0.1)
            self.assertEqual(await client.osd_text(4), "HDMI 2")
            self.assertFalse(answer.done())
            self.bus.thaw_service()
            self.assertTrue(await asyncio.wait_for(answer, LIMIT))

    async def test_an_awaited_call_can_time_out(self) -> None:
        self.bus.start_service()
        async with AsyncClient() as client:
            await client.sources()
            self.bus.freeze_service()
            with self.assertRaises(TimeoutError):
                await asyncio.wait_for(client.connect(4), 0.1)
            self.bus.thaw_service()
            self.assertTrue(await client.connect(3))

    async def test_the_loss_of_the_bus_is_raised_in_every_wait(self) -> None:
        self.bus.start_service()
        async with AsyncClient() as client, client.changes() as changes:
            await asyncio.to_thread(self.bus.stop)
            with self.assertRaises(BusLostError):
                await next_of(changes)
