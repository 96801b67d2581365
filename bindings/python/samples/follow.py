# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

from contextlib import suppress

from source_api import Client

with Client() as client, client.changes() as changes, suppress(KeyboardInterrupt):
    for source in changes.sources:
        print(client.osd_text(source.source_type), source.name, sep=": ", flush=True)
    for change in changes:
        for verb, sources in ("added", change.added), ("removed", change.removed):
            for source in sources:
                print(verb, source.name, flush=True)
        for changed in change.changed:
            print("changed", changed.old.name, "to", changed.new.name, flush=True)
