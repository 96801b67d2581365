// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Commands.h"

#include <stdexcept>

#include "JsonText.h"
#include "Refusal.h"

namespace emulated_tv {

namespace {

Json::Value refused(const std::string &why) {
    Json::Value reply;
    reply["return_data"] = false;
    reply["error"] = why;
    return reply;
}

Json::Value failed(const std::string &why) {
    Json::Value reply = refused(why);
    reply["dbus_result"] = "fail";
    return reply;
}

// The member is spelled differently in the commands for names and device types and in those for
// icons.
constexpr auto indexOfNames = "MBRActivityIndex";
constexpr auto indexOfIcons = "MbrActivityIndex";

}  // namespace

std::vector<std::string> Commands::names() {
    std::vector<std::string> names;
    for (const auto &[name, command] : table()) {
        names.push_back(name);
    }
    return names;
}

std::string Commands::nameIn(const std::string &request) {
    const Json::Value document = support::parseJson(request).value_or(Json::nullValue);
    const Json::Value method = document.isObject() ? document["method"] : Json::Value();
    return method.isString() ? method.asString() : "";
}

Commands::Answer Commands::answer(const std::string &request) {
    const auto document = support::parseJson(request);
    if (!document || !document->isObject()) {
        return {support::jsonLine(failed("the request is not a JSON object")), std::nullopt};
    }
    const Command command = find(*document);
    if (command == nullptr) {
        return {support::jsonLine(
                    failed("unknown command " + support::jsonLine((*document)["method"]))),
                std::nullopt};
    }
    try {
        Json::Value reply;
        reply["return_data"] = true;
        const auto change = (this->*command)((*document)["data"], reply);
        return {support::jsonLine(reply), change};
    } catch (const Refusal &refusal) {
        return {support::jsonLine(refused(refusal.what())), std::nullopt};
    } catch (const std::runtime_error &error) {
        return {support::jsonLine(failed(error.what())), std::nullopt};
    }
}

const std::map<std::string, Commands::Command> &Commands::table() {
    static const std::map<std::string, Command> commands = {
        {"SourceConnect", &Commands::sourceConnect},
        {"RunApp", &Commands::runApp},
        {"UtilGetSourceList", &Commands::getSourceList},
        {"UtilSetSourceDetectedNameAndDeviceType", &Commands::setDetected},
        {"UtilSetSourceEditName", &Commands::setEditName},
        {"UtilSetSourceDeviceType", &Commands::setDeviceType},
        {"UtilSetCustomIconPath", &Commands::setCustomIconPath},
        {"UtilGetCustomIconPath", &Commands::getCustomIconPath},
        {"UtilGetUsbData", &Commands::getUsbData},
    };
    return commands;
}

Commands::Command Commands::find(const Json::Value &request) {
    const Json::Value &method = request["method"];
    const auto found = method.isString() ? table().find(method.asString()) : table().end();
    return found != table().end() ? found->second : nullptr;
}

std::optional<ListChange> Commands::sourceConnect(const Json::Value &data, Json::Value &) {
    const auto type = requiredInt(data, "SourceType");
    return m_store.change(ListChange::Described, [&](SourceModel &model) { model.select(type); });
}

std::optional<ListChange> Commands::runApp(const Json::Value &data, Json::Value &) {
    const auto type = requiredInt(data, "SourceType");
    const auto key = requiredString(data, "SourceUniqueKey");
    return m_store.change(ListChange::Described,
                          [&](SourceModel &model) { model.select(type, key); });
}

std::optional<ListChange> Commands::getSourceList(const Json::Value &, Json::Value &reply) {
    reply["return_data"] = m_store.model().list();
    return std::nullopt;
}

std::optional<ListChange> Commands::setDetected(const Json::Value &data, Json::Value &) {
    const auto type = requiredInt(data, "SourceType");
    const auto name = requiredString(data, "DetectedName");
    const auto deviceType = requiredUInt(data, "DetectedDeviceType");
    const auto index = requiredInt(data, indexOfNames);
    return m_store.change(ListChange::Described, [&](SourceModel &model) {
        model.setDetected(type, index, name, deviceType);
    });
}

std::optional<ListChange> Commands::setEditName(const Json::Value &data, Json::Value &) {
    const auto type = requiredInt(data, "SourceType");
    const auto name = requiredString(data, "EditName");
    const auto index = requiredInt(data, indexOfNames);
    return m_store.change(ListChange::Described,
                          [&](SourceModel &model) { model.setEditName(type, index, name); });
}

std::optional<ListChange> Commands::setDeviceType(const Json::Value &data, Json::Value &) {
    const auto type = requiredInt(data, "SourceType");
    const auto deviceType = requiredUInt(data, "DeviceType");
    const auto index = requiredInt(data, indexOfNames);
    return m_store.change(ListChange::Described, [&](SourceModel &model) {
        model.setDeviceType(type, index, deviceType);
    });
}

std::optional<ListChange> Commands::setCustomIconPath(const Json::Value &data, Json::Value &) {
    const auto type = requiredInt(data, "SourceType");
    requiredInt(data, "Pid");
    const auto index = requiredInt(data, indexOfIcons);
    const CustomIcons icons = {requiredString(data, "SourceIconPath"),
                               requiredString(data, "LauncherFocusedIconPath"),
                               requiredString(data, "LauncherUnfocusedIconPath")};
    return m_store.change(ListChange::Icon,
                          [&](SourceModel &model) { model.setCustomIcons(type, index, icons); });
}

std::optional<ListChange> Commands::getCustomIconPath(const Json::Value &data, Json::Value &reply) {
    const auto type = requiredInt(data, "SourceType");
    const auto index = requiredInt(data, indexOfIcons);
    const CustomIcons &icons = m_store.model().source(type, index).customIcons;
    reply["SourceIconPath"] = icons.source;
    reply["LauncherFocusedIconPath"] = icons.launcherFocused;
    reply["LauncherUnfocusedIconPath"] = icons.launcherUnfocused;
    return std::nullopt;
}

std::optional<ListChange> Commands::getUsbData(const Json::Value &data, Json::Value &reply) {
    const auto key = requiredString(data, "SourceUniqueKey");
    const Source &source = m_store.model().source(key);
    if (!source.isUsb()) {
        throw Refusal("\"" + key + "\" is not a USB device");
    }
    reply = source.usbData;
    reply["return_data"] = true;
    return std::nullopt;
}

}  // namespace emulated_tv
