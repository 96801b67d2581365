// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SOURCECTL_SOURCE_LIST_H
#define SOURCECTL_SOURCE_LIST_H

#include <json/json.h>

#include <array>
#include <string>
#include <vector>

#include "SourceAPI.h"

using SourceList = std::vector<CSourceItem>;

// The list, by source type. Throws a Failure when it cannot be had.
SourceList readSourceList();

// The user's name of a source, else the detected one.
const std::string &shownName(const CSourceItem &source);

// What is known of a source, apart from settingMethod, which records of the list do not carry.
struct SourceField {
    const char *name;   // for programs
    const char *label;  // for people
    Json::Value (*value)(const CSourceItem &source);
};
extern const std::array<SourceField, 8> sourceFields;

Json::Value toJson(const CSourceItem &source);
Json::Value toJson(const SourceList &sources);

#endif
