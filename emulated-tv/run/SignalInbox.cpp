// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SignalInbox.h"

#include <poll.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace emulated_tv {

SignalInbox::SignalInbox() {
    sigset_t signals;
    sigemptyset(&signals);
    // A shell has its background jobs ignore SIGINT; who sends it to this process means it.
    for (const int each : {SIGCHLD, SIGCONT, SIGINT, SIGTERM}) {
        std::signal(each, SIG_DFL);
        sigaddset(&signals, each);
    }
    struct sigaction hangUp = {};
    sigaction(SIGHUP, nullptr, &hangUp);
    if (hangUp.sa_handler != SIG_IGN) {
        sigaddset(&signals, SIGHUP);
    }
    m_fd = support::FileDescriptor(signalfd(-1, &signals, SFD_CLOEXEC));
    if (!m_fd) {
        throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    }
    // Blocked, it lets the terminal be taken back from the command.
    sigaddset(&signals, SIGTTOU);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

std::optional<int> SignalInbox::next(std::chrono::milliseconds timeout) const {
    pollfd inbox = {m_fd.get(), POLLIN, 0};
    if (poll(&inbox, 1, static_cast<int>(timeout.count())) <= 0) {
        return std::nullopt;
    }
    return next();
}

int SignalInbox::next() const {
    signalfd_siginfo info = {};
    while (read(m_fd.get(), &info, sizeof info) < 0 && errno == EINTR) {
    }
    return static_cast<int>(info.ssi_signo);
}

}  // namespace emulated_tv
