// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Threading;

namespace SourceApi
{
    /// <summary>A registration for changes of the list. It lives until it or its client is
    /// disposed, even if it is no longer referenced.</summary>
    public sealed class SourceSubscription : IDisposable
    {
        private readonly SynchronizationContext context;
        private readonly Action<SourceListChange> changed;
        private readonly Action<Exception> failed;
        private volatile bool isDisposed;

        internal SourceSubscription(SourceClient client, SynchronizationContext context,
            Action<SourceListChange> changed, Action<Exception> failed)
        {
            Client = client;
            this.context = context;
            this.changed = changed;
            this.failed = failed;
            Sources = ChangeFeed.Add(this);
        }

        /// <summary>The list that the first change is relative to: the list at the time of the
        /// subscription. Empty if the list had not been read; its first load is then a change that
        /// adds every source.</summary>
        public IReadOnlyList<Source> Sources { get; }

        internal SourceClient Client { get; }

        /// <summary>Ends the registration. It never blocks, may be called repeatedly and inside the
        /// handler. The handler is not called afterwards, but a call that runs on another
        /// thread may continue.</summary>
        public void Dispose()
        {
            isDisposed = true;
            ChangeFeed.Remove(this);
        }

        internal void Post(SourceListChange change)
        {
            Post(() =>
            {
                try
                {
                    changed(change);
                }
                catch (Exception error)
                {
                    Tell(error);
                }
            });
        }

        internal void PostFailure(Exception failure)
        {
            Post(() => Tell(failure));
        }

        // An exception of the application's context must not affect other subscriptions.
        private void Post(Action action)
        {
            try
            {
                context.Post(ignored =>
                {
                    if (!isDisposed)
                    {
                        action();
                    }
                }, null);
            }
            catch (Exception error)
            {
                Trace.TraceError("SourceApi: {0}", error);
            }
        }

        private void Tell(Exception failure)
        {
            try
            {
                if (failed != null)
                {
                    failed(failure);
                    return;
                }
            }
            catch (Exception error)
            {
                Trace.TraceError("SourceApi: {0}", error);
            }
            Trace.TraceError("SourceApi: {0}", failure);
        }
    }
}
