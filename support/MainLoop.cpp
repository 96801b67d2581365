// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "MainLoop.h"

#include <glib-unix.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include "Timer.h"

namespace support {

bool iterateUntil(const std::function<bool()> &condition,
                  std::optional<std::chrono::milliseconds> limit) {
    bool limitHasPassed = false;
    Timer timer;
    if (limit) {
        timer.start(*limit, [&limitHasPassed] { limitHasPassed = true; });
    }
    while (!condition()) {
        if (limitHasPassed) {
            return false;
        }
        g_main_context_iteration(nullptr, TRUE);
    }
    return true;
}

SignalWatch::SignalWatch(std::initializer_list<int> signals, Handler handler)
    : m_handler(std::move(handler)) {
    sigset_t watched;
    sigemptyset(&watched);
    for (const int each : signals) {
        sigaddset(&watched, each);
    }
    // A blocked signal arrives here even if its disposition is to be ignored.
    pthread_sigmask(SIG_BLOCK, &watched, nullptr);
    m_fd = FileDescriptor(signalfd(-1, &watched, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!m_fd) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
    m_source = g_unix_fd_add(m_fd.get(), G_IO_IN, dispatch, this);
}

SignalWatch::~SignalWatch() {
    g_source_remove(m_source);
}

gboolean SignalWatch::dispatch(gint fd, GIOCondition, gpointer watch) {
    signalfd_siginfo info = {};
    if (read(fd, &info, sizeof info) == sizeof info) {
        static_cast<SignalWatch *>(watch)->m_handler(info);
    }
    return G_SOURCE_CONTINUE;
}

}  // namespace support
