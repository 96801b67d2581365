# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""Fixtures: an emulated TV, or a bus and a service that a test can stop."""

from __future__ import annotations

import ctypes
import os
import signal
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path
from typing import Optional

#: The limit of every wait, in seconds, long enough for a busy and slow machine.
LIMIT = 30

SETTINGS_FILE = Path("settings/db%2Fsource-list%2Fsource-name")


class EmulatedTv:
    """An emulated TV, which the environment of this process names while it runs."""

    def __init__(self) -> None:
        where = 'echo "$DBUS_SYSTEM_BUS_ADDRESS"; echo "$SOURCE_TV_ROOT"; exec cat'
        self._emulator = subprocess.Popen(
            ["tv-emulator", "run", "--", "sh", "-c", where],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        assert self._emulator.stdout is not None
        for variable in ("DBUS_SYSTEM_BUS_ADDRESS", "SOURCE_TV_ROOT"):
            os.environ[variable] = self._emulator.stdout.readline().rstrip("\n")

    def root(self) -> Path:
        return Path(os.environ["SOURCE_TV_ROOT"])

    def happens(self, *arguments: str) -> None:
        subprocess.run(["tv-emulator", *arguments], check=True, timeout=LIMIT)

    def end(self) -> None:
        self._emulator.communicate(timeout=LIMIT)


class TestOnTv(unittest.TestCase):
    """The fixture of tests on an emulated TV. Each runs in its own process, as the library has one
    client per process."""

    def setUp(self) -> None:
        self.tv = EmulatedTv()
        self.addCleanup(self.tv.end)


_BUS = """<busconfig>
  <listen>{address}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


class Bus:
    """A system bus and a source service, each of which can be started and stopped."""

    def __init__(self) -> None:
        self._folder = tempfile.TemporaryDirectory()
        self._address = f"unix:path={self._folder.name}/socket"
        self._config = Path(self._folder.name, "bus.conf")
        self._config.write_text(_BUS.format(address=self._address))
        self._daemon: Optional[subprocess.Popen[str]] = None
        self._service: Optional[subprocess.Popen[str]] = None
        os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = self._address
        os.environ["SOURCE_TV_ROOT"] = f"{self._folder.name}/tv"

    def start(self) -> None:
        self._daemon = subprocess.Popen(
            ["dbus-daemon", "--config-file", str(self._config), "--nofork", "--print-address"],
            stdout=subprocess.PIPE,
            text=True,
        )
        assert self._daemon.stdout is not None
        self._daemon.stdout.readline()

    def stop(self) -> None:
        _end(self._daemon)
        self._daemon = None

    def start_service(self) -> None:
        # The readiness event can only be waited for in an existing folder.
        Path(os.environ["SOURCE_TV_ROOT"]).mkdir(exist_ok=True)
        self._service = subprocess.Popen(["tv-emulator", "serve"], text=True)
        platform = ctypes.CDLL("libsource-platform-host.so.1")
        platform.FerrelWaitEvent(b"/tmp/source_service_ready", LIMIT * 1000)

    def stop_service(self) -> None:
        _end(self._service)
        self._service = None

    def freeze_service(self) -> None:
        assert self._service is not None
        self._service.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, self._service.pid, os.WSTOPPED)

    def thaw_service(self) -> None:
        assert self._service is not None
        self._service.send_signal(signal.SIGCONT)

    def happens(self, *arguments: str) -> None:
        subprocess.run(["tv-emulator", *arguments], check=True, timeout=LIMIT)

    def end(self) -> None:
        self.stop_service()
        self.stop()
        self._folder.cleanup()


def _end(program: Optional[subprocess.Popen[str]]) -> None:
    if program is None:
        return
    program.send_signal(signal.SIGCONT)
    program.terminate()
    program.communicate(timeout=LIMIT)


class TestOnBus(unittest.TestCase):
    def setUp(self) -> None:
        self.bus = Bus()
        self.addCleanup(self.bus.end)


class Reported:
    """The exceptions that sys.unraisablehook has received."""

    def __init__(self, test: unittest.TestCase) -> None:
        self.errors: list[Optional[BaseException]] = []
        self.came = threading.Event()
        before = sys.unraisablehook
        sys.unraisablehook = self._take
        test.addCleanup(setattr, sys, "unraisablehook", before)

    def _take(self, what: sys.UnraisableHookArgs) -> None:
        self.errors.append(what.exc_value)
        self.came.set()
