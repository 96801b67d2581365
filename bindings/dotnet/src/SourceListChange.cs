// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Collections.Generic;

namespace SourceApi
{
    /// <summary>The difference of two lists. Sources are matched by unique key; those without a key
    /// by type and index; several with the same identity in their order. The order of the list is
    /// irrelevant otherwise.</summary>
    public sealed class SourceListChange
    {
        internal SourceListChange(int result, IReadOnlyList<Source> sources,
            IReadOnlyList<Source> added, IReadOnlyList<Source> removed,
            IReadOnlyList<ChangedSource> changed)
        {
            Result = result;
            Sources = sources;
            Added = added;
            Removed = removed;
            Changed = changed;
        }

        /// <summary>The result number in the signal, or 0 for the first load of the list.
        /// </summary>
        public int Result { get; }

        /// <summary>The whole list after the change.</summary>
        public IReadOnlyList<Source> Sources { get; }

        /// <summary>Sources that are only in the new list.</summary>
        public IReadOnlyList<Source> Added { get; }

        /// <summary>Sources that are only in the old list.</summary>
        public IReadOnlyList<Source> Removed { get; }

        /// <summary>Sources that have changed.</summary>
        public IReadOnlyList<ChangedSource> Changed { get; }

        internal bool IsEmpty
        {
            get { return Added.Count == 0 && Removed.Count == 0 && Changed.Count == 0; }
        }
    }
}
