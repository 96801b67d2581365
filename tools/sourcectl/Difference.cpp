// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Difference.h"

#include <algorithm>
#include <deque>
#include <map>
#include <tuple>

namespace {

using Identity = std::tuple<std::string, int, int>;

Identity identityOf(const CSourceItem &source) {
    return source.uniqueKey.empty() ? Identity("", source.sourceType, source.mbrActivityIndex)
                                    : Identity(source.uniqueKey, 0, 0);
}

}  // namespace

Difference differenceBetween(const SourceList &before, const SourceList &after) {
    std::map<Identity, std::deque<const CSourceItem *>> gone;
    for (const CSourceItem &source : before) {
        gone[identityOf(source)].push_back(&source);
    }
    Difference difference;
    for (const CSourceItem &source : after) {
        auto &earlier = gone[identityOf(source)];
        if (earlier.empty()) {
            difference.added.push_back(source);
            continue;
        }
        if (toJson(*earlier.front()) != toJson(source)) {
            difference.changed.push_back({*earlier.front(), source});
        }
        earlier.pop_front();
    }
    for (const CSourceItem &source : before) {
        const auto &left = gone[identityOf(source)];
        if (std::find(left.begin(), left.end(), &source) != left.end()) {
            difference.removed.push_back(source);
        }
    }
    return difference;
}
