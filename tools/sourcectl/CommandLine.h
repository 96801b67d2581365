// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SOURCECTL_COMMAND_LINE_H
#define SOURCECTL_COMMAND_LINE_H

#include <functional>

#include "Arguments.h"
#include "Commands.h"

namespace CLI {
class App;
}

constexpr int exitDone = 0;
constexpr int exitFailed = 1;
constexpr int exitWrongUsage = 2;

struct Invocation {
    Arguments arguments;
    Command command = nullptr;  // null when there is nothing to run
    int exitCode = exitDone;    // then; help or what is wrong has been printed
};

Invocation readCommandLine(int argc, const char *const *argv);

// Shows `reader` what the command line can be.
void showCommandLine(const std::function<void(const CLI::App &)> &reader);

#endif
