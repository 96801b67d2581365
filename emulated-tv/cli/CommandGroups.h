// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The commands of tv-emulator by groups, each of which adds its own to the command line.
#ifndef TV_EMULATOR_COMMAND_GROUPS_H
#define TV_EMULATOR_COMMAND_GROUPS_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Fault.h"
#include "Trace.h"

namespace emulated_tv {

constexpr int wrongUsage = 2;

// What a subcommand was given, and what it does once everything has been read.
struct Request {
    std::optional<std::filesystem::path> root;
    std::vector<std::string> command;
    int lifeline = -1;
    std::string scenario;
    int scenarioText = -1;
    std::string source;
    std::string name;
    std::optional<std::string> deviceName;
    std::optional<std::uint32_t> deviceType;
    std::string power;
    FaultOrder fault;
    TracePlan trace;
    std::function<int()> action;
};

// The request must outlive the parsing.
void addStartCommands(CLI::App &app, Request &request);
void addDeviceCommands(CLI::App &app, Request &request);
void addFaultCommand(CLI::App &app, Request &request);
void addTraceCommand(CLI::App &app, Request &request);

}  // namespace emulated_tv

#endif
