// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Runtime.InteropServices;

namespace SourceApi
{
    internal static class GLib
    {
        private const string name = "libglib-2.0.so.0";

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate int SourceFunction(IntPtr userData);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr g_main_context_new();

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr g_main_context_ref_thread_default();

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void g_main_context_push_thread_default(IntPtr context);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int g_main_context_iteration(IntPtr context, int mayBlock);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr g_idle_source_new();

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void g_source_set_priority(IntPtr source, int priority);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void g_source_set_callback(IntPtr source, SourceFunction function,
            IntPtr userData, IntPtr destroy);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern uint g_source_attach(IntPtr source, IntPtr context);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void g_source_unref(IntPtr source);
    }
}
