# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""Reads, changes and follows the TV's list of input sources."""

from ._hub import Delivery
from .aio import AsyncChanges, AsyncClient
from .changes import Change, Changed
from .client import Changes, Client, Subscription
from .errors import BusLostError, ListUnavailableError, SourceApiError
from .iteration import iterated_main_context
from .sources import Source

__all__ = [
    "AsyncChanges",
    "AsyncClient",
    "BusLostError",
    "Change",
    "Changed",
    "Changes",
    "Client",
    "Delivery",
    "ListUnavailableError",
    "Source",
    "SourceApiError",
    "Subscription",
    "iterated_main_context",
]
