// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Body.h"

#include <memory>

namespace {

std::optional<Json::Value> parse(const std::string &text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value document;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &document, nullptr)) {
            return document;
        }
    } catch (const Json::Exception &) {
        // Nested more deeply than the reader goes.
    }
    return std::nullopt;
}

bool isFailed(const Json::Value &object) {
    const Json::Value &result = object["dbus_result"];
    return result.isString() && result.asString() == "fail";
}

}  // namespace

Body readBody(GVariant *body) {
    Body read;
    read.type = body != nullptr ? g_variant_get_type_string(body) : "()";
    const bool hasBuffer = read.type == "(sussa(y))";
    read.isKnown = hasBuffer || read.type == "(suss)";
    if (!read.isKnown) {
        return read;
    }
    const char *text = nullptr;
    g_variant_get_child(body, 3, "&s", &text);
    read.text = text;
    read.document = parse(read.text);
    if (hasBuffer) {
        g_autoptr(GVariant) array = g_variant_get_child_value(body, 4);
        const auto *bytes = static_cast<const unsigned char *>(g_variant_get_data(array));
        read.buffer.emplace(bytes, bytes + g_variant_get_size(array));
    }
    return read;
}

Reading readingOf(const Answer &answer) {
    if (answer.kind != Answer::Kind::Returned || !answer.body.document ||
        !answer.body.document->isObject()) {
        return Reading::Unreadable;
    }
    const Json::Value &object = *answer.body.document;
    if (isFailed(object)) {
        return Reading::Refused;
    }
    if (!object.isMember("return_data") || !readsAsBool(object, "return_data") ||
        !readsAsText(object, "dbus_result")) {
        return Reading::Unreadable;
    }
    return object["return_data"].asBool() ? Reading::Done : Reading::Refused;
}

const Json::Value *objectOf(const Answer &answer) {
    if (answer.kind != Answer::Kind::Returned || !answer.body.document) {
        return nullptr;
    }
    const Json::Value &document = *answer.body.document;
    return document.isObject() && readsAsText(document, "dbus_result") && !isFailed(document)
               ? &document
               : nullptr;
}

bool readsAsBool(const Json::Value &object, const char *member) {
    return object[member].isConvertibleTo(Json::booleanValue);
}

bool readsAsInt(const Json::Value &object, const char *member) {
    return object[member].isConvertibleTo(Json::intValue);
}

bool readsAsText(const Json::Value &object, const char *member) {
    return object[member].isConvertibleTo(Json::stringValue);
}
