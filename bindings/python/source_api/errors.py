# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

"""What goes wrong."""


class SourceApiError(Exception):
    """The library could not do its work, e.g. for values of wrong types in the settings store."""


class ListUnavailableError(SourceApiError):
    """The list of sources could not be had: the source service is not there or does not answer."""


class BusLostError(SourceApiError):
    """The connection to the system bus was lost; the library does not make it again."""
