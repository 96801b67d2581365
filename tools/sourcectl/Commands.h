// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The commands of sourcectl. Each prints its result or throws a Failure; Json::Exception is thrown
// if the settings store holds values of wrong types.
#ifndef SOURCECTL_COMMANDS_H
#define SOURCECTL_COMMANDS_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "SourceList.h"

namespace sourcectl {

// The values on the command line. A command reads those that it takes.
struct Arguments {
    bool json = false;
    bool verbose = false;

    std::int32_t type = 0;
    std::int32_t index = 0;
    std::string key;
    std::string text;
    std::uint32_t deviceType = 0;

    std::string sourceIcon;
    std::string focusedIcon;
    std::string unfocusedIcon;

    std::optional<std::uint32_t> count;
    std::optional<std::uint32_t> timeoutSeconds;
};

// One line that says why a command failed.
class Failure : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

using Command = void (*)(const Arguments &arguments);

void listSources(const Arguments &arguments);
void connectSource(const Arguments &arguments);
void runSource(const Arguments &arguments);
void showName(const Arguments &arguments);
void renameSource(const Arguments &arguments);
void showDeviceType(const Arguments &arguments);
void changeDeviceType(const Arguments &arguments);
void changeDetected(const Arguments &arguments);
void showOnScreenText(const Arguments &arguments);
void showUsbDevice(const Arguments &arguments);
void showIcons(const Arguments &arguments);
void changeIcons(const Arguments &arguments);

// Prints the changes of the list until the given count or timeout is reached, or until SIGINT or
// SIGTERM. Fails when the list can no longer be read, when the connection to the bus is lost, and
// when the timeout ends before the count is reached.
void watchSources(const Arguments &arguments);

// For the implementation of the commands:

// Writes one or several lines to standard output and flushes it.
void print(const std::string &text);

// Ordered by source type.
SourceList readSourceList();

// The library returns false for a refusal and for an unreachable service alike. This asks the bus,
// for up to 25 seconds; no value means that the service is there and refused the request.
std::optional<std::string> unreachableReason();

}  // namespace sourcectl

#endif
