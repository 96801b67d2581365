// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;

namespace SourceApi
{
    /// <summary>The native functions with managed types. They block their caller.</summary>
    internal static class Calls
    {
        internal static string GetSourceList()
        {
            IntPtr error;
            IntPtr text = GuardLibrary.guarded_get_source_list(out error);
            return TextOrThrow(text, error);
        }

        internal static string GetUsbData(byte[] uniqueKey)
        {
            IntPtr error;
            IntPtr text = GuardLibrary.guarded_get_usb_data(uniqueKey, out error);
            return TextOrThrow(text, error);
        }

        internal static string GetEditName(int sourceType, int activityIndex)
        {
            IntPtr error;
            IntPtr text = GuardLibrary.guarded_get_edit_name(sourceType, activityIndex, out error);
            return TextOrThrow(text, error);
        }

        internal static string GetOnScreenText(int sourceType)
        {
            IntPtr error;
            IntPtr text = GuardLibrary.guarded_get_source_osd_text(sourceType, out error);
            return TextOrThrow(text, error);
        }

        internal static uint GetDeviceType(int sourceType, int activityIndex)
        {
            IntPtr error;
            uint type = GuardLibrary.guarded_get_device_type(sourceType, activityIndex, out error);
            GuardLibrary.ThrowIf(error);
            return type;
        }

        internal static bool SetEditName(int sourceType, byte[] name, int activityIndex)
        {
            IntPtr error;
            bool done = GuardLibrary.guarded_set_edit_name(sourceType, name, activityIndex,
                out error);
            GuardLibrary.ThrowIf(error);
            return done;
        }

        internal static bool SetDeviceType(int sourceType, uint deviceType, int activityIndex)
        {
            IntPtr error;
            bool done = GuardLibrary.guarded_set_device_type(sourceType, deviceType, activityIndex,
                out error);
            GuardLibrary.ThrowIf(error);
            return done;
        }

        internal static bool SetDetected(int sourceType, byte[] name, uint deviceType,
            int activityIndex)
        {
            IntPtr error;
            bool done = GuardLibrary.guarded_set_source_detetedname_and_devicetype(sourceType,
                name, deviceType, activityIndex, out error);
            GuardLibrary.ThrowIf(error);
            return done;
        }

        internal static bool Connect(int sourceType)
        {
            IntPtr error;
            bool done = GuardLibrary.guarded_connect_source(sourceType, out error);
            GuardLibrary.ThrowIf(error);
            return done;
        }

        internal static bool Connect(int sourceType, byte[] uniqueKey)
        {
            IntPtr error;
            bool done = GuardLibrary.guarded_connect_source_with_uniquekey(sourceType, uniqueKey,
                out error);
            GuardLibrary.ThrowIf(error);
            return done;
        }

        internal static void Register(GuardLibrary.ChangedCallback callback)
        {
            IntPtr error;
            GuardLibrary.guarded_register_sourcelist_changed_callback(callback, IntPtr.Zero,
                out error);
            GuardLibrary.ThrowIf(error);
        }

        private static string TextOrThrow(IntPtr text, IntPtr error)
        {
            GuardLibrary.ThrowIf(error);
            return NativeText.Take(text);
        }
    }
}
