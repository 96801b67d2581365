// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Collections.Generic;
using System.Linq;

namespace SourceApi
{
    /// <summary>The list as the native library writes it.</summary>
    internal static class SourceListText
    {
        internal static IReadOnlyList<Source> Parse(string json)
        {
            return JsonObject.ParseArray(json).Select(ToSource).ToList().AsReadOnly();
        }

        private static Source ToSource(JsonObject element)
        {
            return new Source(
                element.Int("sourceType"),
                element.Int("mbrActivityIndex"),
                element.Text("uniqueKey"),
                PercentCode.Decode(element.Text("editName")),
                PercentCode.Decode(element.Text("detectedName")),
                element.Text("iconPath"),
                element.Flag("connectionState"),
                element.Int("powerState"),
                element.Int("settingMethod"));
        }
    }
}
