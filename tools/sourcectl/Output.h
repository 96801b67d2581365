// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SOURCECTL_OUTPUT_H
#define SOURCECTL_OUTPUT_H

#include <json/json.h>

#include <string>

// The document on one line, in UTF-8.
std::string jsonLine(const Json::Value &document);

// Writes one line, or a table of several, to standard output at once. Throws a Failure when that
// takes no more.
void print(const std::string &text);

#endif
