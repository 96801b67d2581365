// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Threading.Tasks;
using NUnit.Framework;

namespace SourceApi.Tests
{
    /// <summary>The limit of every wait, long enough for a slow machine.</summary>
    internal static class Limit
    {
        internal const int Milliseconds = 30000;

        internal static T Wait<T>(Task<T> task)
        {
            Assert.That(task.Wait(Milliseconds), "the task did not end in time");
            return task.Result;
        }
    }
}
