// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Where things lie in the root folder of an emulated TV.
#ifndef EMULATED_TV_TV_ROOT_H
#define EMULATED_TV_TV_ROOT_H

#include <filesystem>
#include <optional>
#include <string>

namespace emulated_tv {

// Names the root folder to every process that uses the emulated TV.
constexpr const char *tvRootVariable = "SOURCE_TV_ROOT";

// Empty when the variable is unset or empty.
std::optional<std::filesystem::path> tvRootFromEnvironment();

// A text as the name of a file: never empty, never with a "." or a "/" in it, and different for
// different texts.
std::string safeFileName(const std::string &text);

}  // namespace emulated_tv

#endif
