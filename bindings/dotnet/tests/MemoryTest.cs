// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Runtime.InteropServices;
using NUnit.Framework;

namespace SourceApi.Tests
{
    [TestFixture]
    public class MemoryTest
    {
        private const int rounds = 2000;

        // An unreleased text or error leaks at least 32 bytes per call, an unreleased list 2,000.
        private const long mostGrowth = rounds * 32 / 2;

        [Test]
        public void TenThousandCallsLeakNothing()
        {
            using (var client = new SourceClient())
            {
                client.GetSources();
                ExpectNoGrowth(() => Call(client));
            }
        }

        [Test]
        public void ExceptionsLeakNothing()
        {
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
                ExpectNoGrowth(() => Assert.Throws<SourceApiException>(() => client.GetName(3, 0)));
            }
        }

        // A leak grows in every round; what the runtime allocates once does not.
        private static void ExpectNoGrowth(Action round)
        {
            Repeat(round, rounds);
            long managed = long.MaxValue;
            long native = long.MaxValue;
            for (int attempt = 0; attempt < 3 && Math.Max(managed, native) > mostGrowth; ++attempt)
            {
                long nativeBefore = NativeBytes();
                long managedBefore = GC.GetTotalMemory(true);
                Repeat(round, rounds);
                managed = GC.GetTotalMemory(true) - managedBefore;
                native = NativeBytes() - nativeBefore;
                Console.WriteLine("grown by {0} managed and {1} native bytes", managed, native);
            }
            Assert.That(managed, Is.LessThanOrEqualTo(mostGrowth));
            Assert.That(native, Is.LessThanOrEqualTo(mostGrowth));
        }

        private static void Repeat(Action round, int times)
        {
            for (; times > 0; --times)
            {
                round();
            }
        }

        // Five calls into native code.
        private static void Call(SourceClient client)
        {
            Assert.That(client.GetSources().Count, Is.EqualTo(7));
            Assert.That(client.GetName(3, 0), Is.EqualTo("Wohnzimmer Bär"));
            Assert.That(client.GetOnScreenText(3), Is.EqualTo("HDMI 1"));
            Assert.That(client.GetUsbData("usb-disk").DeviceName, Is.EqualTo("Été 2026"));
            Assert.That(client.SetName(99, "Bär", 0), Is.False);
            client.Subscribe(change => { }).Dispose();
        }

        private static long NativeBytes()
        {
            return (long)mallinfo2().InUse.ToUInt64();
        }

        // The bytes allocated by the C library and not freed, in all arenas.
        [StructLayout(LayoutKind.Sequential)]
        private struct MallocInfo
        {
            internal UIntPtr Arena;
            internal UIntPtr FreeChunks;
            internal UIntPtr FastChunks;
            internal UIntPtr MappedChunks;
            internal UIntPtr Mapped;
            internal UIntPtr Unused;
            internal UIntPtr FastFree;
            internal UIntPtr InUse;
            internal UIntPtr Free;
            internal UIntPtr Trimmable;
        }

        [DllImport("libc.so.6")]
        private static extern MallocInfo mallinfo2();
    }
}
