# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0
"""Captures the messages that a command exchanges over the emulated TV's bus."""

import json
import os
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
    def __init__(self) -> None:
        self._process = subprocess.Popen(
            ["timeout", LIMIT, *BUSCTL, "monitor", "--json=short"], stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, encoding="utf-8")
        if not self._process.stderr.readline().startswith("Monitoring"):
            raise RuntimeError("the bus cannot be monitored")

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
        subprocess.run(call_by_hand("SendMessage", "suss", END, "0", "", "{}"), check=True,
                       stdout=subprocess.DEVNULL)
        return self._read_step(), process.pid

    def _read_step(self) -> Messages:
        messages = Messages()
        end = None
        for line in self._process.stdout:
            message = json.loads(line)
            if message["type"] == "method_call" and message["payload"]["data"][:1] == [END]:
                end = message
            elif end is None or message["sender"] != end["sender"]:
                messages.append(message)
            if end is not None and message.get("reply_cookie") == end["cookie"] \
                    and message["destination"] == end["sender"]:
                return Messages(m for m in messages if end["sender"] not in
                                (m["sender"], m.get("destination")))
        raise RuntimeError("the monitor of the bus has ended")
