// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SERVICE_CHECK_COMMAND_LINE_H
#define SERVICE_CHECK_COMMAND_LINE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace service_check {

struct Options {
    bool json = false;
    int timeout = 5000;  // of each wait, in milliseconds
    std::optional<std::string> source;
    std::optional<std::uint32_t> deviceType;
    std::optional<std::string> shown;
    std::optional<std::string> restart;
};

constexpr int exitPassed = 0;
constexpr int exitFailed = 1;
constexpr int exitWrongUsage = 2;
constexpr int exitUnreachable = 3;

struct Invocation {
    std::optional<Options> options;  // none after --help, --version or an error message
    int exitCode = exitPassed;       // without options
};

Invocation readCommandLine(int argc, const char *const *argv);

// Passes the description of the command line to `reader`.
void showCommandLine(const std::function<void(const CLI::App &)> &reader);

}  // namespace service_check

#endif
