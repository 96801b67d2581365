// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Collections.Generic;
using System.Linq;
using NUnit.Framework;

namespace SourceApi.Tests
{
    [TestFixture]
    public class ListTest
    {
        [Test]
        public void EachSourceHasAllMembers()
        {
            using (var client = new SourceClient())
            {
                Source source = client.GetSources().Single(each => each.UniqueKey == "hdmi1");
                Assert.That(source.SourceType, Is.EqualTo(3));
                Assert.That(source.ActivityIndex, Is.EqualTo(0));
                Assert.That(source.EditName, Is.EqualTo("Wohnzimmer Bär"));
                Assert.That(source.DetectedName, Is.EqualTo("Set-top box"));
                Assert.That(source.Name, Is.EqualTo("Wohnzimmer Bär"));
                Assert.That(source.IconPath, Is.EqualTo("/usr/share/tv/icons/hdmi.png"));
                Assert.That(source.IsConnected, Is.True);
                Assert.That(source.PowerState, Is.EqualTo(1));
                Assert.That(source.SettingMethod, Is.EqualTo(1));
            }
        }

        [Test]
        public void SourcesKeepTheOrderOfTheService()
        {
            using (var client = new SourceClient())
            {
                IEnumerable<string> keys = client.GetSources().Select(each => each.UniqueKey);
                Assert.That(keys, Is.EqualTo(new[] { "tuner", "hdmi1", "hdmi2", "hdmi3", "av",
                    "usb-disk", "usb-camera" }));
            }
        }

        [Test]
        public void TheNameIsTheUsersOrTheDetectedOne()
        {
            using (var client = new SourceClient())
            {
                Source source = client.GetSources().Single(each => each.UniqueKey == "usb-disk");
                Assert.That(source.EditName, Is.Empty);
                Assert.That(source.Name, Is.EqualTo("Été 2026"));
            }
        }
    }
}
