// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The root folder of an emulated TV.
#ifndef EMULATED_TV_TV_ROOT_H
#define EMULATED_TV_TV_ROOT_H

#include <filesystem>
#include <optional>
#include <string>

namespace emulated_tv {

// The environment variable with the path of the root folder.
constexpr const char *tvRootVariable = "SOURCE_TV_ROOT";

// Empty if the variable is unset or empty.
std::optional<std::filesystem::path> tvRootFromEnvironment();

// A file name for a text: not empty, without "." and "/", and unique for each text.
std::string safeFileName(const std::string &text);

}  // namespace emulated_tv

#endif
