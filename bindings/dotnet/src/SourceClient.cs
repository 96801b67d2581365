// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Collections.Generic;
using System.Threading;

namespace SourceApi
{
    /// <summary>Reads, changes and follows the TV's list of input sources.
    /// <para>The clients of a process share the native library and its connection, so they are
    /// cheap. Any thread may call anything at any time.</para>
    /// <para>A request blocks until the service answers, at most for the bus's default time-out
    /// (25 seconds) for each of two bus calls; it fails at once when the service is not on the
    /// bus. A read that fetches the list also waits until the service is ready. Until the
    /// first reply of the service, requests are serialised.</para>
    /// <para>False and null are returned for a refusal by the service and for a service that could
    /// not be reached; the platform's log has the reason. A <see cref="SourceApiException"/>
    /// means that the settings store holds values of wrong types, or that a reply cannot be read.
    /// </para>
    /// <para>A source is named by its type, in the service's numbering, and its activity index.
    /// </para></summary>
    public sealed partial class SourceClient : IDisposable
    {
        private readonly SynchronizationContext context;
        private volatile bool isDisposed;

        /// <summary>Makes a client whose handlers run in the current synchronization context, or,
        /// if there is none, on the binding's own thread. See the third constructor.</summary>
        public SourceClient()
            : this(SynchronizationContext.Current)
        {
        }

        /// <summary>Makes a client whose handlers run in the given context. See the third
        /// constructor.</summary>
        /// <param name="context">Where handlers run; null for the binding's own thread.</param>
        public SourceClient(SynchronizationContext context)
            : this(context, EventLoop.Own)
        {
        }

        /// <summary>Makes a client. The first of the process opens the connection to the bus,
        /// which blocks, and subscribes to changes. The service need not run.</summary>
        /// <param name="context">Where handlers run, in order if the context preserves it; null for
        /// the thread that iterates the main context.</param>
        /// <param name="loop">The thread that iterates the main context. With
        /// <see cref="EventLoop.Application"/> the first client must be made, and its first
        /// request answered, on the thread that does.</param>
        /// <exception cref="SourceApiException">The settings store holds values of wrong types. The
        /// next client tries again.</exception>
        /// <exception cref="InvalidOperationException">An earlier client has chosen the other
        /// loop.</exception>
        public SourceClient(SynchronizationContext context, EventLoop loop)
        {
            MainContext mainContext = Library.Start(loop);
            this.context = context ?? mainContext;
        }

        /// <summary>Reads the list, in the service's order. Does not block when it was read before.
        /// Subscriptions receive the first load as a change with the result 0.
        /// </summary>
        /// <returns>The list, or null if it could not be read.</returns>
        /// <exception cref="SourceApiException">See the class.</exception>
        public IReadOnlyList<Source> GetSources()
        {
            CheckNotDisposed();
            string text = Library.Request(() => Calls.GetSourceList());
            if (text == null)
            {
                return null;
            }
            Library.NoteContact();
            IReadOnlyList<Source> sources = SourceListText.Parse(text);
            ChangeFeed.AnnounceFirst(sources);
            return sources;
        }

        /// <summary>Reads the data of a USB device from the service.</summary>
        /// <param name="uniqueKey">The key of its source.</param>
        /// <returns>The device's data; null if the service refused or could not be reached.
        /// </returns>
        /// <exception cref="ArgumentNullException">The key is null.</exception>
        /// <exception cref="ArgumentException">The key has a null character or half a surrogate
        /// pair in it.</exception>
        /// <exception cref="SourceApiException">See the class.</exception>
        public UsbData GetUsbData(string uniqueKey)
        {
            return GetUsbData(NativeText.From(uniqueKey, "uniqueKey"));
        }

        /// <summary>Reads the user's name of a source or, without one, the detected name. Blocks
        /// only after a change of a name or a device type, or a failed read.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="activityIndex">Its activity index.</param>
        /// <returns>The name; null when there is no such source or the names could not be read.
        /// </returns>
        /// <exception cref="SourceApiException">See the class.</exception>
        public string GetName(int sourceType, int activityIndex)
        {
            CheckNotDisposed();
            return Library.Request(() => Calls.GetEditName(sourceType, activityIndex));
        }

        /// <summary>Reads the device type of a source. Blocks like <see cref="GetName"/>.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="activityIndex">Its activity index.</param>
        /// <returns>The device type in the service's numbering; 0 also when there is no such source
        /// or the types could not be read.</returns>
        /// <exception cref="SourceApiException">See the class.</exception>
        public uint GetDeviceType(int sourceType, int activityIndex)
        {
            CheckNotDisposed();
            return Library.Request(() => Calls.GetDeviceType(sourceType, activityIndex));
        }

        /// <summary>Asks the service to set the user's name of a source.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="name">The name; may be empty.</param>
        /// <param name="activityIndex">The source's activity index.</param>
        /// <returns>True on success.</returns>
        /// <exception cref="ArgumentNullException">The name is null.</exception>
        /// <exception cref="ArgumentException">The name has a null character or half a surrogate
        /// pair in it.</exception>
        /// <exception cref="SourceApiException">See the class.</exception>
        public bool SetName(int sourceType, string name, int activityIndex)
        {
            return SetName(sourceType, NativeText.From(name, "name"), activityIndex);
        }

