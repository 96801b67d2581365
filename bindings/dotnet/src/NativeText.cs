// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Runtime.InteropServices;
using System.Text;

namespace SourceApi
{
    /// <summary>Conversion of texts for native code: UTF-8, terminated by a zero byte.
    /// </summary>
    internal static class NativeText
    {
        // Throws an ArgumentException for half a surrogate pair.
        private static readonly Encoding strictUtf8 = new UTF8Encoding(false, true);

        internal static byte[] From(string text, string parameter)
        {
            if (text == null)
            {
                throw new ArgumentNullException(parameter);
            }
            if (text.IndexOf('\0') >= 0)
            {
                throw new ArgumentException("The text has a null character in it.", parameter);
            }
            var bytes = new byte[strictUtf8.GetByteCount(text) + 1];
            strictUtf8.GetBytes(text, 0, text.Length, bytes, 0);
            return bytes;
        }

        /// <summary>Copies and releases a native text; null for null.</summary>
        internal static string Take(IntPtr text)
        {
            if (text == IntPtr.Zero)
            {
                return null;
            }
            try
            {
                int length = 0;
                while (Marshal.ReadByte(text, length) != 0)
                {
                    ++length;
                }
                var bytes = new byte[length];
                Marshal.Copy(text, bytes, 0, length);
                return Encoding.UTF8.GetString(bytes);
            }
            finally
            {
                GuardLibrary.guarded_release(text);
            }
        }
    }
}
