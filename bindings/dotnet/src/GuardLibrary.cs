// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Runtime.InteropServices;

namespace SourceApi
{
    /// <summary>The native functions. A C++ exception is stored in the last argument.</summary>
    internal static class GuardLibrary
    {
        private const string name = "libsource-api-guard.so.1";

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void ChangedCallback(int result, IntPtr userData);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr guarded_get_source_list(out IntPtr error);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr guarded_get_usb_data(byte[] uniqueKey, out IntPtr error);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr guarded_get_edit_name(int sourceType, int activityIndex,
            out IntPtr error);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern uint guarded_get_device_type(int sourceType, int activityIndex,
            out IntPtr error);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        [return: MarshalAs(UnmanagedType.U1)]
        internal static extern bool guarded_set_edit_name(int sourceType, byte[] editName,
            int activityIndex, out IntPtr error);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        [return: MarshalAs(UnmanagedType.U1)]
        internal static extern bool guarded_set_device_type(int sourceType, uint deviceType,
            int activityIndex, out IntPtr error);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        [return: MarshalAs(UnmanagedType.U1)]
        internal static extern bool guarded_connect_source(int sourceType, out IntPtr error);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        [return: MarshalAs(UnmanagedType.U1)]
        internal static extern bool guarded_connect_source_with_uniquekey(int sourceType,
            byte[] uniqueKey, out IntPtr error);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void guarded_register_sourcelist_changed_callback(
            ChangedCallback callback, IntPtr userData, out IntPtr error);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr guarded_get_source_osd_text(int sourceType,
            out IntPtr error);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        [return: MarshalAs(UnmanagedType.U1)]
        internal static extern bool guarded_set_source_detetedname_and_devicetype(int sourceType,
            byte[] detectedName, uint deviceType, int activityIndex, out IntPtr error);

        [DllImport(name, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void guarded_release(IntPtr text);

        /// <summary>Throws the exception that a call has stored in its last argument.</summary>
        internal static void ThrowIf(IntPtr error)
        {
            string message = NativeText.Take(error);
            if (message != null)
            {
                throw new SourceApiException(message);
            }
        }
    }
}
