// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_CHILD_PROCESS_H
#define EMULATED_TV_CHILD_PROCESS_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace emulated_tv {

struct ChildPlan {
    // Found in PATH.
    std::vector<std::string> command;
    // Added to this process's environment.
    std::vector<std::pair<std::string, std::string>> environment;
    // Open files that the child keeps.
    std::vector<int> keeps;
    // What the kernel sends the child when this process dies, 0 for nothing.
    int deathSignal = 0;
    // A daemon leaves the terminal and its signals behind; another child gets a process group.
    bool isDaemon = false;
    // A terminal that the child's group takes over, -1 for none.
    int terminal = -1;
    // Called in the child last of all; may only do what is safe after a fork.
    std::function<void()> lastly;
};

// Throws std::system_error when the command cannot be run. The child starts with no signal
// blocked. To be called on the main thread: the death signal is tied to the thread.
pid_t startChild(const ChildPlan &plan);

}  // namespace emulated_tv

#endif
