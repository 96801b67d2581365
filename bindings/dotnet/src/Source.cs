// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;

namespace SourceApi
{
    /// <summary>One source of the service's list. It is immutable. Texts are never null.</summary>
    public sealed class Source : IEquatable<Source>
    {
        internal Source(int sourceType, int activityIndex, string uniqueKey, string editName,
            string detectedName, string iconPath, bool isConnected, int powerState,
            int settingMethod)
        {
            SourceType = sourceType;
            ActivityIndex = activityIndex;
            UniqueKey = uniqueKey;
            EditName = editName;
            DetectedName = detectedName;
            IconPath = iconPath;
            IsConnected = isConnected;
            PowerState = powerState;
            SettingMethod = settingMethod;
        }

        /// <summary>The type, in the service's numbering.</summary>
        public int SourceType { get; }

        /// <summary>Distinguishes sources of one type.</summary>
        public int ActivityIndex { get; }

        /// <summary>Identifies the source; may be empty.</summary>
        public string UniqueKey { get; }

        /// <summary>The user's name; may be empty.</summary>
        public string EditName { get; }

        /// <summary>The name reported by the connected device; may be empty.</summary>
        public string DetectedName { get; }

        /// <summary>The icon's path; may be empty.</summary>
        public string IconPath { get; }

        /// <summary>A device is connected.</summary>
        public bool IsConnected { get; }

        /// <summary>The device's power state, in the service's numbering.</summary>
        public int PowerState { get; }

        /// <summary>The setting method, in the service's numbering.</summary>
        public int SettingMethod { get; }

        /// <summary>The user's name or, without one, the detected name.</summary>
        public string Name
        {
            get { return EditName.Length > 0 ? EditName : DetectedName; }
        }

        /// <summary>True when all members are equal.</summary>
        /// <param name="other">Another source, or null.</param>
        /// <returns>Whether all members are equal.</returns>
        public bool Equals(Source other)
        {
            return other != null && SourceType == other.SourceType
                && ActivityIndex == other.ActivityIndex && UniqueKey == other.UniqueKey
                && EditName == other.EditName && DetectedName == other.DetectedName
                && IconPath == other.IconPath && IsConnected == other.IsConnected
                && PowerState == other.PowerState && SettingMethod == other.SettingMethod;
        }

        /// <summary>True for a source with equal members.</summary>
        /// <param name="other">Anything.</param>
        /// <returns>Whether it is an equal source.</returns>
        public override bool Equals(object other)
        {
            return Equals(other as Source);
        }

        /// <summary>A hash of the members that identify a source.</summary>
        /// <returns>The hash.</returns>
        public override int GetHashCode()
        {
            return UniqueKey.GetHashCode() ^ (SourceType * 31 + ActivityIndex);
        }

        /// <summary>For people: the name, the type, the index and the key.</summary>
        /// <returns>A short text.</returns>
        public override string ToString()
        {
            return string.Format("\"{0}\" (type {1}, index {2}, key {3})", Name, SourceType,
                ActivityIndex, UniqueKey);
        }
    }
}
