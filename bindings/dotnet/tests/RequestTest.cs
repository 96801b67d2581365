// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Linq;
using NUnit.Framework;

namespace SourceApi.Tests
{
    [TestFixture]
    public class RequestTest
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
        public void ANameIsSetAndRead()
        {
            Assert.That(client.SetName(4, "Konsole", 0), Is.True);
            Assert.That(client.GetName(4, 0), Is.EqualTo("Konsole"));
            Assert.That(client.GetName(3, 0), Is.EqualTo("Wohnzimmer Bär"));
        }

        [Test]
        public void AnEmptyNameRemovesTheUsersName()
        {
            Assert.That(client.SetName(3, "", 0), Is.True);
            Assert.That(client.GetName(3, 0), Is.EqualTo("Set-top box"));
        }

        [Test]
        public void NamesOfAnyScriptAreReadUnchanged()
        {
            const string name = "Bär ßÄÖÜ – テレビ – \U0001F4FA 100% +%41 \"\\/\t";
            var changes = new Inbox<SourceListChange>();
            client.GetSources();
            client.Subscribe(changes.Put);
            Assert.That(client.SetName(4, name, 0), Is.True);
            Assert.That(changes.Take().Changed.Single().After.EditName, Is.EqualTo(name));
            Assert.That(client.GetName(4, 0), Is.EqualTo(name));
            Assert.That(client.SetDetected(8, name, 6, 1), Is.True);
            Assert.That(changes.Take().Changed.Single().After.DetectedName, Is.EqualTo(name));
            Assert.That(client.GetName(8, 1), Is.EqualTo(name));
        }

        [Test]
        public void ADeviceTypeIsSetAndRead()
        {
            Assert.That(client.GetDeviceType(3, 0), Is.EqualTo(1));
            Assert.That(client.SetDeviceType(3, 2147483648, 0), Is.True);
            Assert.That(client.GetDeviceType(4, 0), Is.EqualTo(2));
            Assert.That(client.SetDeviceType(3, 4, 0), Is.True);
            Assert.That(client.GetDeviceType(3, 0), Is.EqualTo(4));
        }

        [Test]
        public void ADetectedDeviceHasItsNameAndType()
        {
            Assert.That(client.SetDetected(5, "Laptop", 4, 0), Is.True);
            Assert.That(client.GetName(5, 0), Is.EqualTo("Laptop"));
            Assert.That(client.GetDeviceType(5, 0), Is.EqualTo(4));
        }

        [Test]
        public void TheTvSwitchesToASourceType()
        {
            Assert.That(client.Connect(4), Is.True);
            Assert.That(Selected(), Is.StringContaining("hdmi2"));
        }

        [Test]
        public void TheTvSwitchesToTheSourceWithAKey()
        {
            Assert.That(client.Connect(8, "usb-camera"), Is.True);
            Assert.That(Selected(), Is.StringContaining("usb-camera"));
        }

        [Test]
        public void ARefusalIsFalse()
        {
            Assert.That(client.Connect(99), Is.False);
            Assert.That(client.Connect(3, "usb-camera"), Is.False);
            Assert.That(client.SetName(99, "name", 0), Is.False);
            Assert.That(client.SetDeviceType(99, 1, 0), Is.False);
            Assert.That(client.SetDetected(99, "name", 1, 0), Is.False);
        }

        [Test]
        public void AnUnknownSourceHasNoNameAndNoType()
        {
            Assert.That(client.GetName(3, 7), Is.Null);
            Assert.That(client.GetDeviceType(3, 7), Is.EqualTo(0));
        }

        [Test]
        public void ACameraHasItsBusAndAddress()
        {
            UsbData data = client.GetUsbData("usb-camera");
            Assert.That(data.IsPtp, Is.True);
            Assert.That(data.CalledApp, Is.EqualTo("photo-viewer"));
            Assert.That(data.DeviceType, Is.EqualTo("camera"));
            Assert.That(data.DeviceName, Is.EqualTo("Björn's Kamera"));
            Assert.That(data.BusNumber, Is.EqualTo("001"));
            Assert.That(data.AddressNumber, Is.EqualTo("004"));
            Assert.That(data.VendorName, Is.Empty);
            Assert.That(data.Json, Is.StringContaining("\"return_data\" : true"));
        }

        [Test]
        public void ADiskHasItsVendorVolumeAndPath()
        {
            UsbData data = client.GetUsbData("usb-disk");
            Assert.That(data.IsPtp, Is.False);
            Assert.That(data.VendorName, Is.EqualTo("Generic"));
            Assert.That(data.VolumeName, Is.EqualTo("Été 2026"));
            Assert.That(data.DevicePath, Is.EqualTo("/media/usb-disk"));
            Assert.That(data.BusNumber, Is.Empty);
        }

        [Test]
        public void UsbDataOfAnotherSourceIsNull()
        {
            Assert.That(client.GetUsbData("hdmi1"), Is.Null);
            Assert.That(client.GetUsbData("no-such-key"), Is.Null);
        }

        [Test]
        public void TheOnScreenTextIsThePlatforms()
        {
            Assert.That(client.GetOnScreenText(3), Is.EqualTo("HDMI 1"));
            Assert.That(client.GetOnScreenText(99), Is.EqualTo("----"));
        }

        // The line of the selected source.
        private static string Selected()
        {
            return Tv.Do("list").Split('\n').Single(line => line.StartsWith("*"));
        }
    }
}
