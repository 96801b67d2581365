// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

using System;
using System.Diagnostics;
using System.IO;

namespace SourceApi.Tests
{
    /// <summary>The emulated TV that the test's environment names.</summary>
    internal static class Tv
    {
        /// <summary>Events at the TV itself.</summary>
        internal static string Do(params string[] command)
        {
            return Programs.Run("tv-emulator", command);
        }

        internal static void Plug(string key)
        {
            Do("plug", key, "--name", key);
        }

        /// <summary>The names document in the platform's settings store.</summary>
        internal static void WriteNames(string document)
        {
            string folder = Path.Combine(Root, "settings");
            Directory.CreateDirectory(folder);
            File.WriteAllText(Path.Combine(folder, "db%2Fsource-list%2Fsource-name"), document);
        }

        private static string Root
        {
            get { return Environment.GetEnvironmentVariable("SOURCE_TV_ROOT"); }
        }
    }

    /// <summary>The bus that the test's environment names, in tests that begin without one.
    /// </summary>
    internal sealed class Bus : IDisposable
    {
        private readonly Process daemon;

        internal Bus()
        {
            daemon = Programs.Start("dbus-daemon", "--session", "--nofork", "--nopidfile",
                "--print-address=1",
                "--address=" + Environment.GetEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS"));
            daemon.StandardOutput.ReadLine();
        }

        public void Dispose()
        {
            Programs.End(daemon);
        }
    }

    /// <summary>The emulated TV's source service on that bus.</summary>
    internal sealed class Service : IDisposable
    {
        private readonly Process process;

        internal Service()
        {
            process = Programs.Start("tv-emulator", "serve");
            Programs.Run("gdbus", "wait", "--system", "--timeout", "30", "source_service.message");
        }

        /// <summary>Leaves requests without a reply.</summary>
        internal void Freeze()
        {
            Programs.Freeze(process);
        }

        internal void Thaw()
        {
            Programs.Thaw(process);
        }

        public void Dispose()
        {
            Programs.End(process);
        }
    }
}
