// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// An emulated TV as one process: the TV, its source service and its control interface on the main
// loop, the private bus and the command as child processes.
#ifndef EMULATED_TV_EMULATOR_H
#define EMULATED_TV_EMULATOR_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Scenario.h"

namespace emulated_tv {

struct EmulatorPlan {
    // Without one the root is a temporary folder.
    std::optional<std::filesystem::path> root;
    // Without one the TV stays on until a signal ends it.
    std::vector<std::string> command;
    std::optional<Scenario> scenario;
};

// Runs the command with an emulated TV of its own and ends all that it has started. Returns the
// command's exit code, 128 plus the number of the signal that ended it or was sent to this process,
// 127 or 126 if it cannot be run. Throws std::runtime_error if the TV cannot be started. If this
// process is killed, the kernel kills the bus and the command, and the next emulator removes the
// files. To be called once, on the main thread and before there are others.
int runEmulator(const EmulatorPlan &plan);

// Serves on the system bus until a signal ends it, which gives 0, or the bus closes, which gives 1.
int serve(const std::filesystem::path &root);

}  // namespace emulated_tv

#endif
