// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceModel.h"

#include <glib.h>
#include <algorithm>

#include "Refusal.h"
#include "SourceTypes.h"

namespace emulated_tv {

namespace {

std::string percentEncoded(const std::string &text) {
    g_autofree char *encoded = g_uri_escape_string(text.c_str(), nullptr, FALSE);
    return encoded;
}

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
    // The library reads a signed number and throws if it is out of range.
    entry["DeviceType"] = static_cast<std::int32_t>(source.deviceType);
    entry["MbrActivityIndex"] = source.mbrActivityIndex;
    entry["EditState"] = source.editState;
    entry["SettingMethod"] = source.settingMethod;
    return entry;
}

constexpr std::int32_t powerOff = 0;
constexpr std::int32_t powerOn = 1;
constexpr std::int32_t setByUser = 1;

constexpr std::uint32_t storageDevice = 6;

void setUserName(Source &source, const std::string &name) {
    source.editName = name;
    source.editState = name.empty() ? 0 : 1;
    source.settingMethod = setByUser;
}

bool isKeyOfUsbDevice(const std::string &key) {
    constexpr auto allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    return key.rfind("usb", 0) == 0 && key.find_first_not_of(allowed) == std::string::npos;
}

Json::Value diskData(const std::string &uniqueKey, const std::string &name) {
    Json::Value data;
    data["calledApp"] = "media-browser";
    data["deviceType"] = "storage";
    data["deviceName"] = name;
    data["isPTP"] = false;
    data["vendorName"] = "Generic";
    data["volumeName"] = name;
    data["devicePath"] = "/media/" + uniqueKey;
    return data;
}

std::string portName(const Source &source) {
    const char *name = onScreenName(source.sourceType);
    return name != nullptr ? name : source.uniqueKey;
}

}  // namespace

SourceModel SourceModel::fromJson(const Json::Value &document) {
    SourceModel model;
    model.m_selected = requiredString(document, "selected");
    if (!document["sources"].isArray()) {
        throw Refusal("\"sources\" must be given as an array");
    }
    for (const Json::Value &stored : document["sources"]) {
        model.m_sources.push_back(sourceFromJson(stored));
    }
    if (!model.m_sources.empty()) {
        model.find(model.m_selected);
    }
    return model;
}

Json::Value SourceModel::toJson() const {
    Json::Value document;
    document["selected"] = m_selected;
    document["sources"] = Json::arrayValue;
    for (const Source &source : m_sources) {
        document["sources"].append(sourceToJson(source));
    }
    return document;
}

Json::Value SourceModel::list() const {
    Json::Value list = Json::arrayValue;
    for (const Source &source : m_sources) {
        list.append(listElement(source));
    }
    return list;
}

Json::Value SourceModel::names() const {
    Json::Value names = Json::arrayValue;
    for (const Source &source : m_sources) {
        names.append(nameEntry(source));
    }
    return names;
}

const Source &SourceModel::source(const std::string &uniqueKey) const {
    return *const_cast<SourceModel *>(this)->find(uniqueKey);
}

const Source &SourceModel::source(std::int32_t sourceType, std::int32_t mbrActivityIndex) const {
    return *const_cast<SourceModel *>(this)->find(sourceType, mbrActivityIndex);
}

void SourceModel::select(std::int32_t sourceType) {
    const auto found = std::find_if(m_sources.begin(), m_sources.end(), [&](const Source &source) {
        return source.sourceType == sourceType;
    });
    if (found == m_sources.end()) {
        throw Refusal("there is no source of type " + std::to_string(sourceType));
    }
    m_selected = found->uniqueKey;
}

void SourceModel::select(std::int32_t sourceType, const std::string &uniqueKey) {
    if (find(uniqueKey)->sourceType != sourceType) {
        throw Refusal("\"" + uniqueKey + "\" is not of type " + std::to_string(sourceType));
    }
    m_selected = uniqueKey;
}

void SourceModel::setDetected(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                              const std::string &name, std::uint32_t deviceType) {
    const Position source = find(sourceType, mbrActivityIndex);
    source->detectedName = name;
    source->deviceType = deviceType;
}

