// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the commands of tv-emulator have in common.
#ifndef TV_EMULATOR_COMMAND_PARTS_H
#define TV_EMULATOR_COMMAND_PARTS_H

#include <string>

#include "CommandGroups.h"
#include "Control.h"

namespace emulated_tv {

CLI::App *addSubcommand(CLI::App &app, Request &request, const std::string &name,
                        const std::string &description, std::function<int()> action);

// A command for a TV that is running, which is the one that tvOf finds.
CLI::App *addRemoteCommand(CLI::App &app, Request &request, const std::string &name,
                           const std::string &description, std::function<int()> action);
RemoteControl tvOf(const Request &request);

void addRoot(CLI::App *subcommand, Request &request, const std::string &description);

}  // namespace emulated_tv

#endif
