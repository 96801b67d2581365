// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "DifferenceReport.h"

#include "Text.h"

namespace {

std::string title(const CSourceItem &source) {
    const std::string &name = shownName(source);
    const std::string key =
        source.uniqueKey.empty() ? std::string() : ", key " + printable(source.uniqueKey);
    return (name.empty() ? "unnamed source" : quoted(name)) + " (type " +
           std::to_string(source.sourceType) + ", index " +
           std::to_string(source.mbrActivityIndex) + key + ")";
}

std::string shown(const Json::Value &value) {
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
            text += field.label + (" " + shown(before)) + " → " + shown(after);
        }
    }
    return text;
}

}  // namespace

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
