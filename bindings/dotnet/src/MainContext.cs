// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Diagnostics;
using System.Runtime.ExceptionServices;
using System.Runtime.InteropServices;
using System.Threading;

namespace SourceApi
{
    /// <summary>A GLib main context that is never destroyed. Posted functions run in their order on
    /// the thread that iterates it.</summary>
    internal sealed class MainContext : SynchronizationContext
    {
        internal const string ThreadName = "source-events";

        private const int defaultPriority = 0;

        // Referenced by native code while functions are posted, so it must not be collected.
        private static readonly GLib.SourceFunction run = Run;

        private readonly IntPtr context;
        private Thread thread;

        private MainContext(IntPtr context)
        {
            this.context = context;
        }

        internal static MainContext OfThisThread()
        {
            return new MainContext(GLib.g_main_context_ref_thread_default());
        }

        internal static MainContext WithThreadOfItsOwn()
        {
            var made = new MainContext(GLib.g_main_context_new());
            made.thread = new Thread(made.Iterate) { IsBackground = true, Name = ThreadName };
            made.thread.Start();
            return made;
        }

        public override void Post(SendOrPostCallback callback, object state)
        {
            Action work = () => callback(state);
            IntPtr source = GLib.g_idle_source_new();
            GLib.g_source_set_priority(source, defaultPriority);
            GLib.g_source_set_callback(source, run, GCHandle.ToIntPtr(GCHandle.Alloc(work)),
                IntPtr.Zero);
            GLib.g_source_attach(source, context);
            GLib.g_source_unref(source);
        }

        /// <summary>Waits for the end and rethrows its exception.</summary>
        public override void Send(SendOrPostCallback callback, object state)
        {
            if (Thread.CurrentThread == thread)
            {
                callback(state);
                return;
            }
            ExceptionDispatchInfo failure = null;
            using (var done = new ManualResetEventSlim())
            {
                Post(ignored =>
                {
                    try
                    {
                        callback(state);
                    }
                    catch (Exception error)
                    {
                        failure = ExceptionDispatchInfo.Capture(error);
                    }
                    finally
                    {
                        done.Set();
                    }
                }, null);
                done.Wait();
            }
            if (failure != null)
            {
                failure.Throw();
            }
        }

        private void Iterate()
        {
            GLib.g_main_context_push_thread_default(context);
            SetSynchronizationContext(this);
            for (;;)
            {
                GLib.g_main_context_iteration(context, 1);
            }
        }

        // No exception may leave through the native frames below.
        private static int Run(IntPtr data)
        {
            try
            {
                GCHandle handle = GCHandle.FromIntPtr(data);
                var work = (Action)handle.Target;
                handle.Free();
                work();
            }
            catch (Exception error)
            {
                Trace.TraceError("SourceApi: {0}", error);
            }
            return 0;
        }
    }
}
