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
    return copy != nullptr ? static_cast<char *>(std::memcpy(copy, text.c_str(), text.size() + 1))
                           : nullptr;
}

#endif
