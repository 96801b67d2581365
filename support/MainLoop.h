// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SUPPORT_MAIN_LOOP_H
#define SUPPORT_MAIN_LOOP_H

#include <glib.h>
#include <sys/signalfd.h>

#include <chrono>
#include <functional>
#include <initializer_list>
#include <optional>

#include "FileDescriptor.h"

namespace support {

// Runs the default main context until the condition holds, which is checked after each event.
// Returns false if the limit passes first.
bool iterateUntil(const std::function<bool()> &condition,
                  std::optional<std::chrono::milliseconds> limit = std::nullopt);

// Delivers signals on the default main context, with the information on their origin. They stay
// blocked for the rest of the process's life, so that a late one does not interrupt its exit. To
// be created before other threads, which inherit the signal mask.
class SignalWatch {
 public:
    using Handler = std::function<void(const signalfd_siginfo &)>;

    // Throws std::system_error.
    SignalWatch(std::initializer_list<int> signals, Handler handler);
    ~SignalWatch();
    SignalWatch(const SignalWatch &) = delete;
    SignalWatch &operator=(const SignalWatch &) = delete;

 private:
    static gboolean dispatch(gint fd, GIOCondition condition, gpointer watch);

    const Handler m_handler;
    FileDescriptor m_fd;
    guint m_source = 0;
};

}  // namespace support

#endif
