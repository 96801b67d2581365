// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Diagnostics;
using System.Linq;
using System.Runtime.InteropServices;
using NUnit.Framework;

namespace SourceApi.Tests
{
    /// <summary>Other programs, which inherit the test's environment.</summary>
    internal static class Programs
    {
        private const int sigterm = 15;
        private const int sigcont = 18;
        private const int sigstop = 19;

        /// <summary>Runs a program and returns its output.</summary>
        internal static string Run(string program, params string[] arguments)
        {
            using (Process process = Start(program, arguments))
            {
                string output = process.StandardOutput.ReadToEnd();
                Assert.That(process.WaitForExit(Limit.Milliseconds), program + " did not end");
                Assert.That(process.ExitCode, Is.EqualTo(0), program + " failed");
                return output;
            }
        }

        internal static Process Start(string program, params string[] arguments)
        {
            var start = new ProcessStartInfo(program)
            {
                Arguments = string.Join(" ", arguments.Select(each => "\"" + each + "\"")),
                UseShellExecute = false,
                RedirectStandardOutput = true,
                StandardOutputEncoding = System.Text.Encoding.UTF8
            };
            return Process.Start(start);
        }

        internal static void Freeze(Process process)
        {
            kill(process.Id, sigstop);
        }

        internal static void Thaw(Process process)
        {
            kill(process.Id, sigcont);
        }

        internal static void End(Process process)
        {
            kill(process.Id, sigterm);
            Thaw(process);
            Assert.That(process.WaitForExit(Limit.Milliseconds), "a program did not end");
            process.Dispose();
        }

        [DllImport("libc.so.6")]
        private static extern int kill(int process, int signal);
    }
}
