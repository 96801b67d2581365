// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// JSON as text, in the JSON library's default form. Its builders cost more to make than a short
// document costs to read or write, so there is one of each, never destroyed.
#ifndef SOURCE_API_JSON_TEXT_H
#define SOURCE_API_JSON_TEXT_H

#include <json/json.h>

#include <memory>
#include <sstream>
#include <string>

const Json::StreamWriterBuilder &defaultWriterBuilder();

// Reads the whole text into `root`, with the reader's report in `errors` unless that is null.
// Throws Json::Exception when the text is nested deeper than the reader goes.
bool readJson(const std::string &text, Json::Value &root, std::string *errors);

// Writes values in the form of Json::Value::toStyledString(), one after another.
class StyledWriter {
 public:
    StyledWriter() : m_writer(defaultWriterBuilder().newStreamWriter()) {}
    std::string text(const Json::Value &value);

 private:
    std::unique_ptr<Json::StreamWriter> m_writer;
    std::ostringstream m_stream;
};

#endif
