// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Source.h"

#include <glib.h>

#include "JsonText.h"
#include "Refusal.h"

namespace emulated_tv {

namespace {

std::string percentEncoded(const std::string &text) {
    g_autofree char *encoded = g_uri_escape_string(text.c_str(), nullptr, FALSE);
    return encoded;
}

}  // namespace

Source sourceFromJson(const Json::Value &stored) {
    Source source;
    source.uniqueKey = requiredString(stored, "uniqueKey");
    source.sourceType = requiredInt(stored, "sourceType");
    source.mbrActivityIndex = requiredInt(stored, "mbrActivityIndex");
    source.editName = requiredString(stored, "editName");
    source.detectedName = requiredString(stored, "detectedName");
    source.deviceType = requiredUInt(stored, "deviceType");
    source.connected = requiredBool(stored, "connected");
    source.powerState = requiredInt(stored, "powerState");
    source.editState = requiredInt(stored, "editState");
    source.settingMethod = requiredInt(stored, "settingMethod");
    source.iconPath = requiredString(stored, "iconPath");
    source.usbData = stored["usbData"];
    if (!source.usbData.isNull() && !source.usbData.isObject()) {
        throw Refusal("\"usbData\" must be an object");
    }
    if (stored.isMember("customIcons")) {
        const Json::Value &icons = stored["customIcons"];
        source.customIcons = {requiredString(icons, "source"),
                              requiredString(icons, "launcherFocused"),
                              requiredString(icons, "launcherUnfocused")};
    }
    return source;
}

Json::Value sourceToJson(const Source &source) {
    Json::Value stored;
    stored["uniqueKey"] = source.uniqueKey;
    stored["sourceType"] = source.sourceType;
    stored["mbrActivityIndex"] = source.mbrActivityIndex;
    stored["editName"] = source.editName;
    stored["detectedName"] = source.detectedName;
    stored["deviceType"] = source.deviceType;
    stored["connected"] = source.connected;
    stored["powerState"] = source.powerState;
    stored["editState"] = source.editState;
    stored["settingMethod"] = source.settingMethod;
    stored["iconPath"] = source.iconPath;
    stored["customIcons"]["source"] = source.customIcons.source;
    stored["customIcons"]["launcherFocused"] = source.customIcons.launcherFocused;
    stored["customIcons"]["launcherUnfocused"] = source.customIcons.launcherUnfocused;
    if (source.isUsb()) {
        stored["usbData"] = source.usbData;
    }
    return stored;
}

Json::Value listElement(const Source &source) {
    const std::string &customIcon = source.customIcons.source;
    Json::Value element;
    element["sourceType"] = source.sourceType;
    element["editName"] = percentEncoded(source.editName);
    element["detectedName"] = percentEncoded(source.detectedName);
    element["iconPath"] = customIcon.empty() ? source.iconPath : customIcon;
    element["uniqueKey"] = source.uniqueKey;
    element["connectionState"] = source.connected;
    element["powerState"] = source.powerState;
    element["mbrActivityIndex"] = source.mbrActivityIndex;
    element["settingMethod"] = source.settingMethod;
    return element;
}

Json::Value nameEntry(const Source &source) {
    Json::Value entry;
    entry["SourceType"] = source.sourceType;
    entry["EditName"] = source.editName;
    entry["DetectedName"] = source.detectedName;
    // Readers take the number as signed; what is too large for that must wrap, not fail.
    entry["DeviceType"] = static_cast<std::int32_t>(source.deviceType);
    entry["MbrActivityIndex"] = source.mbrActivityIndex;
    entry["EditState"] = source.editState;
    entry["SettingMethod"] = source.settingMethod;
    return entry;
}

}  // namespace emulated_tv
