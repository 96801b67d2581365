// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ReferenceModel.h"

#include <cstring>
#include "GLibOwners.h"
#include "JsonText.h"

namespace reference {

namespace {

bool isOneOf(char character, const char *set) {
    return character != '\0' && std::strchr(set, character) != nullptr;
}

int hexDigit(char character) {
    static const std::string digits = "0123456789abcdef";
    const char lower =
        isOneOf(character, "ABCDEF") ? static_cast<char>(character - 'A' + 'a') : character;
    const std::size_t found = digits.find(lower);
    return found == std::string::npos ? -1 : static_cast<int>(found);
}

// The result of scanning at most two characters as a hexadecimal number.
char escapedByte(const std::string &characters) {
    std::size_t index = 0;
    while (index < characters.size() && isOneOf(characters[index], " \t\n\v\f\r")) {
        ++index;
    }
    bool negative = false;
    if (index < characters.size() && isOneOf(characters[index], "+-")) {
        negative = characters[index++] == '-';
    }
    int value = 0;
    while (index < characters.size() && hexDigit(characters[index]) >= 0) {
        value = value * 16 + hexDigit(characters[index++]);
    }
    return static_cast<char>(negative ? -value : value);
}

Record record(const Json::Value &element, int key) {
    int sourceType = 0;
    std::string editName;
    std::string detectedName;
    std::string iconPath;
    std::string uniqueKey;
    bool connected = false;
    int powerState = 0;
    int activityIndex = 0;
    try {
        sourceType = key;
        editName = decoded(element["editName"].asString());
        detectedName = decoded(element["detectedName"].asString());
        iconPath = element["iconPath"].asString();
        uniqueKey = element["uniqueKey"].asString();
        connected = element["connectionState"].asBool();
        powerState = element["powerState"].asInt();
        activityIndex = element["mbrActivityIndex"].asInt();
    } catch (const Json::Exception &) {
        // The fields before the unreadable one are kept.
    }
    // The setting method is not copied into the list.
    return {sourceType, editName,   detectedName,  iconPath, uniqueKey,
            connected,  powerState, activityIndex, 0};
}

}  // namespace

std::string written(const Json::Value &value) {
    return Json::writeString(Json::StreamWriterBuilder(), value);
}

std::string oneLine(const Json::Value &value) {
    return replaced(value.toStyledString(), "\n", "");
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    if (from.empty()) {
        return text;
    }
    std::size_t position = text.find(from);
    while (position != std::string::npos) {
        text.replace(position, from.size(), to);
        const std::size_t next = position + to.size();
        if (text.size() - 1 <= next) {
            break;
        }
        position = text.find(from, next);
    }
    return text;
}

std::string decoded(const std::string &text) {
    std::string result;
    std::size_t index = 0;
    while (index < text.size()) {
        if (text[index] == '%') {
            result.push_back(escapedByte(text.substr(index + 1, 2)));
            index += 3;
        } else {
            result.push_back(text[index]);
            index += 1;
        }
    }
    return result;
}

Names names(const std::string &document) {
    const Json::Value root = support::parseJson(document).value_or(Json::Value());
    std::vector<Json::Value> members;
    if (root.isArray()) {
        for (Json::ArrayIndex index = 0; index < root.size(); ++index) {
            members.push_back(root[index]);
        }
    } else if (root.isObject()) {
        for (const std::string &name : root.getMemberNames()) {
            members.push_back(root[name]);
        }
    }
    Names result;
    std::string lastDetectedName;
    for (const Json::Value &member : members) {
        if (!member.isObject()) {
            result.insert({-1, {"", lastDetectedName, 0, -2, 0, 0}});
            continue;
        }
        lastDetectedName = member["DetectedName"].asString();
        result.insert({member["SourceType"].asInt(),
                       {member["EditName"].asString(), lastDetectedName,
                        member["DeviceType"].asInt(), member["MbrActivityIndex"].asInt(),
                        member["EditState"].asInt(), member["SettingMethod"].asInt()}});
    }
    return result;
}

Names toNames(const std::multimap<int, SourceNameList> &map) {
    Names result;
    for (const auto &[type, name] : map) {
        result.insert({type,
                       {name.editName, name.detectedName, name.deviceType, name.mbrActivityIndex,
                        name.editState, name.settingMethod}});
    }
    return result;
}

Records toRecords(const std::multimap<int, CSourceItem> &map) {
    Records result;
    for (const auto &[key, item] : map) {
        result.insert(
            {key,
             {item.sourceType, item.editName, item.detectedName, item.iconPath, item.uniqueKey,
              item.connectionState, item.powerState, item.mbrActivityIndex, item.settingMethod}});
    }
    return result;
}

std::optional<std::string> textOf(GVariant *body) {
    const std::string type = g_variant_get_type_string(body);
    if (type != "(suss)" && type != "(sussa(y))") {
        return std::nullopt;
    }
    const support::Variant child(g_variant_get_child_value(body, 3));
    return g_variant_get_string(child.get(), nullptr);
}

std::optional<Json::Value> replyRoot(const std::optional<std::string> &text) {
    std::optional<Json::Value> root = support::parseJson(text.value_or(""));
    if (!root) {
        return Json::Value();
    }
    if ((*root)["dbus_result"].asString() == "fail") {
        return std::nullopt;
    }
    return root;
}

void Client::signal(const std::optional<std::string> &text) {
    const Json::Value root = support::parseJson(text.value_or("")).value_or(Json::Value());
    const Json::Value &given = root["return_data"];
    if (notified && given == list) {
        return;
    }
    updateCache(given);
    announce(root["data"]["result"].asInt());
    notified = true;
}

std::optional<std::string> Client::readList() {
    if (!listFilled) {
        if (!updateCache(Json::Value(""))) {
            return std::nullopt;
        }
        announce(0);
    }
    return oneLine(list);
}

bool Client::readRecords(Records &records) {
    if (!listFilled && !updateCache(Json::Value(""))) {
        return false;
    }
    try {
        for (const Json::Value &element : std::as_const(list)) {
            const int key = element["sourceType"].asInt();
            records.insert({key, record(element, key)});
        }
        return true;
    } catch (const Json::Exception &) {
        return false;
    }
}

bool Client::updateCache(const Json::Value &given) {
    nameMap = settings ? names(*settings) : Names();
    namesFilled = settings.has_value();
    if (given == Json::Value("")) {
        listFilled = fetchList();
    } else {
        list = given;
        listFilled = true;
    }
    notified = false;
    return namesFilled && listFilled;
}

bool Client::fetchList() {
    if (std::exchange(failsOnce, false)) {
        return false;
    }
    try {
        const std::optional<Json::Value> root = calls ? replyRoot(replyText) : std::nullopt;
        if (!root) {
            return false;
        }
        list = std::as_const(*root)["return_data"];
        return true;
    } catch (const Json::Exception &) {
        return false;
    }
}

void Client::announce(int value) {
    m_pending.push_back(value);
    if (m_announcing) {
        return;
    }
    m_announcing = true;
    while (!m_pending.empty()) {
        const int now = m_pending.front();
        m_pending.erase(m_pending.begin());
        callbackCalls.emplace_back(now, 1);
        callbackCalls.emplace_back(now, 2);
        if (callbackReads) {
            try {
                readList();
            } catch (const Json::Exception &) {
                // Must not reach the library.
            }
        }
    }
    m_announcing = false;
}

}  // namespace reference
