// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ServiceData.h"

#include "JsonText.h"

namespace bench {

Json::Value sourceList(int sources, int generation) {
    Json::Value list(Json::arrayValue);
    for (int type = 1; type <= sources; ++type) {
        const std::string number = std::to_string(type);
        Json::Value source;
        source["sourceType"] = type;
        source["editName"] = "Konsole%20" + number;
        source["detectedName"] = "Console%20" + number;
        source["iconPath"] = "/usr/share/icons/sources/hdmi-focused.png";
        source["uniqueKey"] = "hdmi-" + number;
        source["connectionState"] = true;
        source["powerState"] = 1;
        source["mbrActivityIndex"] = 0;
        source["settingMethod"] = 0;
        list.append(std::move(source));
    }
    list[list.size() - 1]["uniqueKey"] = "generation-" + std::to_string(generation);
    return list;
}

long valuesIn(const Json::Value &value) {
    long count = 1;
    for (const Json::Value &member : value) {
        count += valuesIn(member);
    }
    return count;
}

std::string changeText(int sources, int generation) {
    Json::Value change;
    change["return_data"] = sourceList(sources, generation);
    change["data"]["result"] = 1;
    return support::jsonLine(change);
}

std::string namesDocument(int entries) {
    Json::Value names(Json::arrayValue);
    for (int type = 1; type <= entries; ++type) {
        Json::Value entry;
        entry["SourceType"] = type;
        entry["EditName"] = "Konsole " + std::to_string(type);
        entry["DetectedName"] = "Console";
        entry["DeviceType"] = 3;
        entry["MbrActivityIndex"] = 0;
        entry["EditState"] = 1;
        entry["SettingMethod"] = 0;
        names.append(std::move(entry));
    }
    return support::jsonLine(names);
}

}  // namespace bench
