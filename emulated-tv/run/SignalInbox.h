// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SIGNAL_INBOX_H
#define EMULATED_TV_SIGNAL_INBOX_H

#include <chrono>
#include <optional>

#include "FileDescriptor.h"

namespace emulated_tv {

// The signals that concern the launcher, taken in turn instead of interrupting it: SIGCHLD,
// SIGCONT and what asks it to end (SIGINT, SIGTERM, and SIGHUP unless it was told to ignore that).
class SignalInbox {
 public:
    // Blocks the signals for the rest of the process's life.
    SignalInbox();

    // The next signal; nothing when none came in time.
    std::optional<int> next(std::chrono::milliseconds timeout) const;
    int next() const;

    // Readable when there is a next one.
    int descriptor() const { return m_fd.get(); }

 private:
    support::FileDescriptor m_fd;
};

}  // namespace emulated_tv

#endif
