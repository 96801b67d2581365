// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_TERMINAL_H
#define EMULATED_TV_TERMINAL_H

#include <sys/types.h>

#include "FileDescriptor.h"

namespace emulated_tv {

// The terminal that the user sits at, if there is one, and who in this session has its keys.
// SIGTTOU must be blocked.
class Terminal {
 public:
    Terminal();

    // True when the keys are with this process's own group.
    bool isOurs() const;
    void giveTo(pid_t group) const;
    void takeBack() const;

    int descriptor() const { return m_fd.get(); }

 private:
    support::FileDescriptor m_fd;
};

}  // namespace emulated_tv

#endif
