// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Collections.Generic;
using NUnit.Framework;

namespace SourceApi.Tests
{
    [TestFixture]
    public class DifferenceTest
    {
        private static readonly Source antenna = Named("tuner", 1, 0, "Antenne");
        private static readonly Source box = Named("hdmi1", 3, 0, "Box");
        private static readonly Source boxRenamed = Named("hdmi1", 3, 0, "Kasten");

        [Test]
        public void ListsAddedRemovedAndChangedSources()
        {
            SourceListChange change = Between(Sources(antenna, box),
                Sources(boxRenamed, Named("usb", 8, 0, "Disk")));
            Assert.That(change.Result, Is.EqualTo(5));
            Assert.That(change.Added, Is.EqualTo(Sources(Named("usb", 8, 0, "Disk"))));
            Assert.That(change.Removed, Is.EqualTo(Sources(antenna)));
            Assert.That(change.Changed.Count, Is.EqualTo(1));
            Assert.That(change.Changed[0].Before, Is.EqualTo(box));
            Assert.That(change.Changed[0].After, Is.EqualTo(boxRenamed));
            Assert.That(change.Sources.Count, Is.EqualTo(2));
        }

        [Test]
        public void TheOrderIsIrrelevant()
        {
            Assert.That(Between(Sources(antenna, box), Sources(box, antenna)).IsEmpty);
        }

        [Test]
        public void SourcesAreMatchedByKey()
        {
            SourceListChange change = Between(Sources(box), Sources(Named("hdmi1", 4, 2, "Box")));
            Assert.That(change.Added, Is.Empty);
            Assert.That(change.Changed[0].After.SourceType, Is.EqualTo(4));
        }

        [Test]
        public void SourcesWithoutAKeyAreMatchedByTypeAndIndex()
        {
            SourceListChange change = Between(
                Sources(Named("", 3, 0, "A"), Named("", 3, 1, "B")),
                Sources(Named("", 3, 1, "C"), Named("", 4, 0, "A")));
            Assert.That(change.Added, Is.EqualTo(Sources(Named("", 4, 0, "A"))));
            Assert.That(change.Removed, Is.EqualTo(Sources(Named("", 3, 0, "A"))));
            Assert.That(change.Changed[0].Before.Name, Is.EqualTo("B"));
        }

        [Test]
        public void SeveralWithOneIdentityAreMatchedByTheirOrder()
        {
            SourceListChange change = Between(Sources(box, boxRenamed), Sources(box));
            Assert.That(change.Changed, Is.Empty);
            Assert.That(change.Removed, Is.EqualTo(Sources(boxRenamed)));
        }

        [TestCase("edit")]
        [TestCase("detected")]
        [TestCase("icon")]
        [TestCase("connected")]
        [TestCase("power")]
        [TestCase("method")]
        public void EveryMemberCounts(string member)
        {
            var other = new Source(3, 0, "hdmi1", member == "edit" ? "x" : "",
                member == "detected" ? "x" : "Box", member == "icon" ? "x" : "",
                member == "connected", member == "power" ? 1 : 0, member == "method" ? 1 : 0);
            Assert.That(Between(Sources(box), Sources(other)).Changed.Count, Is.EqualTo(1));
        }

        private static SourceListChange Between(IReadOnlyList<Source> before,
            IReadOnlyList<Source> after)
        {
            return Difference.Between(before, after, 5);
        }

        private static IReadOnlyList<Source> Sources(params Source[] sources)
        {
            return sources;
        }

        private static Source Named(string key, int type, int index, string name)
        {
            return new Source(type, index, key, "", name, "", false, 0, 0);
        }
    }
}
