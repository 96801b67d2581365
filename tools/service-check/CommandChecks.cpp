// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Every command, executed for known sources. Each sets a value that is set already, so that the TV
// does not change.
#include <unistd.h>

#include <algorithm>

#include "Check.h"

namespace service_check {

namespace {

constexpr auto noShown = "--shown is not the key of a source in the list";
constexpr auto noDeviceType =
    "--source is not the key of a source in the list, or --device-type is missing";

Result expectDone(const Reply &reply) {
    return resultOf(reply) == CommandResult::Done
               ? passed("true")
               : failed("\"return_data\" as true", describe(reply));
}

std::optional<Source> sourceWithKey(const Session &session, const std::optional<std::string> &key) {
    const std::vector<Source> sources = session.sources();
    const Source *source = key ? findKey(sources, *key) : nullptr;
    return source != nullptr ? std::optional(*source) : std::nullopt;
}

// Of several sources of one type the service chooses, possibly another one than is shown.
bool isOnlyOneOfItsType(const Session &session, const Source &source) {
    const std::vector<Source> sources = session.sources();
    return std::count_if(sources.begin(), sources.end(),
                         [&](const Source &other) { return other.type == source.type; }) == 1;
}

Result checkConnect(Session &session) {
    const auto source = sourceWithKey(session, session.options.shown);
    if (!source) {
        return skipped(noShown);
    }
    if (!isOnlyOneOfItsType(session, *source)) {
        return skipped("several sources have the type of the one that is shown");
    }
    Json::Value data;
    data["SourceType"] = source->type;
    return expectDone(session.request("SourceConnect", data));
}

Result checkRun(Session &session) {
    const auto source = sourceWithKey(session, session.options.shown);
    if (!source) {
        return skipped(noShown);
    }
    Json::Value data;
    data["SourceType"] = source->type;
    data["SourceUniqueKey"] = source->key;
    return expectDone(session.request("RunApp", data));
}

Result checkDeviceType(Session &session) {
    const auto source = sourceWithKey(session, session.options.source);
    if (!source || !session.options.deviceType) {
        return skipped(noDeviceType);
    }
    Json::Value data;
    data["SourceType"] = source->type;
    data["DeviceType"] = *session.options.deviceType;
    data["MBRActivityIndex"] = source->index;
    return expectDone(session.request("UtilSetSourceDeviceType", data));
}

Result checkDetected(Session &session) {
    const auto source = sourceWithKey(session, session.options.source);
    if (!source || !session.options.deviceType) {
        return skipped(noDeviceType);
    }
    Json::Value data;
    data["SourceType"] = source->type;
    data["DetectedName"] = source->detectedName;
    data["DetectedDeviceType"] = *session.options.deviceType;
    data["MBRActivityIndex"] = source->index;
    return expectDone(session.request("UtilSetSourceDetectedNameAndDeviceType", data));
}

Reply requestIcons(const Session &session, const Source &source) {
    Json::Value data;
    data["SourceType"] = source.type;
    data["MbrActivityIndex"] = source.index;
    return session.request("UtilGetCustomIconPath", data);
}

Result checkGetIcons(Session &session) {
    const std::vector<Source> sources = session.sources();
    for (const Source &source : sources) {
        const Reply reply = requestIcons(session, source);
        const Json::Value *icons = objectOf(reply);
        for (const char *member : iconMembers) {
            if (icons == nullptr || !readsAsText(*icons, member)) {
                return failed("a readable " + quoted(member), describe(reply));
            }
        }
    }
    return sources.empty() ? skipped("the list is empty")
                           : passed("the icons of " + std::to_string(sources.size()) + " sources");
}

bool hasNoIcons(const Json::Value &icons) {
    for (const char *member : iconMembers) {
        if (!icons[member].asString().empty()) {
            return false;
        }
    }
    return true;
}

Reply setEmptyIcons(const Session &session, const Source &source) {
    Json::Value data;
    data["SourceType"] = source.type;
    data["Pid"] = static_cast<Json::Int>(getpid());
    data["MbrActivityIndex"] = source.index;
    for (const char *member : iconMembers) {
        data[member] = "";
    }
    return session.request("UtilSetCustomIconPath", data);
}

// A service may associate icons with the process that set them, so existing icons are not changed.
Result checkSetIcons(Session &session) {
    for (const Source &source : session.sources()) {
        if (hasNoIcons(*objectOf(requestIcons(session, source)))) {
            return expectDone(setEmptyIcons(session, source));
        }
    }
    return skipped("every source has icons already");
}

// The first member that an application cannot read, or null.
const char *unreadableMember(const Json::Value &device) {
    if (!readsAsBool(device, "isPTP")) {
        return "isPTP";
    }
    for (const char *text : {"calledApp", "deviceType", "deviceName"}) {
        if (!readsAsText(device, text)) {
            return text;
        }
    }
    const bool isPtp = device["isPTP"].asBool();
    for (const char *text : {"deviceBusNumber", "deviceAddressNumber"}) {
        if (isPtp && !readsAsText(device, text)) {
            return text;
        }
    }
    for (const char *text : {"vendorName", "volumeName", "devicePath"}) {
        if (!isPtp && !readsAsText(device, text)) {
            return text;
        }
    }
    return nullptr;
}

Reply requestUsbData(const Session &session, const std::string &key) {
    Json::Value data;
    data["SourceUniqueKey"] = key;
    return session.request("UtilGetUsbData", data);
}

// The list does not mark USB devices, so the data is requested for every source.
Result checkUsb(Session &session) {
    int devices = 0;
    for (const Source &source : session.sources()) {
        const Reply reply = requestUsbData(session, source.key);
        if (resultOf(reply) == CommandResult::Refused) {
            continue;
        }
        const Json::Value *device = objectOf(reply);
        if (device == nullptr || !readsAsBool(*device, "return_data")) {
            return failed("an object with the properties of the device", describe(reply));
        }
        if (const char *member = unreadableMember(*device)) {
            return failed("a readable " + quoted(member), describe(reply));
        }
        ++devices;
    }
    return devices == 0 ? skipped("no source is a USB device")
                        : passed(std::to_string(devices) + " devices");
}

}  // namespace

Checks commandChecks() {
    return {
        {"connect-answer", "SourceConnect returns true on success", "list-elements", checkConnect},
        {"run-answer", "RunApp returns true on success", "list-elements", checkRun},
        {"device-type-answer", "UtilSetSourceDeviceType returns true on success", "list-elements",
         checkDeviceType},
        {"detected-answer", "UtilSetSourceDetectedNameAndDeviceType returns true on success",
         "list-elements", checkDetected},
        {"get-icons-answer", "UtilGetCustomIconPath returns three paths", "list-elements",
         checkGetIcons},
        {"set-icons-answer", "UtilSetCustomIconPath returns true on success", "get-icons-answer",
         checkSetIcons},
        {"usb-answer", "UtilGetUsbData returns the properties of the device", "list-elements",
         checkUsb},
    };
}

}  // namespace service_check
