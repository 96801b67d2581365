// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Collections.Generic;

namespace SourceApi
{
    /// <summary>What happened between two lists. A source is the same in both when its unique key
    /// is, or, for one without a key, its type and index; several with one identity are told apart
    /// by their order. The order of the list itself is no change.</summary>
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

        /// <summary>The service's number for what happened, or 0 for the first load of the list.
        /// </summary>
        public int Result { get; }

        /// <summary>The whole list after the change.</summary>
        public IReadOnlyList<Source> Sources { get; }

        /// <summary>Sources that were not there before.</summary>
        public IReadOnlyList<Source> Added { get; }

        /// <summary>Sources that are gone.</summary>
        public IReadOnlyList<Source> Removed { get; }

        /// <summary>Sources of which something is different.</summary>
        public IReadOnlyList<ChangedSource> Changed { get; }

        internal bool IsEmpty
        {
            get { return Added.Count == 0 && Removed.Count == 0 && Changed.Count == 0; }
        }
    }
}
