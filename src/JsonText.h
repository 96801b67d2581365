// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// JSON as text, in the JSON library's default form. Creating a builder, a reader or a writer costs
// more than reading or writing a short document, so they are pooled.
#ifndef SOURCE_API_JSON_TEXT_H
#define SOURCE_API_JSON_TEXT_H

#include <json/json.h>

#include <string>

namespace source_api::internal {

const Json::StreamWriterBuilder &defaultWriterBuilder();

// Reads the whole text into `root`, with the reader's report in `errors` unless that is null.
// Throws Json::Exception when the text exceeds the reader's nesting limit.
bool readJson(const std::string &text, Json::Value &root, std::string *errors);

// The same as Json::writeString() with default settings.
std::string jsonText(const Json::Value &value);

// The same as value.toStyledString().
std::string styledText(const Json::Value &value);

}  // namespace source_api::internal

#endif