        /// <summary>Asks the service to set the device type of a source.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="deviceType">The device type, in the service's numbering.</param>
        /// <param name="activityIndex">The source's activity index.</param>
        /// <returns>True on success.</returns>
        /// <exception cref="SourceApiException">See the class.</exception>
        public bool SetDeviceType(int sourceType, uint deviceType, int activityIndex)
        {
            return Ask(() => Calls.SetDeviceType(sourceType, deviceType, activityIndex));
        }

        /// <summary>Asks the service to set the name and the device type detected for a source.
        /// </summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="name">The detected name; may be empty.</param>
        /// <param name="deviceType">The device type, in the service's numbering.</param>
        /// <param name="activityIndex">The source's activity index.</param>
        /// <returns>True on success.</returns>
        /// <exception cref="ArgumentNullException">The name is null.</exception>
        /// <exception cref="ArgumentException">The name has a null character or half a surrogate
        /// pair in it.</exception>
        /// <exception cref="SourceApiException">See the class.</exception>
        public bool SetDetected(int sourceType, string name, uint deviceType, int activityIndex)
        {
            return SetDetected(sourceType, NativeText.From(name, "name"), deviceType,
                activityIndex);
        }

        /// <summary>Asks the service to switch the TV to a source type.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <returns>True on success.</returns>
        /// <exception cref="SourceApiException">See the class.</exception>
        public bool Connect(int sourceType)
        {
            return Ask(() => Calls.Connect(sourceType));
        }

        /// <summary>Asks the service to connect one source.</summary>
        /// <param name="sourceType">The source's type.</param>
        /// <param name="uniqueKey">The source's key.</param>
        /// <returns>True on success.</returns>
        /// <exception cref="ArgumentNullException">The key is null.</exception>
        /// <exception cref="ArgumentException">The key has a null character or half a surrogate
        /// pair in it.</exception>
        /// <exception cref="SourceApiException">See the class.</exception>
        public bool Connect(int sourceType, string uniqueKey)
        {
            return Connect(sourceType, NativeText.From(uniqueKey, "uniqueKey"));
        }

        /// <summary>Reads the platform's on-screen text of a source type. Does not call the service
        /// and does not block.</summary>
        /// <param name="sourceType">The source type.</param>
        /// <returns>The text; "----" for an unknown type.</returns>
        /// <exception cref="SourceApiException">See the class.</exception>
        public string GetOnScreenText(int sourceType)
        {
            CheckNotDisposed();
            return Calls.GetOnScreenText(sourceType);
        }

        /// <summary>Calls a handler on every change of the list from now on. Does not block.
        /// Handlers run in the context that was chosen for the client, one after another there,
        /// and may call any method. A notification of an unchanged list is ignored.</summary>
        /// <param name="changed">The handler.</param>
        /// <param name="failed">Called in the same context with an exception of
        /// <paramref name="changed"/>, or one that prevented its call. Without it, and for its own
        /// exceptions, an error is traced; the process is not terminated.</param>
        /// <returns>The registration, to be disposed.</returns>
        /// <exception cref="ArgumentNullException"><paramref name="changed"/> is null.</exception>
        public SourceSubscription Subscribe(Action<SourceListChange> changed,
            Action<Exception> failed = null)
        {
            if (changed == null)
            {
                throw new ArgumentNullException("changed");
            }
            var subscription = new SourceSubscription(this, context, changed, failed);
            // Checked last, so that a client that is disposed concurrently leaves no subscription.
            if (isDisposed)
            {
                subscription.Dispose();
            }
            CheckNotDisposed();
            return subscription;
        }

        /// <summary>Ends the client's subscriptions. It never blocks, may be called repeatedly and
        /// also inside a handler. The connection is kept for other clients.
        /// </summary>
        public void Dispose()
        {
            isDisposed = true;
            foreach (SourceSubscription each in ChangeFeed.Of(this))
            {
                each.Dispose();
            }
        }

        private UsbData GetUsbData(byte[] uniqueKey)
        {
            CheckNotDisposed();
            string text = Library.Request(() => Calls.GetUsbData(uniqueKey));
            if (text == null)
            {
                return null;
            }
            Library.NoteContact();
            return new UsbData(text, JsonObject.ParseObject(text));
        }

        private bool SetName(int sourceType, byte[] name, int activityIndex)
        {
            return Ask(() => Calls.SetEditName(sourceType, name, activityIndex));
        }

        private bool SetDetected(int sourceType, byte[] name, uint deviceType, int activityIndex)
        {
            return Ask(() => Calls.SetDetected(sourceType, name, deviceType, activityIndex));
        }

        private bool Connect(int sourceType, byte[] uniqueKey)
        {
            return Ask(() => Calls.Connect(sourceType, uniqueKey));
        }

        private bool Ask(Func<bool> request)
        {
            CheckNotDisposed();
            bool isDone = Library.Request(request);
            if (isDone)
            {
                Library.NoteContact();
            }
            return isDone;
        }

        private void CheckNotDisposed()
        {
            if (isDisposed)
            {
                throw new ObjectDisposedException(typeof(SourceClient).Name);
            }
        }
    }
}
