// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "JsonText.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace support {

namespace {

std::string written(const Json::Value &value, const char *indentation, bool asUtf8) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["emitUTF8"] = asUtf8;
    return Json::writeString(builder, value);
}

// Throws Json::Exception when the text is nested too deeply.
std::optional<Json::Value> parse(const Json::CharReaderBuilder &builder, const std::string &text,
                                 std::string *errors) {
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    if (reader->parse(text.data(), text.data() + text.size(), &value, errors)) {
        return value;
    }
    return std::nullopt;
}

}  // namespace

std::optional<Json::Value> parseJson(const std::string &text) {
    try {
        return parse(Json::CharReaderBuilder(), text, nullptr);
    } catch (const Json::Exception &) {
        return std::nullopt;
    }
}

ParsedDocument parseStrictJson(const std::string &text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    ParsedDocument parsed;
    std::string errors;
    try {
        parsed.document = parse(builder, text, &errors);
    } catch (const Json::Exception &) {
        parsed.error = "nested too deeply";
        return parsed;
    }
    if (!parsed.document) {
        // The reader's report: "* Line 3, Column 5\n  What is wrong.\n", once for each error.
        std::sscanf(errors.c_str(), "* Line %d", &parsed.errorLine);
        const std::size_t begin = std::min(errors.find('\n') + 3, errors.size());
        parsed.error = errors.substr(begin, errors.find('\n', begin) - begin);
    }
    return parsed;
}

std::string jsonLine(const Json::Value &value) {
    return written(value, "", false);
}

std::string jsonLineUtf8(const Json::Value &value) {
    return written(value, "", true);
}

std::string jsonDocument(const Json::Value &value) {
    return written(value, "  ", true) + "\n";
}

}  // namespace support
