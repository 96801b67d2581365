// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Collections.Concurrent;
using NUnit.Framework;

namespace SourceApi.Tests
{
    /// <summary>A queue that any thread may fill.</summary>
    internal sealed class Inbox<T>
    {
        private readonly BlockingCollection<T> items = new BlockingCollection<T>();

        internal bool IsEmpty
        {
            get { return items.Count == 0; }
        }

        internal void Put(T item)
        {
            items.Add(item);
        }

        internal T Take()
        {
            T item;
            Assert.That(items.TryTake(out item, Limit.Milliseconds), "nothing arrived in time");
            return item;
        }
    }
}
