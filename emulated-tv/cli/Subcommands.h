// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The subcommands of tv-emulator.
#ifndef TV_EMULATOR_SUBCOMMANDS_H
#define TV_EMULATOR_SUBCOMMANDS_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Faults.h"
#include "Trace.h"

namespace emulated_tv {

constexpr int wrongUsage = 2;

// The parsed command line, and the action of its subcommand.
struct Request {
    std::optional<std::filesystem::path> root;
    std::vector<std::string> command;
    std::string scenario;
    std::string source;
    std::string name;
    std::optional<std::string> deviceName;
    std::optional<std::uint32_t> deviceType;
    std::string power;
    Fault fault;
    TraceOptions trace;
    std::function<int()> action;
};

// Add groups of subcommands. The request must outlive the app.
void addStartCommands(CLI::App &app, Request &request);
void addRemoteCommands(CLI::App &app, Request &request);

CLI::App *addSubcommand(CLI::App &app, Request &request, const std::string &name,
                        const std::string &description, std::function<int()> action);
void addRoot(CLI::App *subcommand, Request &request, const std::string &description);

}  // namespace emulated_tv

#endif
