// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SERVICE_CHECK_SOURCE_H
#define SERVICE_CHECK_SOURCE_H

#include <json/json.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// One source of the service's list, as far as the check needs it.
struct Source {
    std::int32_t type = 0;
    std::int32_t index = 0;
    std::string key;
    std::string editName;
    std::string detectedName;
};

// For a list whose elements can be read.
std::vector<Source> sourcesIn(const Json::Value &list);
const Source *findKey(const std::vector<Source> &sources, const std::string &key);

// No value when an escape is incomplete, or when the bytes are no UTF-8.
std::optional<std::string> percentDecoded(const std::string &text);

// The element of that source, or null.
Json::Value elementOf(const Json::Value &list, const Source &source);

// Such as no source of the list has.
std::int32_t unknownType(const Json::Value &list);
std::string unknownKey(const Json::Value &list);

#endif
