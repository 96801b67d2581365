# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from __future__ import annotations

import json
import signal
import subprocess
import sys
from pathlib import Path

from .support import LIMIT, TestOnTv

SAMPLES = Path(__file__).parent.parent / "samples"

BEGINNING = [
    "TV: Antenne",
    "HDMI 1: Wohnzimmer Bär",
    "HDMI 2: Spielkonsole",
    "HDMI 3: ",
    "AV: Old tapes",
    "USB: Été 2026",
    "USB: Björn's Kamera",
]


class Program(TestOnTv):
    def start(self, *arguments: str) -> subprocess.Popen[str]:
        program = subprocess.Popen(
            [sys.executable, "-X", "faulthandler", "-W", "error", *arguments],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            encoding="utf-8",
        )
        self.addCleanup(program.kill)
        return program

    def lines(self, program: subprocess.Popen[str], count: int) -> list[str]:
        assert program.stdout is not None
        return [program.stdout.readline().rstrip("\n") for _ in range(count)]

    def expect_quiet_end(self, program: subprocess.Popen[str]) -> None:
        _, errors = program.communicate(timeout=LIMIT)
        self.assertEqual((program.returncode, errors), (0, ""))


class Samples(Program):
    def test_follow_prints_the_list_and_its_changes_until_interrupted(self) -> None:
        program = self.start(str(SAMPLES / "follow.py"))
        self.assertEqual(self.lines(program, 7), BEGINNING)
        self.tv.happens("plug", "usb-stick", "--name", "Urlaub März")
        self.tv.happens("rename", "hdmi1", "Küche")
        self.tv.happens("unplug", "usb-stick")
        self.assertEqual(
            self.lines(program, 3),
            ["added Urlaub März", "changed Wohnzimmer Bär to Küche", "removed Urlaub März"],
        )
        program.send_signal(signal.SIGINT)
        self.expect_quiet_end(program)

    def test_follow_asyncio_does_the_same_in_a_loop(self) -> None:
        program = self.start(str(SAMPLES / "follow_asyncio.py"))
        self.assertEqual(self.lines(program, 7), BEGINNING)
        self.tv.happens("plug", "usb-stick", "--name", "Urlaub März")
        self.assertEqual(self.lines(program, 1), ["added Urlaub März"])
        program.send_signal(signal.SIGINT)
        self.expect_quiet_end(program)


class Readme(Program):
    def test_its_program_runs_unchanged(self) -> None:
        text = (SAMPLES.parent / "README.md").read_text("utf-8")
        _, _, program_and_rest = text.partition("<!-- program -->\n```python\n")
        program = self.start("-u", "-c", program_and_rest.partition("```")[0])
        self.assertEqual(
            self.lines(program, 7), [line.replace(":", "", 1) for line in BEGINNING]
        )
        self.tv.happens("plug", "usb-stick", "--name", "Urlaub März")
        (line,) = self.lines(program, 1)
        self.assertRegex(line, r"^1 \(Source\(source_type=8,.*detected_name='Urlaub März'")
        program.send_signal(signal.SIGINT)
        program.communicate(timeout=LIMIT)
        state = json.loads((self.tv.root() / "state.json").read_text())
        self.assertEqual(state["selected"], "hdmi2")


class Leaving(Program):
    """A program may exit at any moment without closing its objects."""

    def run_text(self, text: str) -> None:
        self.expect_quiet_end(self.start("-c", "from source_api import *\n" + text))

    def test_with_an_open_client_and_subscription(self) -> None:
        self.run_text("client = Client(); client.subscribe(print)")

    def test_with_a_thread_that_waits_for_changes(self) -> None:
        self.run_text(
            "import threading\n"
            "changes = Client().changes()\n"
            "threading.Thread(target=changes.get, daemon=True).start()"
        )

    def test_with_a_loop_that_was_left(self) -> None:
        self.run_text(
            "import asyncio\n"
            "async def leave():\n"
            "    client = await AsyncClient().__aenter__()\n"
            "    await client.changes().__aenter__()\n"
            "asyncio.run(leave())"
        )

    def test_with_the_application_delivering(self) -> None:
        self.run_text("Client(delivery=Delivery.APPLICATION).subscribe(print)")

    def test_while_a_handler_runs(self) -> None:
        program = self.start(
            "-c",
            "import os, threading\n"
            "from source_api import Client\n"
            "entered = threading.Event()\n"
            "def handle(change):\n"
            "    entered.set()\n"
            "    os.read(0, 1)\n"
            "    print('done', flush=True)\n"
            "Client().subscribe(handle)\n"
            "print('ready', flush=True)\n"
            "entered.wait()\n"
            "print('leaving', flush=True)",
        )
        self.assertEqual(self.lines(program, 1), ["ready"])
        self.tv.happens("plug", "usb-stick")
        self.assertEqual(self.lines(program, 1), ["leaving"])
        output, errors = program.communicate("x", timeout=LIMIT)
        self.assertEqual((program.returncode, output, errors), (0, "done\n", ""))

    def test_while_changes_arrive(self) -> None:
        program = self.start(
            "-c",
            "from source_api import Client\n"
            "client = Client()\n"
            "client.subscribe(lambda change: [None for _ in range(1000)])\n"
            "with client.changes() as changes:\n"
            "    print('ready', flush=True)\n"
            "    changes.get(30)",
        )
        self.assertEqual(self.lines(program, 1), ["ready"])
        for number in range(20):
            self.tv.happens("power", "hdmi1", "on" if number % 2 else "off")
        self.expect_quiet_end(program)
