// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "JsonText.h"

const Json::StreamWriterBuilder &defaultWriterBuilder() {
    static const auto &builder = *new Json::StreamWriterBuilder;
    return builder;
}

bool readJson(const std::string &text, Json::Value &root, std::string *errors) {
    static const auto &builder = *new Json::CharReaderBuilder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), &root, errors);
}

std::string StyledWriter::text(const Json::Value &value) {
    m_stream.str(std::string());
    if (value.hasComment(Json::commentBefore)) {
        m_stream << '\n';
    }
    m_writer->write(value, &m_stream);
    m_stream << '\n';
    return m_stream.str();
}
