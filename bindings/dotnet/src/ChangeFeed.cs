// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Collections.Generic;

namespace SourceApi
{
    /// <summary>The list as last announced, and the subscriptions. Announcements are serialised,
    /// because the native library makes them under a lock.</summary>
    internal static class ChangeFeed
    {
        private static readonly object gate = new object();
        private static readonly List<SourceSubscription> subscriptions =
            new List<SourceSubscription>();
        private static readonly IReadOnlyList<Source> nothing = new List<Source>().AsReadOnly();

        // Null until the first announcement.
        private static IReadOnlyList<Source> announced;

        /// <summary>Adds a subscription and returns the list that its first change is relative to.
        /// </summary>
        internal static IReadOnlyList<Source> Add(SourceSubscription subscription)
        {
            lock (gate)
            {
                subscriptions.Add(subscription);
                return announced ?? nothing;
            }
        }

        internal static void Remove(SourceSubscription subscription)
        {
            lock (gate)
            {
                subscriptions.Remove(subscription);
            }
        }

        internal static IReadOnlyList<SourceSubscription> Of(SourceClient client)
        {
            lock (gate)
            {
                return subscriptions.FindAll(each => each.Client == client);
            }
        }

        internal static void Announce(int result, IReadOnlyList<Source> sources)
        {
            Tell(result, sources, false);
        }

        /// <summary>Announces a list that was read, unless one was announced before. The library
        /// does not announce a list that it loads for a query of names.</summary>
        internal static void AnnounceFirst(IReadOnlyList<Source> sources)
        {
            Tell(0, sources, true);
        }

        internal static void Fail(Exception failure)
        {
            foreach (SourceSubscription each in Snapshot())
            {
                each.PostFailure(failure);
            }
        }

        private static void Tell(int result, IReadOnlyList<Source> sources, bool onlyFirst)
        {
            SourceListChange change;
            IReadOnlyList<SourceSubscription> listeners;
            lock (gate)
            {
                if (onlyFirst && announced != null)
                {
                    return;
                }
                change = Difference.Between(announced ?? nothing, sources, result);
                announced = sources;
                listeners = Snapshot();
            }
            if (change.IsEmpty)
            {
                return;
            }
            foreach (SourceSubscription each in listeners)
            {
                each.Post(change);
            }
        }

        private static IReadOnlyList<SourceSubscription> Snapshot()
        {
            lock (gate)
            {
                return subscriptions.ToArray();
            }
        }
    }
}
