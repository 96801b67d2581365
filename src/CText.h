// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SOURCE_API_C_TEXT_H
#define SOURCE_API_C_TEXT_H

#include <cstdlib>
#include <cstring>
#include <string>

// A text for C callers, who release it with free(): strdup() that knows the length. Null when
// memory ran out.
inline char *newCText(const std::string &text) {
    auto *const copy = static_cast<char *>(std::malloc(text.size() + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text.data(), text.size());
        copy[text.size()] = '\0';
    }
    return copy;
}

#endif
