// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceList.h"

#include <algorithm>
#include <deque>
#include <map>
#include <tuple>

#include "TerminalText.h"

namespace sourcectl {

using support::printable;
using support::quoted;
using support::validUtf8;

namespace {

using Identity = std::tuple<std::string, int, int>;

Identity identityOf(const CSourceItem &source) {
    return source.uniqueKey.empty() ? Identity("", source.sourceType, source.mbrActivityIndex)
                                    : Identity(source.uniqueKey, 0, 0);
}

std::string title(const CSourceItem &source) {
    const std::string &name = displayName(source);
    const std::string key =
        source.uniqueKey.empty() ? std::string() : ", key " + printable(source.uniqueKey);
    return (name.empty() ? "unnamed source" : quoted(name)) + " (type " +
           std::to_string(source.sourceType) + ", index " +
           std::to_string(source.mbrActivityIndex) + key + ")";
}

std::string valueText(const Json::Value &value) {
    if (value.isBool()) {
        return value.asBool() ? "yes" : "no";
    }
    return value.isString() ? quoted(value.asString()) : value.asString();
}

std::string changedFields(const SourceChange &change) {
    std::string text;
    for (const SourceField &field : sourceFields) {
        const Json::Value before = field.value(change.before);
        const Json::Value after = field.value(change.after);
        if (before != after) {
            text += text.empty() ? "" : ", ";
            text += field.label + (" " + valueText(before)) + " → " + valueText(after);
        }
    }
    return text;
}

}  // namespace

const std::string &displayName(const CSourceItem &source) {
    return source.editName.empty() ? source.detectedName : source.editName;
}

const std::array<SourceField, 8> sourceFields = {{
    {"sourceType", "type",
     [](const CSourceItem &source) { return Json::Value(source.sourceType); }},
    {"mbrActivityIndex", "index",
     [](const CSourceItem &source) { return Json::Value(source.mbrActivityIndex); }},
    {"uniqueKey", "key",
     [](const CSourceItem &source) { return Json::Value(validUtf8(source.uniqueKey)); }},
    {"editName", "name",
     [](const CSourceItem &source) { return Json::Value(validUtf8(source.editName)); }},
    {"detectedName", "detected name",
     [](const CSourceItem &source) { return Json::Value(validUtf8(source.detectedName)); }},
    {"iconPath", "icon",
     [](const CSourceItem &source) { return Json::Value(validUtf8(source.iconPath)); }},
    {"connectionState", "connected",
     [](const CSourceItem &source) { return Json::Value(source.connectionState); }},
    {"powerState", "power",
     [](const CSourceItem &source) { return Json::Value(source.powerState); }},
}};

Json::Value toJson(const CSourceItem &source) {
    Json::Value object;
    for (const SourceField &field : sourceFields) {
        object[field.name] = field.value(source);
    }
    return object;
}

Json::Value toJson(const SourceList &sources) {
    Json::Value array(Json::arrayValue);
    for (const CSourceItem &source : sources) {
        array.append(toJson(source));
    }
    return array;
}

Difference differenceBetween(const SourceList &before, const SourceList &after) {
    std::map<Identity, std::deque<const CSourceItem *>> unmatched;
    for (const CSourceItem &source : before) {
        unmatched[identityOf(source)].push_back(&source);
    }
    Difference difference;
    for (const CSourceItem &source : after) {
        auto &earlier = unmatched[identityOf(source)];
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
        const auto &left = unmatched[identityOf(source)];
        if (std::find(left.begin(), left.end(), &source) != left.end()) {
            difference.removed.push_back(source);
        }
    }
    return difference;
}

std::vector<std::string> describe(const Difference &difference) {
    std::vector<std::string> lines;
    for (const CSourceItem &source : difference.added) {
        lines.push_back("added    " + title(source));
    }
    for (const CSourceItem &source : difference.removed) {
        lines.push_back("removed  " + title(source));
    }
    for (const SourceChange &change : difference.changed) {
        lines.push_back("changed  " + title(change.after) + ": " + changedFields(change));
    }
    return lines;
}

Json::Value toJson(const Difference &difference) {
    Json::Value report;
    report["added"] = toJson(difference.added);
    report["removed"] = toJson(difference.removed);
    report["changed"] = Json::Value(Json::arrayValue);
    for (const SourceChange &change : difference.changed) {
        Json::Value pair;
        pair["before"] = toJson(change.before);
        pair["after"] = toJson(change.after);
        report["changed"].append(pair);
    }
    return report;
}

}  // namespace sourcectl
