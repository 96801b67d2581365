// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

namespace SourceApi
{
    /// <summary>Who iterates the GLib main context in which changes of the list arrive. The first
    /// client of the process decides for all.</summary>
    public enum EventLoop
    {
        /// <summary>The binding: it starts one background thread with a main context of its own,
        /// which lives as long as the process.</summary>
        Own,

        /// <summary>The application, as one with a UI toolkit on GLib does: the main context that
        /// is the thread-default one where the first client is made. No thread is started, and
        /// changes arrive only while that context is iterated.</summary>
        Application
    }
}
