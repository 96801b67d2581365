// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Diagnostics;

namespace SourceApi
{
    /// <summary>What the process has one of: the native library, its registration and the main
    /// context of its signals.</summary>
    internal static class Library
    {
        private static readonly object gate = new object();

        // Native code keeps it until exit, which no collector knows. It is never taken back: that
        // would wait for callbacks, and in one of them for ever.
        private static readonly GuardLibrary.ChangedCallback onChanged = OnChanged;

        private static MainContext context;
        private static EventLoop loop;
        private static bool isRegistered;
        private static volatile bool isSubscribed;

        /// <summary>Makes the library's first call where its signals shall arrive. What fails is
        /// tried again by the next start.</summary>
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

        /// <summary>Makes a request. It is the one that subscribes to the signals when none before
        /// it reached the bus, and must then be made where they shall arrive.</summary>
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

        /// <summary>To be called when the service has answered, or told something.</summary>
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

        // The application's loop is not waited for: it may not run yet.
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

        // Nothing may be thrown through the native frames below. The list is read here, where it
        // is the one that belongs to this result.
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
