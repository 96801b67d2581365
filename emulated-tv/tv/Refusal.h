// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_REFUSAL_H
#define EMULATED_TV_REFUSAL_H

#include <json/json.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace emulated_tv {

// Thrown if the TV cannot do what a client, a user or a scenario requests. The text says why.
// Nothing has been changed.
class Refusal : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// A member of an object. Throws Refusal if it is missing, of another type, or a string that is not
// UTF-8 or contains a zero byte.
bool requiredBool(const Json::Value &object, const char *key);
std::int32_t requiredInt(const Json::Value &object, const char *key);
std::uint32_t requiredUInt(const Json::Value &object, const char *key);
std::string requiredString(const Json::Value &object, const char *key);

}  // namespace emulated_tv

#endif
