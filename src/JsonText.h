// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// JSON as text, in the JSON library's default form. Its builders, readers and writers cost more to
// make than a short document costs to read or write, so they are kept for the next user.
#ifndef SOURCE_API_JSON_TEXT_H
#define SOURCE_API_JSON_TEXT_H

#include <json/json.h>

#include <string>

const Json::StreamWriterBuilder &defaultWriterBuilder();

// Reads the whole text into `root`, with the reader's report in `errors` unless that is null.
// Throws Json::Exception when the text is nested deeper than the reader goes.
bool readJson(const std::string &text, Json::Value &root, std::string *errors);

// What Json::writeString() makes of the value, by default.
std::string jsonText(const Json::Value &value);

// The same as value.toStyledString().
std::string styledText(const Json::Value &value);

#endif
