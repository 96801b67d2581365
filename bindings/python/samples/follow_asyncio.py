# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

import asyncio
from contextlib import suppress

from source_api import AsyncClient


async def follow() -> None:
    async with AsyncClient() as client, client.changes() as changes:
        for source in changes.sources:
            print(await client.osd_text(source.source_type), source.name, sep=": ", flush=True)
        async for change in changes:
            for source in change.added:
                print("added", source.name, flush=True)


with suppress(KeyboardInterrupt):
    asyncio.run(follow())
