// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TV_EMULATOR_COMMAND_LINE_H
#define TV_EMULATOR_COMMAND_LINE_H

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace emulated_tv {

// Runs the program with these arguments and returns its exit code.
int runCommandLine(std::vector<std::string> arguments);

// Calls `reader` with the description of the command line.
void showCommandLine(const std::function<void(const CLI::App &)> &reader);

}  // namespace emulated_tv

#endif
