# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""The exceptions of this package."""


class SourceApiError(Exception):
    """The library failed, for example because of values of wrong types in the settings store."""


class ListUnavailableError(SourceApiError):
    """The list of sources could not be read: the service is not running or does not reply."""


class BusLostError(SourceApiError):
    """The connection to the system bus was lost. The library does not reconnect."""
