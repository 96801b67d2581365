// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Threading.Tasks;
using NUnit.Framework;

namespace SourceApi.Tests
{
    /// <summary>No wait of a test is longer; a slow machine needs no more.</summary>
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
