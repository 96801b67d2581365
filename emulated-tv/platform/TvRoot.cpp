// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "TvRoot.h"

#include <glib.h>

namespace emulated_tv {

std::optional<std::filesystem::path> tvRootFromEnvironment() {
    const char *root = g_getenv(tvRootVariable);
    if (root == nullptr || *root == '\0') {
        return std::nullopt;
    }
    return root;
}

std::string safeFileName(const std::string &text) {
    // No other text is escaped as "%".
    if (text.empty()) {
        return "%";
    }
    // Without dots a name cannot be ".", ".." or that of a temporary file.
    const std::string kept = "-_~";
    const std::string digits = "0123456789ABCDEF";
    std::string name;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (g_ascii_isalnum(character) || kept.find(character) != std::string::npos) {
            name += character;
        } else {
            name += {'%', digits[byte / 16U], digits[byte % 16U]};
        }
    }
    return name;
}

}  // namespace emulated_tv
