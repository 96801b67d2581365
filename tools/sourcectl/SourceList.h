// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The list of sources, its JSON form, and the difference of two lists.
#ifndef SOURCECTL_SOURCE_LIST_H
#define SOURCECTL_SOURCE_LIST_H

#include <json/json.h>

#include <array>
#include <string>
#include <vector>

#include "SourceAPI.h"

namespace sourcectl {

using SourceList = std::vector<CSourceItem>;

// The user's name of a source or, without one, the detected name.
const std::string &displayName(const CSourceItem &source);

// The members of a source in output. settingMethod is left out: the records of the list lack it.
struct SourceField {
    const char *name;   // in JSON
    const char *label;  // in text
    Json::Value (*value)(const CSourceItem &source);
};
extern const std::array<SourceField, 8> sourceFields;

Json::Value toJson(const CSourceItem &source);
Json::Value toJson(const SourceList &sources);

struct SourceChange {
    CSourceItem before;
    CSourceItem after;
};

// The order of the sources is irrelevant.
struct Difference {
    SourceList added;
    SourceList removed;
    std::vector<SourceChange> changed;

    bool isEmpty() const { return added.empty() && removed.empty() && changed.empty(); }
};

// Sources are matched by unique key; those without a key by type and index. Several sources with
// the same identity are matched in their order.
Difference differenceBetween(const SourceList &before, const SourceList &after);

// One line for each source in the difference.
std::vector<std::string> describe(const Difference &difference);

// {"added": [...], "removed": [...], "changed": [{"before": ..., "after": ...}]}
Json::Value toJson(const Difference &difference);

}  // namespace sourcectl

#endif
