// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// JSON text to values and back.
#ifndef SUPPORT_JSON_TEXT_H
#define SUPPORT_JSON_TEXT_H

#include <json/json.h>

#include <optional>
#include <string>

namespace support {

// Empty if the text is not JSON, or nested more deeply than the reader allows.
std::optional<Json::Value> parseJson(const std::string &text);

// A parser's result: either the document, or the first error and its line.
struct ParsedDocument {
    std::optional<Json::Value> document;
    std::string error;
    int errorLine = 1;
};
// In the reader's strict mode: an object or array, no comments, no member twice.
ParsedDocument parseStrictJson(const std::string &text);

// One line in pure ASCII, which is valid UTF-8 whatever bytes the strings contain.
std::string jsonLine(const Json::Value &value);

// One line in UTF-8.
std::string jsonLineUtf8(const Json::Value &value);

// Indented lines in UTF-8, with a newline at the end.
std::string jsonDocument(const Json::Value &value);

}  // namespace support

#endif
