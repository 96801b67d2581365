# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0
"""Captures the messages that a command exchanges over the emulated TV's bus."""

import json
import os
import select
import subprocess

NAME = "source_service.message"
PATH = "/source_service/message"
LIMIT = "120"  # seconds, for the whole capture
BUSCTL = ["busctl", "--address=" + os.environ.get("DBUS_SYSTEM_BUS_ADDRESS", "")]
END = "end-of-step"


def call_by_hand(method: str, signature: str, *fields: str) -> list[str]:
    return [*BUSCTL, "call", NAME, PATH, NAME, method, signature, *fields]


class Messages(list):
    """The messages of one command, in the order in which the bus delivered them."""

    def calls(self, member_prefix: str = "") -> "Messages":
        return Messages(message for message in self if message["type"] == "method_call"
                        and message["member"].startswith(member_prefix))

    def answer_to(self, call: dict) -> dict:
        return next(message for message in self
                    if message["type"] in ("method_return", "error")
                    and message["destination"] == call["sender"]
                    and message["reply_cookie"] == call["cookie"])

    def exchange(self) -> tuple[dict, dict]:
        """The one request to the service, and its answer."""
        [request] = self.calls("SendMessage")
        return request, self.answer_to(request)

    def change_signal(self) -> dict:
        [signal] = [message for message in self
                    if message["type"] == "signal" and message["member"] == "source_api"]
        return signal


class Monitor:
    """Reads the bus from its construction on."""

    def __init__(self) -> None:
        self._ends = 0
        self._process = subprocess.Popen(
            ["timeout", LIMIT, *BUSCTL, "monitor", "--json=short"], stdout=subprocess.PIPE,
            encoding="utf-8")
        # Not every version of busctl reports that it has begun, so it has once it prints a message.
        self._send_end()
        while not select.select([self._process.stdout], [], [], 0.05)[0]:
            self._send_end()
        self._send_end()
        self._read_step()

    def __enter__(self) -> "Monitor":
        return self

    def __exit__(self, *_) -> None:
        self._process.terminate()
        self._process.communicate()

    def messages_of(self, command: list[str]) -> tuple[Messages, int]:
        """Runs a command; returns the messages on the bus meanwhile, and its process id."""
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        process.wait()
        # The service sends answers and signals in order, so this call's answer is the last message.
        self._send_end()
        return self._read_step(), process.pid

    def _send_end(self) -> None:
        self._ends += 1
        subprocess.run(call_by_hand("SendMessage", "suss", END, str(self._ends), "", "{}"),
                       check=True, stdout=subprocess.DEVNULL)

    def _read_step(self) -> Messages:
        """The messages up to the answer to the last end, without those of the ends."""
        messages = Messages()
        end = None
        for line in self._process.stdout:
            message = json.loads(line)
            if message["type"] == "method_call" \
                    and message["payload"]["data"][:2] == [END, self._ends]:
                end = message
            elif end is None or message["sender"] != end["sender"]:
                messages.append(message)
            if end is not None and message.get("reply_cookie") == end["cookie"] \
                    and message["destination"] == end["sender"]:
                return Messages(m for m in messages if end["sender"] not in
                                (m["sender"], m.get("destination")))
        raise RuntimeError("the monitor of the bus has ended")
