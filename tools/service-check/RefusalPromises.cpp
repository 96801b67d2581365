// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>

#include "Icons.h"
#include "Promise.h"
#include "Words.h"

// Every command, asked about a source that is not in the list. No error, on which an application
// could not tell a refusal from a service that is broken.
namespace {

Finding findRefused(const Answer &answer) {
    return readingOf(answer) == Reading::Refused
               ? kept(inWords(answer))
               : broken("\"return_data\" as false", inWords(answer));
}

Json::Value ofUnknownType(const Session &session) {
    Json::Value data;
    data["SourceType"] = unknownType(session.list);
    return data;
}

Finding checkConnect(Session &session) {
    return findRefused(session.ask("SourceConnect", ofUnknownType(session)));
}

Finding checkRun(Session &session) {
    Json::Value data = ofUnknownType(session);
    data["SourceUniqueKey"] = unknownKey(session.list);
    return findRefused(session.ask("RunApp", data));
}

Finding checkRename(Session &session) {
    Json::Value data = ofUnknownType(session);
    data["EditName"] = "";
    data["MBRActivityIndex"] = 0;
    return findRefused(session.ask("UtilSetSourceEditName", data));
}

Finding checkDeviceType(Session &session) {
    Json::Value data = ofUnknownType(session);
    data["DeviceType"] = 0U;
    data["MBRActivityIndex"] = 0;
    return findRefused(session.ask("UtilSetSourceDeviceType", data));
}

Finding checkDetected(Session &session) {
    Json::Value data = ofUnknownType(session);
    data["DetectedName"] = "";
    data["DetectedDeviceType"] = 0U;
    data["MBRActivityIndex"] = 0;
    return findRefused(session.ask("UtilSetSourceDetectedNameAndDeviceType", data));
}

Finding checkSetIcons(Session &session) {
    Json::Value data = ofUnknownType(session);
    data["Pid"] = static_cast<Json::Int>(getpid());
    data["MbrActivityIndex"] = 0;
    for (const char *icon : iconMembers) {
        data[icon] = "";
    }
    return findRefused(session.ask("UtilSetCustomIconPath", data));
}

// Applications look at the paths alone, so that none at all is a refusal, too.
Finding checkGetIcons(Session &session) {
    Json::Value data = ofUnknownType(session);
    data["MbrActivityIndex"] = 0;
    const Answer answer = session.ask("UtilGetCustomIconPath", data);
    if (readingOf(answer) == Reading::Refused) {
        return kept(inWords(answer));
    }
    const Json::Value *icons = objectOf(answer);
    for (const char *icon : iconMembers) {
        if (icons == nullptr || !readsAsText(*icons, icon) || !(*icons)[icon].asString().empty()) {
            return broken("\"return_data\" as false, or no paths", inWords(answer));
        }
    }
    return kept(inWords(answer));
}

Finding checkUsb(Session &session) {
    Json::Value data;
    data["SourceUniqueKey"] = unknownKey(session.list);
    return findRefused(session.ask("UtilGetUsbData", data));
}

}  // namespace

Promises refusalPromises() {
    const auto promise = [](const char *id, const std::string &command, auto check) {
        return Promise{id, command + " of an unknown source is refused, which is no error",
                       "list-answer", check};
    };
    return {
        promise("connect-refusal", "SourceConnect", checkConnect),
        promise("run-refusal", "RunApp", checkRun),
        promise("rename-refusal", "UtilSetSourceEditName", checkRename),
        promise("device-type-refusal", "UtilSetSourceDeviceType", checkDeviceType),
        promise("detected-refusal", "UtilSetSourceDetectedNameAndDeviceType", checkDetected),
        promise("set-icons-refusal", "UtilSetCustomIconPath", checkSetIcons),
        promise("get-icons-refusal", "UtilGetCustomIconPath", checkGetIcons),
        promise("usb-refusal", "UtilGetUsbData", checkUsb),
    };
}
