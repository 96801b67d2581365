// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Linq;
using NUnit.Framework;

namespace SourceApi.Tests
{
    [TestFixture]
    public class SourceListTextTest
    {
        [Test]
        public void NullIsAnEmptyList()
        {
            Assert.That(SourceListText.Parse("null"), Is.Empty);
            Assert.That(SourceListText.Parse("[]"), Is.Empty);
        }

        [Test]
        public void MissingMembersAreEmpty()
        {
            foreach (string element in new[] { "{}", "{\"editName\":null,\"powerState\":null}" })
            {
                Source source = SourceListText.Parse("[" + element + "]").Single();
                Assert.That(source.Equals(new Source(0, 0, "", "", "", "", false, 0, 0)));
            }
        }

        [Test]
        public void NumbersAndBooleansAreConvertedToEachOther()
        {
            Source source = SourceListText.Parse("[{\"sourceType\":3.0,\"connectionState\":1,"
                + "\"powerState\":true,\"uniqueKey\":7}]").Single();
            Assert.That(source.Equals(new Source(3, 0, "7", "", "", "", true, 1, 0)));
        }

        [Test]
        public void JsonEscapesAreDecoded()
        {
            Source source = SourceListText.Parse(
                "[{\"uniqueKey\":\"\\ud83d\\udcfa\\u00e4\\u0001\\\\\\\"\"}]").Single();
            Assert.That(source.UniqueKey, Is.EqualTo("\U0001F4FAä\u0001\\\""));
        }

        [Test]
        public void OnlyNamesArePercentDecoded()
        {
            Source source = SourceListText.Parse("[{\"editName\":\"B%c3%a4r\","
                + "\"detectedName\":\"HDMI%201\",\"iconPath\":\"%20\",\"uniqueKey\":\"%41\"}]")
                .Single();
            Assert.That(source.EditName, Is.EqualTo("Bär"));
            Assert.That(source.DetectedName, Is.EqualTo("HDMI 1"));
            Assert.That(source.IconPath, Is.EqualTo("%20"));
            Assert.That(source.UniqueKey, Is.EqualTo("%41"));
        }

        [TestCase("A+B", "A+B")]
        [TestCase("%F0%9F%93%BA", "\U0001F4FA")]
        [TestCase("100%25", "100%")]
        [TestCase("%", "\0")]
        [TestCase("%4", "\u0004")]
        [TestCase("%zzA", "\0A")]
        [TestCase("%4zA", "\u0004A")]
        [TestCase("% 4A", "\u0004A")]
        [TestCase("%+4A", "\u0004A")]
        [TestCase("%c3%-4", "\ufffd\ufffd")]
        public void PercentEscapesAreDecodedAsByTheLibrary(string encoded, string decoded)
        {
            Assert.That(PercentCode.Decode(encoded), Is.EqualTo(decoded));
        }

        [TestCase("[{\"powerState\":\"on\"}]")]
        [TestCase("[{\"sourceType\":4294967296}]")]
        [TestCase("[{\"editName\":[]}]")]
        [TestCase("[{\"connectionState\":\"true\"}]")]
        [TestCase("[7]")]
        [TestCase("{}")]
        [TestCase("false")]
        [TestCase("[{]")]
        [TestCase("")]
        public void AWrongTypeIsAnException(string list)
        {
            Assert.Throws<SourceApiException>(() => SourceListText.Parse(list));
        }
    }
}
