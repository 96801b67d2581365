// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SOURCECTL_ARGUMENTS_H
#define SOURCECTL_ARGUMENTS_H

#include <cstdint>
#include <optional>
#include <string>

// What the user gave on the command line; each command reads what it knows.
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

#endif
