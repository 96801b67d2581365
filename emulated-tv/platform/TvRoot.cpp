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
    // No escaped text is a lone "%", so it is free to stand for the empty one.
    if (text.empty()) {
        return "%";
    }
    g_autofree char *escaped =
        g_uri_escape_bytes(reinterpret_cast<const guint8 *>(text.data()), text.size(), nullptr);
    std::string name;
    for (const char *next = escaped; *next != '\0'; ++next) {
        // A name without dots is neither "." nor "..", nor that of a temporary file.
        if (*next == '.') {
            name += "%2E";
        } else {
            name += *next;
        }
    }
    return name;
}

}  // namespace emulated_tv
