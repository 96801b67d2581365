// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "JsonText.h"

#include <glib.h>

#include <memory>

#include "Refusal.h"

namespace emulated_tv {

namespace {

const Json::Value &required(const Json::Value &object, const char *key,
                            bool (Json::Value::*hasType)() const, const char *typeName) {
    if (object.isObject() && object.isMember(key)) {
        const Json::Value &member = object[key];
        if ((member.*hasType)()) {
            return member;
        }
    }
    throw Refusal("\"" + std::string(key) + "\" must be given as " + typeName);
}

}  // namespace

std::optional<Json::Value> parseJson(const std::string &text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) {
            return value;
        }
    } catch (const Json::Exception &) {
        // Nested more deeply than the reader goes.
    }
    return std::nullopt;
}

std::string jsonLine(const Json::Value &value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

std::string jsonDocument(const Json::Value &value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value) + "\n";
}

bool requiredBool(const Json::Value &object, const char *key) {
    return required(object, key, &Json::Value::isBool, "true or false").asBool();
}

std::int32_t requiredInt(const Json::Value &object, const char *key) {
    return required(object, key, &Json::Value::isInt, "an integer").asInt();
}

std::uint32_t requiredUInt(const Json::Value &object, const char *key) {
    return required(object, key, &Json::Value::isUInt, "an unsigned integer").asUInt();
}

std::string requiredString(const Json::Value &object, const char *key) {
    std::string text = required(object, key, &Json::Value::isString, "a string").asString();
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) == FALSE) {
        throw Refusal("\"" + std::string(key) + "\" is not a valid text");
    }
    return text;
}

}  // namespace emulated_tv
