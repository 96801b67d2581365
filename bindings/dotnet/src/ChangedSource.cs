// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

namespace SourceApi
{
    /// <summary>A source before and after a change.</summary>
    public sealed class ChangedSource
    {
        internal ChangedSource(Source before, Source after)
        {
            Before = before;
            After = after;
        }

        /// <summary>As it was.</summary>
        public Source Before { get; }

        /// <summary>As it is now.</summary>
        public Source After { get; }
    }
}
