// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceList.h"

#include <map>
#include <memory>

#include "Failure.h"
#include "ServiceProbe.h"
#include "Text.h"

SourceList readSourceList() {
    std::shared_ptr<std::multimap<int, CSourceItem>> records;
    if (!CSourceAPI::Get()->GetSourceList(&records)) {
        throw Failure("cannot read the source list: " +
                      whyUnreachable().value_or(
                          "the source service refused it, or part of it is unreadable"));
    }
    SourceList sources;
    for (const auto &[type, source] : *records) {
        sources.push_back(source);
    }
    return sources;
}

const std::string &shownName(const CSourceItem &source) {
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
