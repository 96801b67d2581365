// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Terminal.h"

#include <fcntl.h>
#include <unistd.h>

namespace emulated_tv {

Terminal::Terminal() : m_fd(open("/dev/tty", O_RDWR | O_CLOEXEC)) {}

bool Terminal::isOurs() const {
    return m_fd && tcgetpgrp(m_fd.get()) == getpgrp();
}

void Terminal::giveTo(pid_t group) const {
    tcsetpgrp(m_fd.get(), group);
}

void Terminal::takeBack() const {
    tcsetpgrp(m_fd.get(), getpgrp());
}

}  // namespace emulated_tv
