// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Linq;
using System.Runtime.CompilerServices;
using NUnit.Framework;

namespace SourceApi.Tests
{
    [TestFixture]
    public class ChangeTest
    {
        private SourceClient client;
        private Inbox<SourceListChange> changes;

        [SetUp]
        public void Open()
        {
            client = new SourceClient(null);
            changes = new Inbox<SourceListChange>();
        }

        [TearDown]
        public void Close()
        {
            client.Dispose();
        }

        [Test]
        public void APluggedDeviceIsAdded()
        {
            client.GetSources();
            client.Subscribe(changes.Put);
            Tv.Do("plug", "usb-stick", "--name", "Urlaub März");
            SourceListChange change = changes.Take();
            Assert.That(change.Result, Is.EqualTo(1));
            Assert.That(change.Added.Single().Name, Is.EqualTo("Urlaub März"));
            Assert.That(change.Removed, Is.Empty);
            Assert.That(change.Changed, Is.Empty);
            Assert.That(change.Sources.Count, Is.EqualTo(8));
        }

        [Test]
        public void AnUnpluggedDeviceIsRemoved()
        {
            client.GetSources();
            client.Subscribe(changes.Put);
            Tv.Do("unplug", "usb-disk");
            SourceListChange change = changes.Take();
            Assert.That(change.Result, Is.EqualTo(2));
            Assert.That(change.Removed.Single().UniqueKey, Is.EqualTo("usb-disk"));
            Assert.That(change.Added, Is.Empty);
        }

        [Test]
        public void ARenamedSourceIsReportedBeforeAndAfterTheChange()
        {
            client.GetSources();
            client.Subscribe(changes.Put);
            Tv.Do("rename", "hdmi1", "Küche");
            SourceListChange change = changes.Take();
            Assert.That(change.Result, Is.EqualTo(3));
            Assert.That(change.Changed.Single().Before.Name, Is.EqualTo("Wohnzimmer Bär"));
            Assert.That(change.Changed.Single().After.Name, Is.EqualTo("Küche"));
        }

        [Test]
        public void ChangesArriveInOrder()
        {
            client.GetSources();
            client.Subscribe(changes.Put);
            string[] keys = { "usb-a", "usb-b", "usb-c", "usb-d" };
            foreach (string key in keys)
            {
                Tv.Plug(key);
            }
            Assert.That(keys.Select(each => changes.Take().Added.Single().UniqueKey),
                Is.EqualTo(keys));
        }

        [Test]
        public void TheFirstLoadAddsEverythingWithTheResultZero()
        {
            SourceSubscription following = client.Subscribe(changes.Put);
            Assert.That(following.Sources, Is.Empty);
            client.GetSources();
            SourceListChange change = changes.Take();
            Assert.That(change.Result, Is.EqualTo(0));
            Assert.That(change.Added.Count, Is.EqualTo(7));
        }

        [Test]
        public void ASubscriptionHasTheListThatItsFirstChangeRefersTo()
        {
            client.GetSources();
            client.Subscribe(changes.Put);
            Tv.Plug("usb-stick");
            changes.Take();
            var later = new Inbox<SourceListChange>();
            SourceSubscription following = client.Subscribe(later.Put);
            Assert.That(following.Sources.Count, Is.EqualTo(8));
            Tv.Do("unplug", "usb-stick");
            Assert.That(later.Take().Removed.Single().UniqueKey, Is.EqualTo("usb-stick"));
        }

        [Test]
        public void AnUnreferencedSubscriptionIsNotCollected()
        {
            client.GetSources();
            SubscribeAndForget();
            GC.Collect();
            GC.WaitForPendingFinalizers();
            GC.Collect();
            Tv.Plug("usb-stick");
            changes.Take();
        }

        [Test]
        public void ADisposedSubscriptionIsNotCalled()
        {
            client.GetSources();
            var ended = new Inbox<SourceListChange>();
            SourceSubscription subscription = client.Subscribe(ended.Put);
            client.Subscribe(changes.Put);
            subscription.Dispose();
            subscription.Dispose();
            Tv.Plug("usb-stick");
            changes.Take();
            Assert.That(ended.IsEmpty);
        }

