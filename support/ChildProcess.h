// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SUPPORT_CHILD_PROCESS_H
#define SUPPORT_CHILD_PROCESS_H

#include <sys/types.h>

#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace support {

struct ChildPlan {
    // The program is searched for in PATH.
    std::vector<std::string> command;
    // Variables set in addition to this process's environment.
    std::vector<std::pair<std::string, std::string>> environment;
    // A daemon gets a session of its own, away from the terminal, and no input. Another child
    // stays in this process's group, so that the terminal's keys reach both.
    bool isDaemon = false;
    // Replaces standard output, unless it is -1.
    int output = -1;
};

// Starts a child that the kernel kills with SIGKILL when this process dies, unless the program is
// set-user-ID. To be called on the main thread, as that is tied to the calling thread. The child
// starts with no signal blocked. Throws std::system_error with the reason from exec.
pid_t startChild(const ChildPlan &plan);

// The children of a process, zombies included.
std::vector<pid_t> childrenOf(pid_t process);
// Its children, their children and so on.
std::vector<pid_t> descendantsOf(pid_t process);

// The exit code that a shell gives for a status of waitpid.
int exitCodeOf(int status);

}  // namespace support

#endif
