// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Threading;

namespace SourceApi.Tests
{
    /// <summary>A synchronization context that a test iterates itself, as a user interface does.
    /// </summary>
    internal sealed class QueueContext : SynchronizationContext
    {
        private readonly Inbox<Action> posted = new Inbox<Action>();

        public override void Post(SendOrPostCallback callback, object state)
        {
            posted.Put(() => callback(state));
        }

        internal void RunNext()
        {
            posted.Take()();
        }
    }
}
