// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Threading;
using System.Threading.Tasks;

namespace SourceApi
{
    internal static class Waiting
    {
        /// <summary>Makes a blocking call on a pool thread. The token cancels the task, not the
        /// call.</summary>
        internal static Task<T> For<T>(Func<T> call, CancellationToken token)
        {
            var done = new TaskCompletionSource<T>(
                TaskCreationOptions.RunContinuationsAsynchronously);
            if (token.IsCancellationRequested)
            {
                done.SetCanceled();
                return done.Task;
            }
            CancellationTokenRegistration registration =
                token.Register(() => done.TrySetCanceled(token));
            Task.Run(() =>
            {
                try
                {
                    done.TrySetResult(call());
                }
                catch (Exception error)
                {
                    done.TrySetException(error);
                }
                finally
                {
                    registration.Dispose();
                }
            });
            return done.Task;
        }
    }
}
