// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Collections.Generic;
using System.Text;

namespace SourceApi
{
    /// <summary>The encoding of names in the list. Malformed escapes are decoded as by the
    /// native library, which reads the two digits with sscanf("%x"): leading blanks and a sign
    /// are accepted, no digit means zero, and an escape always has three characters.
    /// </summary>
    internal static class PercentCode
    {
        internal static string Decode(string text)
        {
            if (text.IndexOf('%') < 0)
            {
                return text;
            }
            byte[] encoded = Encoding.UTF8.GetBytes(text);
            var decoded = new List<byte>(encoded.Length);
            for (int index = 0; index < encoded.Length;)
            {
                if (encoded[index] != '%')
                {
                    decoded.Add(encoded[index++]);
                    continue;
                }
                decoded.Add(Unescape(encoded, index + 1));
                index += 3;
            }
            return Encoding.UTF8.GetString(decoded.ToArray());
        }

        private static byte Unescape(byte[] text, int start)
        {
            int end = start + 2 < text.Length ? start + 2 : text.Length;
            int index = start;
            while (index < end && IsBlank(text[index]))
            {
                ++index;
            }
            bool isNegative = index < end && text[index] == '-';
            if (isNegative || (index < end && text[index] == '+'))
            {
                ++index;
            }
            int value = 0;
            for (; index < end && Digit(text[index]) >= 0; ++index)
            {
                value = value * 16 + Digit(text[index]);
            }
            return unchecked((byte)(isNegative ? -value : value));
        }

        private static bool IsBlank(byte each)
        {
            return each == ' ' || (each >= '\t' && each <= '\r');
        }

        private static int Digit(byte each)
        {
            if (each >= '0' && each <= '9')
            {
                return each - '0';
            }
            int lower = each | 0x20;
            return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
        }
    }
}
