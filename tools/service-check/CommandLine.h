// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SERVICE_CHECK_COMMAND_LINE_H
#define SERVICE_CHECK_COMMAND_LINE_H

#include <functional>
#include <optional>

#include "Options.h"

namespace CLI {
class App;
}

constexpr int exitKept = 0;
constexpr int exitBroken = 1;
constexpr int exitWrongUsage = 2;
constexpr int exitUnreachable = 3;

struct Invocation {
    std::optional<Options> options;  // none when there is nothing to check
    int exitCode = exitKept;         // then; help or what is wrong has been printed
};

Invocation readCommandLine(int argc, const char *const *argv);

// Shows `reader` what the command line can be.
void showCommandLine(const std::function<void(const CLI::App &)> &reader);

#endif
