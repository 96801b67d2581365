// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Texts come from devices and other processes: nothing is assumed of them.
#ifndef SOURCECTL_TEXT_H
#define SOURCECTL_TEXT_H

#include <string>

// Bytes that are no UTF-8 become U+FFFD.
std::string validUtf8(const std::string &text);

// Valid UTF-8 in which control characters, which could steer a terminal, stand as "\x1b".
std::string printable(const std::string &text);

// Printable, between quotation marks.
std::string quoted(const std::string &text);

#endif
