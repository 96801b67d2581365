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

        // A text or an error that is not released costs 32 bytes a call at least, a text of the
        // list 2,000.
        private const long mostGrowth = rounds * 32 / 2;

        [Test]
        public void TenThousandCallsLeaveNothingBehind()
        {
            using (var client = new SourceClient())
            {
                client.GetSources();
                Call(client, rounds / 4);
                long nativeBefore = NativeBytes();
                long managedBefore = GC.GetTotalMemory(true);
                Call(client, rounds);
                long managed = GC.GetTotalMemory(true) - managedBefore;
                long native = NativeBytes() - nativeBefore;
                Console.WriteLine("grown by {0} managed and {1} native bytes", managed, native);
                Assert.That(managed, Is.LessThan(mostGrowth));
                Assert.That(native, Is.LessThan(mostGrowth));
            }
        }

        // Five calls a round.
        private static void Call(SourceClient client, int rounds)
        {
            for (int round = 0; round < rounds; ++round)
            {
                Assert.That(client.GetSources().Count, Is.EqualTo(7));
                Assert.That(client.GetName(3, 0), Is.EqualTo("Wohnzimmer Bär"));
                Assert.That(client.GetOnScreenText(3), Is.EqualTo("HDMI 1"));
                Assert.That(client.GetUsbData("usb-disk").DeviceName, Is.EqualTo("Été 2026"));
                client.Subscribe(change => { }).Dispose();
                Assert.That(client.SetName(99, "Bär", 0), Is.False);
            }
        }

        private static long NativeBytes()
        {
            return (long)mallinfo2().InUse.ToUInt64();
        }

        // What the C library has handed out and not got back, in all its arenas.
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
