// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Threading;

namespace SourceApi
{
    /// <summary>A registration for changes of the list. It lives until it or its client is
    /// disposed, whether anything refers to it or not.</summary>
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

        /// <summary>The list that the first change is told against: the one known when the
        /// subscription was made. Empty when nobody had read the list by then; the first load then
        /// arrives as a change that adds everything.</summary>
        public IReadOnlyList<Source> Sources { get; }

        internal SourceClient Client { get; }

        /// <summary>Ends the registration; a second time does nothing. It never blocks and may be
        /// called anywhere, the handler included. No call of the handler begins after it, but one
        /// that runs on another thread is not waited for.</summary>
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

        // The context is the application's: what it throws must not keep others from their news.
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
