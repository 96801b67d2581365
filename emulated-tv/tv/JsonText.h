// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_JSON_TEXT_H
#define EMULATED_TV_JSON_TEXT_H

#include <json/json.h>

#include <cstdint>
#include <optional>
#include <string>

namespace emulated_tv {

// Empty when the text is not JSON.
std::optional<Json::Value> parseJson(const std::string &text);

// One line, pure ASCII: valid on the bus whatever the strings hold.
std::string jsonLine(const Json::Value &value);

// Lines for a reader, in UTF-8.
std::string jsonDocument(const Json::Value &value);

// A member of an object. Throws Refusal when it is missing, of another type, or a string that is
// not UTF-8 or holds a zero character.
bool requiredBool(const Json::Value &object, const char *key);
std::int32_t requiredInt(const Json::Value &object, const char *key);
std::uint32_t requiredUInt(const Json::Value &object, const char *key);
std::string requiredString(const Json::Value &object, const char *key);

}  // namespace emulated_tv

#endif
