// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SOURCECTL_COMMAND_LINE_H
#define SOURCECTL_COMMAND_LINE_H

#include <functional>

#include "Commands.h"

namespace CLI {
class App;
}

namespace sourcectl {

constexpr int exitDone = 0;
constexpr int exitFailed = 1;
constexpr int exitWrongUsage = 2;

struct Invocation {
    Arguments arguments;
    Command command = nullptr;  // null after --help, --version or an error message
    int exitCode = exitDone;    // without a command
};

Invocation readCommandLine(int argc, const char *const *argv);

// Passes the description of the command line to `reader`.
void showCommandLine(const std::function<void(const CLI::App &)> &reader);

}  // namespace sourcectl

#endif
