// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What came over the bus, put into words for one line of a terminal.
#ifndef SERVICE_CHECK_WORDS_H
#define SERVICE_CHECK_WORDS_H

#include <json/json.h>

#include <string>

#include "Body.h"

// In ASCII, and cut when it is long.
std::string inWords(const Json::Value &value);
std::string inWords(const Body &body);
std::string inWords(const Answer &answer);
std::string quoted(const std::string &text);

#endif
