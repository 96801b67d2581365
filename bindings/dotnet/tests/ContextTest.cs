// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.IO;
using System.Linq;
using System.Runtime.InteropServices;
using System.Threading;
using System.Threading.Tasks;
using NUnit.Framework;

namespace SourceApi.Tests
{
    [TestFixture]
    public class ContextTest
    {
        [Test]
        public void HandlersRunInTheContextThatWasCurrent()
        {
            var context = new QueueContext();
            SynchronizationContext before = SynchronizationContext.Current;
            SynchronizationContext.SetSynchronizationContext(context);
            try
            {
                using (var client = new SourceClient())
                {
                    ExpectHandlersIn(context, client);
                }
            }
            finally
            {
                SynchronizationContext.SetSynchronizationContext(before);
            }
        }

        [Test]
        public void HandlersRunInTheContextThatWasGiven()
        {
            var context = new QueueContext();
            using (var client = new SourceClient(context))
            {
                ExpectHandlersIn(context, client);
            }
        }

        [Test]
        public void AnAwaitedClientKeepsTheContextOfItsCreation()
        {
            var context = new QueueContext();
            SynchronizationContext before = SynchronizationContext.Current;
            SynchronizationContext.SetSynchronizationContext(context);
            Task<SourceClient> opening = SourceClient.OpenAsync();
            SynchronizationContext.SetSynchronizationContext(before);
            using (SourceClient client = Limit.Wait(opening))
            {
                ExpectHandlersIn(context, client);
            }
        }

        [Test]
        public void HandlersRunOnTheBindingsThreadByDefault()
        {
            using (var client = new SourceClient(null))
            {
                var threads = new Inbox<Thread>();
                client.GetSources();
                client.Subscribe(change => threads.Put(Thread.CurrentThread));
                Tv.Plug("usb-a");
                Thread thread = threads.Take();
                Assert.That(thread, Is.Not.EqualTo(Thread.CurrentThread));
                Assert.That(thread.IsBackground, Is.True);
                Assert.That(HasThreadOfTheBinding(), Is.True);
                Tv.Plug("usb-b");
                Assert.That(threads.Take(), Is.EqualTo(thread));
            }
        }

        [Test]
        public void AHandlerContinuesOnTheSameThreadAfterAnAwait()
        {
            using (var client = new SourceClient(null))
            {
                var threads = new Inbox<Thread>();
                client.GetSources();
                client.Subscribe(async change =>
                {
                    threads.Put(Thread.CurrentThread);
                    await client.GetNameAsync(3, 0);
                    threads.Put(Thread.CurrentThread);
                });
                Tv.Plug("usb-a");
                Thread first = threads.Take();
                Assert.That(threads.Take(), Is.EqualTo(first));
            }
        }

        [Test]
        public void AnApplicationThatIteratesItsMainContextGetsNoThread()
        {
            using (var client = new SourceClient(null, EventLoop.Application))
            {
                SourceListChange told = null;
                Thread thread = null;
                client.GetSources();
                client.Subscribe(change =>
                {
                    told = change;
                    thread = Thread.CurrentThread;
                });
                Tv.Plug("usb-a");
                Assert.That(told, Is.Null);
                IterateUntil(() => told != null);
                Assert.That(told.Added.Single().UniqueKey, Is.EqualTo("usb-a"));
                Assert.That(thread, Is.EqualTo(Thread.CurrentThread));
                Assert.That(HasThreadOfTheBinding(), Is.False);
            }
        }

        [Test]
        public void ASecondChoiceOfTheEventLoopThrows()
        {
            using (new SourceClient(null, EventLoop.Own))
            {
                Assert.Throws<InvalidOperationException>(
                    () => new SourceClient(null, EventLoop.Application));
            }
        }

        private static void ExpectHandlersIn(QueueContext context, SourceClient client)
        {
            SourceListChange told = null;
            client.GetSources();
            client.Subscribe(change => told = change);
            Tv.Plug("usb-a");
            context.RunNext();
            Assert.That(told.Added.Single().UniqueKey, Is.EqualTo("usb-a"));
        }

        private static void IterateUntil(Func<bool> isDone)
        {
            // Wakes the loop at the limit, so that the test fails instead of waiting forever.
            GLib.SourceFunction wake = data => 1;
            uint timer = g_timeout_add(Limit.Milliseconds, wake, IntPtr.Zero);
            DateTime end = DateTime.UtcNow.AddMilliseconds(Limit.Milliseconds);
            while (!isDone())
            {
                Assert.That(DateTime.UtcNow, Is.LessThan(end), "nothing arrived in time");
                GLib.g_main_context_iteration(IntPtr.Zero, 1);
            }
            g_source_remove(timer);
            GC.KeepAlive(wake);
        }

        private static bool HasThreadOfTheBinding()
        {
            return Directory.GetDirectories("/proc/self/task").Any(
                task => NameOfThread(task) == MainContext.ThreadName);
        }

        private static string NameOfThread(string task)
        {
            try
            {
                return File.ReadAllText(task + "/comm").Trim();
            }
            catch (IOException)
            {
                return null;  // It has ended meanwhile.
            }
        }

        [DllImport("libglib-2.0.so.0")]
        private static extern uint g_timeout_add(uint interval, GLib.SourceFunction function,
            IntPtr data);

        [DllImport("libglib-2.0.so.0")]
        private static extern int g_source_remove(uint source);
    }
}
