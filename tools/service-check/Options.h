// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SERVICE_CHECK_OPTIONS_H
#define SERVICE_CHECK_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

// What the user gave on the command line.
struct Options {
    bool json = false;
    int timeout = 5000;  // of each wait, in milliseconds
    std::optional<std::string> source;
    std::optional<std::uint32_t> deviceType;
    std::optional<std::string> shown;
    std::optional<std::string> restart;
};

#endif
