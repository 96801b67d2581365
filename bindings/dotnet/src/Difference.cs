// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Collections.Generic;
using System.Linq;

namespace SourceApi
{
    internal static class Difference
    {
        internal static SourceListChange Between(IReadOnlyList<Source> before,
            IReadOnlyList<Source> after, int result)
        {
            var earlier = before.GroupBy(Identity).ToDictionary(group => group.Key,
                group => new Queue<Source>(group));
            var added = new List<Source>();
            var changed = new List<ChangedSource>();
            foreach (Source source in after)
            {
                Queue<Source> same;
                if (!earlier.TryGetValue(Identity(source), out same) || same.Count == 0)
                {
                    added.Add(source);
                    continue;
                }
                Source old = same.Dequeue();
                if (!old.Equals(source))
                {
                    changed.Add(new ChangedSource(old, source));
                }
            }
            var removed = new List<Source>();
            foreach (Source source in before)
            {
                Queue<Source> left = earlier[Identity(source)];
                if (left.Any(each => ReferenceEquals(each, source)))
                {
                    removed.Add(source);
                }
            }
            return new SourceListChange(result, after, added.AsReadOnly(), removed.AsReadOnly(),
                changed.AsReadOnly());
        }

        private static Tuple<string, int, int> Identity(Source source)
        {
            return source.UniqueKey.Length == 0
                ? Tuple.Create("", source.SourceType, source.ActivityIndex)
                : Tuple.Create(source.UniqueKey, 0, 0);
        }
    }
}
