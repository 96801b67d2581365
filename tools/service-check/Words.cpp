// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Words.h"

namespace {

std::string cut(const std::string &text) {
    constexpr std::size_t longest = 160;
    return text.size() <= longest ? text : text.substr(0, longest) + "...";
}

}  // namespace

std::string inWords(const Json::Value &value) {
    Json::StreamWriterBuilder format;
    format["indentation"] = "";
    return cut(Json::writeString(format, value));
}

std::string inWords(const Body &body) {
    if (!body.isKnown) {
        return "a body " + cut(body.type);
    }
    if (!body.document) {
        return "the text " + quoted(body.text) + ", which is not JSON";
    }
    return inWords(*body.document);
}

std::string inWords(const Answer &answer) {
    switch (answer.kind) {
        case Answer::Kind::Returned:
            return inWords(answer.body);
        case Answer::Kind::Error:
            return "the error " + quoted(answer.words);
        case Answer::Kind::None:
            break;
    }
    return "no answer: " + quoted(answer.words);
}

std::string quoted(const std::string &text) {
    return inWords(Json::Value(text));
}
