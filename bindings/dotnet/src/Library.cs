// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Diagnostics;

namespace SourceApi
{
    /// <summary>The per-process state: the native library, its registration and the main context
    /// of its signals.</summary>
    internal static class Library
    {
        private static readonly object gate = new object();

        // Referenced by native code until exit, so it must not be collected. It is never
        // unregistered: that waits for running callbacks, and inside one it would deadlock.
        private static readonly GuardLibrary.ChangedCallback onChanged = OnChanged;

        private static MainContext context;
        private static EventLoop loop;
        private static bool isRegistered;
        private static volatile bool isSubscribed;

        /// <summary>Makes the library's first call on the thread on which its signals shall arrive.
        /// After a failure the next start tries again.</summary>
        internal static MainContext Start(EventLoop wanted)
        {
            lock (gate)
            {
                Choose(wanted);
                if (!isRegistered)
                {
                    OnLoop(() => Calls.Register(onChanged));
                    isRegistered = true;
                }
                return context;
            }
        }

        /// <summary>Makes a request. If no earlier one has reached the bus, it subscribes to the
        /// signals, and is then made on the thread on which they shall arrive.</summary>
        internal static T Request<T>(Func<T> request)
        {
            if (isSubscribed)
            {
                return request();
            }
            T answer = default(T);
            OnLoop(() => answer = request());
            return answer;
        }

        /// <summary>To be called after a reply or a signal of the service.</summary>
        internal static void NoteContact()
        {
            isSubscribed = true;
        }

        private static void Choose(EventLoop wanted)
        {
            if (context == null)
            {
                context = wanted == EventLoop.Own
                    ? MainContext.WithThreadOfItsOwn()
                    : MainContext.OfThisThread();
                loop = wanted;
            }
            else if (loop != wanted)
            {
                throw new InvalidOperationException(
                    "The first client of the process has chosen another event loop.");
            }
        }

        // Does not wait for the application's loop, which may not run yet.
        private static void OnLoop(Action action)
        {
            if (loop == EventLoop.Own)
            {
                context.Send(ignored => action(), null);
            }
            else
            {
                action();
            }
        }

        // No exception may leave through the native frames below. The list is read here, so that it
        // belongs to this result.
        private static void OnChanged(int result, IntPtr userData)
        {
            NoteContact();
            try
            {
                string list = Calls.GetSourceList();
                if (list == null)
                {
                    throw new SourceApiException(
                        "the list has changed, but cannot be had from the service");
                }
                ChangeFeed.Announce(result, SourceListText.Parse(list));
            }
            catch (Exception error)
            {
                Fail(error);
            }
        }

        private static void Fail(Exception failure)
        {
            try
            {
                ChangeFeed.Fail(failure);
            }
            catch (Exception error)
            {
                Trace.TraceError("SourceApi: {0}", error);
            }
        }
    }
}
