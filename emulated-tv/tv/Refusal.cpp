// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Refusal.h"

#include "TerminalText.h"

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
    if (!support::isUtf8(text)) {
        throw Refusal("\"" + std::string(key) + "\" is not a valid text");
    }
    return text;
}

}  // namespace emulated_tv
