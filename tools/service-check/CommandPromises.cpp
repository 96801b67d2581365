// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>

#include <algorithm>

#include "Icons.h"
#include "Promise.h"
#include "Words.h"

// Only what leaves the TV as it is: what is set again is what was there.
namespace {

constexpr auto noShown = "--shown names no source of the list";
constexpr auto noDeviceType = "--source and --device-type name no source of the list and its type";

Finding findDone(const Answer &answer) {
    return readingOf(answer) == Reading::Done ? kept("true")
                                              : broken("\"return_data\" as true", inWords(answer));
}

std::optional<Source> sourceWithKey(const Session &session, const std::optional<std::string> &key) {
    const std::vector<Source> sources = session.sources();
    const Source *source = key ? findKey(sources, *key) : nullptr;
    return source != nullptr ? std::optional(*source) : std::nullopt;
}

// The service chooses among several sources of a type, and may not choose the one that is shown.
bool isOnlyOneOfItsType(const Session &session, const Source &source) {
    const std::vector<Source> sources = session.sources();
    return std::count_if(sources.begin(), sources.end(),
                         [&](const Source &other) { return other.type == source.type; }) == 1;
}

Finding checkConnect(Session &session) {
    const auto source = sourceWithKey(session, session.options.shown);
    if (!source) {
        return skipped(noShown);
    }
    if (!isOnlyOneOfItsType(session, *source)) {
        return skipped("the source that is shown is not the only one of its type");
    }
    Json::Value data;
    data["SourceType"] = source->type;
    return findDone(session.ask("SourceConnect", data));
}

Finding checkRun(Session &session) {
    const auto source = sourceWithKey(session, session.options.shown);
    if (!source) {
        return skipped(noShown);
    }
    Json::Value data;
    data["SourceType"] = source->type;
    data["SourceUniqueKey"] = source->key;
    return findDone(session.ask("RunApp", data));
}

Finding checkDeviceType(Session &session) {
    const auto source = sourceWithKey(session, session.options.source);
    if (!source || !session.options.deviceType) {
        return skipped(noDeviceType);
    }
    Json::Value data;
    data["SourceType"] = source->type;
    data["DeviceType"] = *session.options.deviceType;
    data["MBRActivityIndex"] = source->index;
    return findDone(session.ask("UtilSetSourceDeviceType", data));
}

Finding checkDetected(Session &session) {
    const auto source = sourceWithKey(session, session.options.source);
    if (!source || !session.options.deviceType) {
        return skipped(noDeviceType);
    }
    Json::Value data;
    data["SourceType"] = source->type;
    data["DetectedName"] = source->detectedName;
    data["DetectedDeviceType"] = *session.options.deviceType;
    data["MBRActivityIndex"] = source->index;
    return findDone(session.ask("UtilSetSourceDetectedNameAndDeviceType", data));
}

Answer askForIcons(const Session &session, const Source &source) {
    Json::Value data;
    data["SourceType"] = source.type;
    data["MbrActivityIndex"] = source.index;
    return session.ask("UtilGetCustomIconPath", data);
}

Finding checkGetIcons(Session &session) {
    const std::vector<Source> sources = session.sources();
    for (const Source &source : sources) {
        const Answer answer = askForIcons(session, source);
        const Json::Value *icons = objectOf(answer);
        for (const char *member : iconMembers) {
            if (icons == nullptr || !readsAsText(*icons, member)) {
                return broken("a readable " + quoted(member), inWords(answer));
            }
        }
    }
    return sources.empty() ? skipped("the list is empty")
                           : kept("those of " + std::to_string(sources.size()) + " sources");
}

bool hasNone(const Json::Value &icons) {
    for (const char *member : iconMembers) {
        if (!icons[member].asString().empty()) {
            return false;
        }
    }
    return true;
}

Answer setNoIcons(const Session &session, const Source &source) {
    Json::Value data;
    data["SourceType"] = source.type;
    data["Pid"] = static_cast<Json::Int>(getpid());
    data["MbrActivityIndex"] = source.index;
    for (const char *member : iconMembers) {
        data[member] = "";
    }
    return session.ask("UtilSetCustomIconPath", data);
}

// A service may tie icons to the process that sets them, so those of others are left alone.
Finding checkSetIcons(Session &session) {
    for (const Source &source : session.sources()) {
        if (hasNone(*objectOf(askForIcons(session, source)))) {
            return findDone(setNoIcons(session, source));
        }
    }
    return skipped("every source has icons already");
}

// The first member that an application could not read, or null.
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

Answer askForDevice(const Session &session, const std::string &key) {
    Json::Value data;
    data["SourceUniqueKey"] = key;
    return session.ask("UtilGetUsbData", data);
}

// The list does not tell which source is a USB device, so that every one is asked for.
Finding checkUsb(Session &session) {
    int devices = 0;
    for (const Source &source : session.sources()) {
        const Answer answer = askForDevice(session, source.key);
        if (readingOf(answer) == Reading::Refused) {
            continue;
        }
        const Json::Value *device = objectOf(answer);
        if (device == nullptr || !readsAsBool(*device, "return_data")) {
            return broken("an object with what is known of the device", inWords(answer));
        }
        if (const char *member = unreadableMember(*device)) {
            return broken("a readable " + quoted(member), inWords(answer));
        }
        ++devices;
    }
    return devices == 0 ? skipped("no source is a USB device")
                        : kept(std::to_string(devices) + " devices");
}

}  // namespace

Promises commandPromises() {
    return {
        {"connect-answer", "SourceConnect is answered with true when it was done", "list-elements",
         checkConnect},
        {"run-answer", "RunApp is answered with true when it was done", "list-elements", checkRun},
        {"device-type-answer", "UtilSetSourceDeviceType is answered with true when it was done",
         "list-elements", checkDeviceType},
        {"detected-answer",
         "UtilSetSourceDetectedNameAndDeviceType is answered with true when it was done",
         "list-elements", checkDetected},
        {"get-icons-answer", "UtilGetCustomIconPath is answered with three paths", "list-elements",
         checkGetIcons},
        {"set-icons-answer", "UtilSetCustomIconPath is answered with true when it was done",
         "get-icons-answer", checkSetIcons},
        {"usb-answer", "UtilGetUsbData is answered with what is known of the device",
         "list-elements", checkUsb},
    };
}
