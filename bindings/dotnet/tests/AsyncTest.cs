// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System.Threading;
using System.Threading.Tasks;
using NUnit.Framework;

namespace SourceApi.Tests
{
    [TestFixture]
    public class AsyncTest
    {
        private SourceClient client;

        [SetUp]
        public void Open()
        {
            client = Limit.Wait(SourceClient.OpenAsync());
        }

        [TearDown]
        public void Close()
        {
            client.Dispose();
        }

        [Test]
        public void EveryRequestCanBeAwaited()
        {
            Assert.That(Limit.Wait(client.GetSourcesAsync()).Count, Is.EqualTo(7));
            Assert.That(Limit.Wait(client.SetNameAsync(4, "Bär", 0)), Is.True);
            Assert.That(Limit.Wait(client.GetNameAsync(4, 0)), Is.EqualTo("Bär"));
            Assert.That(Limit.Wait(client.SetDeviceTypeAsync(4, 5, 0)), Is.True);
            Assert.That(Limit.Wait(client.GetDeviceTypeAsync(4, 0)), Is.EqualTo(5));
            Assert.That(Limit.Wait(client.SetDetectedAsync(5, "Laptop", 4, 0)), Is.True);
            Assert.That(Limit.Wait(client.GetNameAsync(5, 0)), Is.EqualTo("Laptop"));
            Assert.That(Limit.Wait(client.ConnectAsync(4)), Is.True);
            Assert.That(Limit.Wait(client.ConnectAsync(8, "usb-disk")), Is.True);
            Assert.That(Limit.Wait(client.ConnectAsync(99)), Is.False);
            Assert.That(Limit.Wait(client.GetUsbDataAsync("usb-camera")).IsPtp, Is.True);
        }

        [Test]
        public void ACancelledTokenMakesNoRequest()
        {
            using (var cancellation = new CancellationTokenSource())
            {
                cancellation.Cancel();
                Task<bool> task = client.SetNameAsync(4, "never", 0, cancellation.Token);
                Assert.That(task.IsCanceled);
                Assert.That(client.GetName(4, 0), Is.EqualTo("Spielkonsole"));
            }
        }

        [Test]
        public void RequestsOfManyThreadsAllReturn()
        {
            var tasks = new Task<string>[50];
            for (int index = 0; index < tasks.Length; ++index)
            {
                tasks[index] = index % 2 == 0
                    ? client.GetNameAsync(3, 0)
                    : NameOfUsbData();
            }
            foreach (Task<string> task in tasks)
            {
                Assert.That(Limit.Wait(task), Is.StringMatching("^(Wohnzimmer Bär|Été 2026)$"));
            }
        }

        private async Task<string> NameOfUsbData()
        {
            return (await client.GetUsbDataAsync("usb-disk")).DeviceName;
        }
    }
}
