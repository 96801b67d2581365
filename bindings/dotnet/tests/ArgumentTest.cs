// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using NUnit.Framework;

namespace SourceApi.Tests
{
    [TestFixture]
    public class ArgumentTest
    {
        private SourceClient client;

        [SetUp]
        public void Open()
        {
            client = new SourceClient();
        }

        [TearDown]
        public void Close()
        {
            client.Dispose();
        }

        [Test]
        public void ANullTextThrows()
        {
            foreach (TestDelegate call in CallsWith(null))
            {
                Assert.Throws<ArgumentNullException>(call);
            }
            Assert.Throws<ArgumentNullException>(() => client.Subscribe(null));
        }

        [Test]
        public void ANullCharacterThrows()
        {
            foreach (TestDelegate call in CallsWith("hdmi1\0x"))
            {
                Assert.Throws<ArgumentException>(call);
            }
            Assert.That(client.GetName(3, 0), Is.EqualTo("Wohnzimmer Bär"));
        }

        [Test]
        public void HalfASurrogatePairThrows()
        {
            foreach (TestDelegate call in CallsWith("\ud83d"))
            {
                Assert.That(call, Throws.InstanceOf<ArgumentException>());
            }
            Assert.That(client.GetName(3, 0), Is.EqualTo("Wohnzimmer Bär"));
        }

        [Test]
        public void EveryCallOfADisposedClientThrows()
        {
            client.Dispose();
            foreach (TestDelegate call in new TestDelegate[]
            {
                () => client.GetSources(),
                () => client.GetUsbData("usb-disk"),
                () => client.GetName(3, 0),
                () => client.GetDeviceType(3, 0),
                () => client.SetName(3, "name", 0),
                () => client.SetDeviceType(3, 1, 0),
                () => client.SetDetected(3, "name", 1, 0),
                () => client.Connect(3),
                () => client.Connect(3, "hdmi1"),
                () => client.GetOnScreenText(3),
                () => client.Subscribe(change => { }),
            })
            {
                Assert.Throws<ObjectDisposedException>(call);
            }
        }

        private TestDelegate[] CallsWith(string text)
        {
            return new TestDelegate[]
            {
                () => client.GetUsbData(text),
                () => client.SetName(3, text, 0),
                () => client.SetDetected(3, text, 1, 0),
                () => client.Connect(3, text),
                () => client.GetUsbDataAsync(text),
                () => client.SetNameAsync(3, text, 0),
                () => client.SetDetectedAsync(3, text, 1, 0),
                () => client.ConnectAsync(3, text),
            };
        }
    }
}
