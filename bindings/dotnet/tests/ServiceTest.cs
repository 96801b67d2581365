// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Linq;
using System.Threading;
using System.Threading.Tasks;
using NUnit.Framework;

namespace SourceApi.Tests
{
    /// <summary>Begins without a bus.</summary>
    [TestFixture]
    public class ServiceTest
    {
        [Test]
        public void WithoutTheServiceRequestsAreFalse()
        {
            using (new Bus())
            using (var client = new SourceClient())
            {
                Assert.That(client.Connect(3), Is.False);
                Assert.That(client.Connect(3, "hdmi1"), Is.False);
                Assert.That(client.SetName(3, "name", 0), Is.False);
                Assert.That(client.SetDeviceType(3, 1, 0), Is.False);
                Assert.That(client.SetDetected(3, "name", 1, 0), Is.False);
                Assert.That(client.GetUsbData("usb-disk"), Is.Null);
                Assert.That(client.GetSources(), Is.Null);
            }
        }

        [Test]
        public void WithoutABusRequestsAreFalse()
        {
            using (var client = new SourceClient())
            {
                Assert.That(client.Connect(3), Is.False);
                Assert.That(client.GetOnScreenText(3), Is.EqualTo("HDMI 1"));
            }
        }

        [Test]
        public void ABusThatStartsLaterIsUsedAndItsChangesArrive()
        {
            using (var client = new SourceClient())
            {
                var changes = new Inbox<SourceListChange>();
                client.Subscribe(changes.Put);
                Assert.That(client.Connect(3), Is.False);
                using (new Bus())
                using (new Service())
                {
                    Assert.That(client.GetSources().Count, Is.EqualTo(7));
                    Assert.That(changes.Take().Added.Count, Is.EqualTo(7));
                    Tv.Plug("usb-stick");
                    Assert.That(changes.Take().Added.Single().UniqueKey, Is.EqualTo("usb-stick"));
                }
            }
        }

        [Test]
        public void AListLoadedByANameQueryIsAnnouncedByItsFirstRead()
        {
            using (new Bus())
            using (var client = new SourceClient())
            using (new Service())
            {
                var changes = new Inbox<SourceListChange>();
                client.Subscribe(changes.Put);
                // The names could not be read without the service; now they are read with the list.
                Assert.That(client.GetName(3, 0), Is.EqualTo("Wohnzimmer Bär"));
                Assert.That(client.GetSources().Count, Is.EqualTo(7));
                Assert.That(changes.Take().Added.Count, Is.EqualTo(7));
            }
        }

        [Test]
        public void ARestartedServiceIsUsed()
        {
            using (new Bus())
            using (var client = new SourceClient())
            {
                var changes = new Inbox<SourceListChange>();
                using (new Service())
                {
                    client.GetSources();
                    client.Subscribe(changes.Put);
                }
                Assert.That(client.Connect(3), Is.False);
                Assert.That(client.GetSources().Count, Is.EqualTo(7));
                using (new Service())
                {
                    Assert.That(client.Connect(3), Is.True);
                    Tv.Plug("usb-stick");
                    Assert.That(changes.Take().Added.Single().UniqueKey, Is.EqualTo("usb-stick"));
                }
            }
        }

        [Test]
        public void CancellingStopsTheWaitButNotTheRequest()
        {
            using (new Bus())
            using (var service = new Service())
            using (var client = new SourceClient())
            using (var cancellation = new CancellationTokenSource())
            {
                var changes = new Inbox<SourceListChange>();
                client.GetSources();
                client.Subscribe(changes.Put);
                service.Freeze();
                Task<bool> naming = client.SetNameAsync(4, "Konsole", 0, cancellation.Token);
                Assert.That(naming.IsCompleted, Is.False);
                cancellation.Cancel();
                var error = Assert.Throws<AggregateException>(
                    () => naming.Wait(Limit.Milliseconds));
                Assert.That(error.InnerException, Is.InstanceOf<TaskCanceledException>());
                service.Thaw();
                Assert.That(changes.Take().Changed.Single().After.Name, Is.EqualTo("Konsole"));
            }
        }

        [Test]
        public void WrongTypesInTheSettingsThrowUntilTheyAreCorrect()
        {
            using (new Bus())
            using (new Service())
            {
                const string wrong = "[{\"SourceType\":\"three\"}]";
                const string right = "[{\"SourceType\":3,\"EditName\":\"Bär\"}]";
                Tv.WriteNames(wrong);
                for (int round = 0; round < 3; ++round)
                {
                    var error = Assert.Throws<SourceApiException>(() => new SourceClient());
                    Assert.That(error.Message, Is.Not.Empty);
                }
                Tv.WriteNames(right);
                using (var client = new SourceClient())
                {
                    var changes = new Inbox<SourceListChange>();
                    Assert.That(client.GetName(3, 0), Is.EqualTo("Bär"));
                    client.Subscribe(changes.Put);
                    Assert.That(client.GetSources().Count, Is.EqualTo(7));
                    changes.Take();
                    Tv.Plug("usb-stick");
                    changes.Take();
                }
            }
        }

        [Test]
        public void WrongTypesThatAppearLaterMakeAQueryThrow()
        {
            using (new Bus())
            using (new Service())
            using (var client = new SourceClient())
            {
                var changes = new Inbox<SourceListChange>();
                client.GetSources();
                client.Subscribe(changes.Put);
                Assert.That(client.SetName(3, "Bär", 0), Is.True);
                changes.Take();
                // Changes nothing and is not announced, but makes the next query read the names.
                Assert.That(client.SetName(3, "Bär", 0), Is.True);
                Tv.WriteNames("[{\"SourceType\":\"three\"}]");
                Assert.Throws<SourceApiException>(() => client.GetName(3, 0));
                Assert.Throws<SourceApiException>(() => client.GetDeviceType(3, 0));
                var error = Assert.Throws<AggregateException>(
                    () => client.GetNameAsync(3, 0).Wait(Limit.Milliseconds));
                Assert.That(error.InnerException, Is.InstanceOf<SourceApiException>());
                Assert.That(client.SetName(3, "Küche", 0), Is.True);
                Assert.That(client.GetName(3, 0), Is.EqualTo("Küche"));
            }
        }
    }
}
