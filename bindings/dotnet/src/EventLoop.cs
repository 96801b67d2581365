// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

namespace SourceApi
{
    /// <summary>The thread that iterates the GLib main context in which changes of the list arrive.
    /// It is chosen by the first client of the process.</summary>
    public enum EventLoop
    {
        /// <summary>The binding starts one background thread with its own main context, which runs
        /// until the process exits.</summary>
        Own,

        /// <summary>The application iterates it, as a UI toolkit based on GLib does. It is the
        /// thread-default main context of the thread that makes the first client. No thread is
        /// started, and changes arrive only while that context is iterated.</summary>
        Application
    }
}
