// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Collections.Generic;
using System.Threading;
using System.Threading.Tasks;

namespace SourceApi
{
    // Each task has the result and the exceptions of the blocking method with the same name. The
    // token cancels the task only: a request that was sent is carried out, and its reply is
    // discarded.
    public sealed partial class SourceClient
    {
        /// <summary>Makes a client as <see cref="SourceClient()"/> does, without blocking.
        /// </summary>
        /// <param name="token">Cancels the task.</param>
        /// <returns>The client.</returns>
        public static Task<SourceClient> OpenAsync(
            CancellationToken token = default(CancellationToken))
        {
            SynchronizationContext context = SynchronizationContext.Current;
            return Waiting.For(() => new SourceClient(context), token);
        }

        /// <summary>See <see cref="GetSources"/>.</summary>
        /// <param name="token">Cancels the task, not the request.</param>
        /// <returns>The list, or null.</returns>
        public Task<IReadOnlyList<Source>> GetSourcesAsync(
            CancellationToken token = default(CancellationToken))
        {
            return Waiting.For(() => GetSources(), token);
        }

        /// <summary>See <see cref="GetUsbData(string)"/>.</summary>
        /// <param name="uniqueKey">The key of the device's source.</param>
        /// <param name="token">Cancels the task, not the request.</param>
        /// <returns>The device's data, or null.</returns>
        public Task<UsbData> GetUsbDataAsync(string uniqueKey,
            CancellationToken token = default(CancellationToken))
        {
            byte[] key = NativeText.From(uniqueKey, "uniqueKey");
            return Waiting.For(() => GetUsbData(key), token);
        }

        /// <summary>See <see cref="GetName"/>.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="activityIndex">Its activity index.</param>
        /// <param name="token">Cancels the task, not the request.</param>
        /// <returns>The name, or null.</returns>
        public Task<string> GetNameAsync(int sourceType, int activityIndex,
            CancellationToken token = default(CancellationToken))
        {
            return Waiting.For(() => GetName(sourceType, activityIndex), token);
        }

        /// <summary>See <see cref="GetDeviceType"/>.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="activityIndex">Its activity index.</param>
        /// <param name="token">Cancels the task, not the request.</param>
        /// <returns>The device type, or 0.</returns>
        public Task<uint> GetDeviceTypeAsync(int sourceType, int activityIndex,
            CancellationToken token = default(CancellationToken))
        {
            return Waiting.For(() => GetDeviceType(sourceType, activityIndex), token);
        }

        /// <summary>See <see cref="SetName(int, string, int)"/>.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="name">The name.</param>
        /// <param name="activityIndex">The source's activity index.</param>
        /// <param name="token">Cancels the task, not the request.</param>
        /// <returns>True on success.</returns>
        public Task<bool> SetNameAsync(int sourceType, string name, int activityIndex,
            CancellationToken token = default(CancellationToken))
        {
            byte[] text = NativeText.From(name, "name");
            return Waiting.For(() => SetName(sourceType, text, activityIndex), token);
        }

        /// <summary>See <see cref="SetDeviceType"/>.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="deviceType">The device type.</param>
        /// <param name="activityIndex">The source's activity index.</param>
        /// <param name="token">Cancels the task, not the request.</param>
        /// <returns>True on success.</returns>
        public Task<bool> SetDeviceTypeAsync(int sourceType, uint deviceType, int activityIndex,
            CancellationToken token = default(CancellationToken))
        {
            return Waiting.For(() => SetDeviceType(sourceType, deviceType, activityIndex), token);
        }

        /// <summary>See <see cref="SetDetected(int, string, uint, int)"/>.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="name">The detected name.</param>
        /// <param name="deviceType">The device type.</param>
        /// <param name="activityIndex">The source's activity index.</param>
        /// <param name="token">Cancels the task, not the request.</param>
        /// <returns>True on success.</returns>
        public Task<bool> SetDetectedAsync(int sourceType, string name, uint deviceType,
            int activityIndex, CancellationToken token = default(CancellationToken))
        {
            byte[] text = NativeText.From(name, "name");
            return Waiting.For(() => SetDetected(sourceType, text, deviceType, activityIndex),
                token);
        }

        /// <summary>See <see cref="Connect(int)"/>.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="token">Cancels the task, not the request.</param>
        /// <returns>True on success.</returns>
        public Task<bool> ConnectAsync(int sourceType,
            CancellationToken token = default(CancellationToken))
        {
            return Waiting.For(() => Connect(sourceType), token);
        }

        /// <summary>See <see cref="Connect(int, string)"/>.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="uniqueKey">The source's key.</param>
        /// <param name="token">Cancels the task, not the request.</param>
        /// <returns>True on success.</returns>
        public Task<bool> ConnectAsync(int sourceType, string uniqueKey,
            CancellationToken token = default(CancellationToken))
        {
            byte[] key = NativeText.From(uniqueKey, "uniqueKey");
            return Waiting.For(() => Connect(sourceType, key), token);
        }
    }
}