        [Test]
        public void AHandlerCanEndItsOwnSubscription()
        {
            client.GetSources();
            var once = new Inbox<SourceListChange>();
            SourceSubscription subscription = null;
            subscription = client.Subscribe(change =>
            {
                subscription.Dispose();
                subscription.Dispose();
                once.Put(change);
            });
            client.Subscribe(changes.Put);
            Tv.Plug("usb-a");
            once.Take();
            changes.Take();
            Tv.Plug("usb-b");
            changes.Take();
            Assert.That(once.IsEmpty);
        }

        [Test]
        public void AHandlerCanEndASubscriptionThatIsCalledAfterIt()
        {
            client.GetSources();
            var ended = new Inbox<SourceListChange>();
            SourceSubscription second = null;
            client.Subscribe(change => second.Dispose());
            second = client.Subscribe(ended.Put);
            client.Subscribe(changes.Put);
            Tv.Plug("usb-a");
            changes.Take();
            Assert.That(ended.IsEmpty);
        }

        [Test]
        public void AHandlerCanReadTheListMakeRequestsAndSubscribe()
        {
            client.GetSources();
            var seen = new Inbox<int>();
            client.Subscribe(change =>
            {
                if (change.Result == 1)
                {
                    client.Subscribe(changes.Put);
                    client.SetName(4, "Konsole", 0);
                    seen.Put(client.GetSources().Count);
                }
            });
            Tv.Plug("usb-stick");
            Assert.That(seen.Take(), Is.EqualTo(8));
            Assert.That(changes.Take().Changed.Single().After.Name, Is.EqualTo("Konsole"));
        }

        [Test]
        public void ADisposedClientHasNoSubscriptionsLeft()
        {
            client.GetSources();
            var ended = new Inbox<SourceListChange>();
            using (var other = new SourceClient())
            {
                client.Subscribe(ended.Put);
                // Arrives after the earlier changes.
                other.Subscribe(changes.Put);
                client.Dispose();
                client.Dispose();
                Tv.Plug("usb-stick");
                changes.Take();
                Assert.That(ended.IsEmpty);
            }
        }

        [Test]
        public void AnExceptionOfAHandlerIsReportedOnly()
        {
            client.GetSources();
            var failures = new Inbox<Exception>();
            client.Subscribe(change => { throw new TimeoutException("mine"); }, failures.Put);
            client.Subscribe(changes.Put);
            Tv.Plug("usb-a");
            Assert.That(failures.Take(), Is.InstanceOf<TimeoutException>());
            changes.Take();
            Tv.Plug("usb-b");
            Assert.That(failures.Take().Message, Is.EqualTo("mine"));
            changes.Take();
        }

        [Test]
        public void AnUncaughtExceptionDoesNotEndTheProcess()
        {
            client.GetSources();
            client.Subscribe(change => { throw new TimeoutException(); });
            client.Subscribe(change => { throw new TimeoutException(); },
                error => { throw new InvalidOperationException(); });
            client.Subscribe(changes.Put);
            Tv.Plug("usb-a");
            changes.Take();
            Tv.Plug("usb-b");
            changes.Take();
        }

        [Test]
        public void AnExceptionAfterAnAwaitDoesNotEndTheProcess()
        {
            client.GetSources();
            client.Subscribe(async change =>
            {
                await client.GetNameAsync(3, 0);
                changes.Put(change);
                throw new TimeoutException();
            });
            Tv.Plug("usb-a");
            changes.Take();
            Tv.Plug("usb-b");
            changes.Take();
        }

        [MethodImpl(MethodImplOptions.NoInlining)]
        private void SubscribeAndForget()
        {
            Inbox<SourceListChange> inbox = changes;
            new SourceClient().Subscribe(change => inbox.Put(change));
        }
    }
}
