// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "TerminalText.h"

#include <glib.h>

#include <array>
#include <cstdio>

namespace support {

bool isUtf8(const std::string &text) {
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

std::string validUtf8(const std::string &text) {
    g_autofree char *valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    return valid;
}

std::string printable(const std::string &text) {
    const std::string valid = validUtf8(text);
    std::string shown;
    const char *next = nullptr;
    for (const char *at = valid.c_str(); *at != '\0'; at = next) {
        next = g_utf8_next_char(at);
        const gunichar character = g_utf8_get_char(at);
        if (g_unichar_iscntrl(character) != FALSE) {
            std::array<char, 8> escaped;
            std::snprintf(escaped.data(), escaped.size(), "\\x%02x", character);
            shown += escaped.data();
        } else {
            shown.append(at, next);
        }
    }
    return shown;
}

std::string quoted(const std::string &text) {
    return "\"" + printable(text) + "\"";
}

}  // namespace support