void SourceModel::setEditName(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                              const std::string &name) {
    setUserName(*find(sourceType, mbrActivityIndex), name);
}

void SourceModel::setDeviceType(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                                std::uint32_t deviceType) {
    const Position source = find(sourceType, mbrActivityIndex);
    source->deviceType = deviceType;
    source->settingMethod = setByUser;
}

void SourceModel::setCustomIcons(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                                 const CustomIcons &icons) {
    find(sourceType, mbrActivityIndex)->customIcons = icons;
}

void SourceModel::plug(const std::string &uniqueKey, const std::optional<std::string> &name,
                       std::optional<std::uint32_t> deviceType) {
    const bool isNew = std::none_of(m_sources.begin(), m_sources.end(), [&](const Source &source) {
        return source.uniqueKey == uniqueKey;
    });
    Source &source = isNew && isKeyOfUsbDevice(uniqueKey)
                         ? addUsbDevice(uniqueKey, name.value_or("USB storage"))
                         : *find(uniqueKey);
    if (!source.connected) {
        source.connected = true;
        source.powerState = powerOn;
        source.detectedName = portName(source) + " device";
    }
    source.detectedName = name.value_or(source.detectedName);
    source.deviceType = deviceType.value_or(source.deviceType);
}

void SourceModel::unplug(const std::string &uniqueKey) {
    const Position source = find(uniqueKey);
    if (source->isUsb()) {
        m_sources.erase(source);
        if (m_selected == uniqueKey) {
            m_selected = m_sources.empty() ? "" : m_sources.front().uniqueKey;
        }
        return;
    }
    source->connected = false;
    source->powerState = powerOff;
    source->detectedName.clear();
    source->deviceType = 0;
}

void SourceModel::rename(const std::string &uniqueKey, const std::string &name) {
    setUserName(*find(uniqueKey), name);
}

void SourceModel::setPower(const std::string &uniqueKey, bool on) {
    const Position source = find(uniqueKey);
    if (!source->connected) {
        throw Refusal("nothing is plugged into \"" + uniqueKey + "\"");
    }
    source->powerState = on ? powerOn : powerOff;
}

SourceModel::Position SourceModel::find(const std::string &uniqueKey) {
    const Position found =
        std::find_if(m_sources.begin(), m_sources.end(),
                     [&](const Source &source) { return source.uniqueKey == uniqueKey; });
    if (found == m_sources.end()) {
        throw Refusal("there is no source \"" + uniqueKey + "\"; the TV has " + keys());
    }
    return found;
}

SourceModel::Position SourceModel::find(std::int32_t sourceType, std::int32_t mbrActivityIndex) {
    const Position found =
        std::find_if(m_sources.begin(), m_sources.end(), [&](const Source &source) {
            return source.sourceType == sourceType && source.mbrActivityIndex == mbrActivityIndex;
        });
    if (found == m_sources.end()) {
        throw Refusal("there is no source of type " + std::to_string(sourceType) +
                      " with activity index " + std::to_string(mbrActivityIndex));
    }
    return found;
}

Source &SourceModel::addUsbDevice(const std::string &uniqueKey, const std::string &name) {
    constexpr auto usb = static_cast<std::int32_t>(SourceType::Usb);
    std::int32_t nextIndex = 0;
    for (const Source &source : m_sources) {
        if (source.sourceType == usb) {
            nextIndex = std::max(nextIndex, source.mbrActivityIndex + 1);
        }
    }
    Source source;
    source.uniqueKey = uniqueKey;
    source.sourceType = usb;
    source.mbrActivityIndex = nextIndex;
    source.detectedName = name;
    source.deviceType = storageDevice;
    source.connected = true;
    source.powerState = powerOn;
    source.iconPath = "/usr/share/tv/icons/usb-disk.png";
    source.usbData = diskData(uniqueKey, name);
    return m_sources.emplace_back(std::move(source));
}

std::string SourceModel::keys() const {
    std::string keys;
    for (const Source &source : m_sources) {
        keys += (keys.empty() ? "" : ", ") + source.uniqueKey;
    }
    return keys;
}

}  // namespace emulated_tv
