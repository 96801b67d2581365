// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Diagnostics;
using System.IO;
using NUnit.Framework;

namespace SourceApi.Tests
{
    [TestFixture]
    public class SampleTest
    {
        [Test]
        public void TheSampleListsAndFollows()
        {
            using (Process sample = Start("--count", "2"))
            {
                string list = ReadTo(sample, "following");
                Assert.That(list, Is.StringContaining(
                    "\"Wohnzimmer Bär\" (type 3, index 0, key hdmi1)"));
                Tv.Do("plug", "usb-stick", "--name", "Urlaub März");
                Tv.Do("unplug", "usb-stick");
                string changes = sample.StandardOutput.ReadToEnd();
                const string stick = "\"Urlaub März\" (type 8, index 2, key usb-stick)\n";
                Assert.That(changes, Is.EqualTo("added    " + stick + "removed  " + stick));
                Assert.That(sample.WaitForExit(Limit.Milliseconds));
                Assert.That(sample.ExitCode, Is.EqualTo(0));
            }
        }

        [Test]
        public void TheSampleRejectsUnknownArguments()
        {
            using (Process sample = Start("--count", "none"))
            {
                Assert.That(sample.WaitForExit(Limit.Milliseconds));
                Assert.That(sample.ExitCode, Is.EqualTo(2));
            }
        }

        private static Process Start(params string[] arguments)
        {
            string folder = Path.GetDirectoryName(typeof(SampleTest).Assembly.Location);
            string program = Path.Combine(folder, "list-and-follow.exe");
            return Programs.Start("mono", new[] { program, arguments[0], arguments[1] });
        }

        private static string ReadTo(Process program, string last)
        {
            string read = "";
            for (string line; (line = program.StandardOutput.ReadLine()) != last;)
            {
                Assert.That(line, Is.Not.Null, "the program has ended");
                read += line + "\n";
            }
            return read;
        }
    }
}
