// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Text from devices and other processes, made safe to print on a terminal.
#ifndef SUPPORT_TERMINAL_TEXT_H
#define SUPPORT_TERMINAL_TEXT_H

#include <string>

namespace support {

// True if the text is UTF-8 without a zero byte.
bool isUtf8(const std::string &text);

// Replaces bytes that are not UTF-8 by U+FFFD.
std::string validUtf8(const std::string &text);

// Valid UTF-8 with each control character, which could be a terminal's escape sequence, written
// as "\x1b".
std::string printable(const std::string &text);

// printable(), in quotation marks.
std::string quoted(const std::string &text);

}  // namespace support

#endif
