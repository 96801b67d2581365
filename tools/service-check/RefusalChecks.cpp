// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Requests that cannot be carried out: every command for an unknown source, and requests that are
// malformed. An error instead of a refusal would look like a broken service to an application; and
// any process on the bus may send a malformed request.
#include <unistd.h>

#include "Check.h"

namespace service_check {

namespace {

Result expectRefused(const Reply &reply) {
    return resultOf(reply) == CommandResult::Refused
               ? passed(describe(reply))
               : failed("\"return_data\" as false", describe(reply));
}

Json::Value dataOfUnknownType(const Session &session) {
    Json::Value data;
    data["SourceType"] = unknownType(session.list);
    return data;
}

Result checkConnect(Session &session) {
    return expectRefused(session.request("SourceConnect", dataOfUnknownType(session)));
}

Result checkRun(Session &session) {
    Json::Value data = dataOfUnknownType(session);
    data["SourceUniqueKey"] = unknownKey(session.list);
    return expectRefused(session.request("RunApp", data));
}

Result checkRename(Session &session) {
    Json::Value data = dataOfUnknownType(session);
    data["EditName"] = "";
    data["MBRActivityIndex"] = 0;
    return expectRefused(session.request("UtilSetSourceEditName", data));
}

Result checkDeviceType(Session &session) {
    Json::Value data = dataOfUnknownType(session);
    data["DeviceType"] = 0U;
    data["MBRActivityIndex"] = 0;
    return expectRefused(session.request("UtilSetSourceDeviceType", data));
}

Result checkDetected(Session &session) {
    Json::Value data = dataOfUnknownType(session);
    data["DetectedName"] = "";
    data["DetectedDeviceType"] = 0U;
    data["MBRActivityIndex"] = 0;
    return expectRefused(session.request("UtilSetSourceDetectedNameAndDeviceType", data));
}

Result checkSetIcons(Session &session) {
    Json::Value data = dataOfUnknownType(session);
    data["Pid"] = static_cast<Json::Int>(getpid());
    data["MbrActivityIndex"] = 0;
    for (const char *icon : iconMembers) {
        data[icon] = "";
    }
    return expectRefused(session.request("UtilSetCustomIconPath", data));
}

// Applications read the paths only, so a reply without paths is a refusal as well.
Result checkGetIcons(Session &session) {
    Json::Value data = dataOfUnknownType(session);
    data["MbrActivityIndex"] = 0;
    const Reply reply = session.request("UtilGetCustomIconPath", data);
    if (resultOf(reply) == CommandResult::Refused) {
        return passed(describe(reply));
    }
    const Json::Value *icons = objectOf(reply);
    for (const char *icon : iconMembers) {
        if (icons == nullptr || !readsAsText(*icons, icon) || !(*icons)[icon].asString().empty()) {
            return failed("\"return_data\" as false, or no paths", describe(reply));
        }
    }
    return passed(describe(reply));
}

Result checkUsb(Session &session) {
    Json::Value data;
    data["SourceUniqueKey"] = unknownKey(session.list);
    return expectRefused(session.request("UtilGetUsbData", data));
}

Result passIfListIsReturned(const Session &session, const std::string &seen) {
    const Result list = checkListReply(session.requestList());
    return list.outcome == Outcome::Passed
               ? passed(seen)
               : failed("the list to be returned afterwards", list.seen);
}

Result expectNotDone(const Session &session, const std::string &text) {
    const Reply reply = session.bus.call(plainCall(text));
    if (reply.kind == Reply::Kind::None || resultOf(reply) == CommandResult::Done) {
        return failed("a reply that does not report success", describe(reply));
    }
    return passIfListIsReturned(session, describe(reply));
}

Result checkUnknownCommand(Session &session) {
    return expectNotDone(session, requestText("NoSuchCommand", Json::objectValue));
}

Result checkNotJson(Session &session) {
    return expectNotDone(session, "{\"method\": \"UtilGetSourceList\"");
}

Result checkEmptyText(Session &session) {
    return expectNotDone(session, "");
}

Result checkArray(Session &session) {
    return expectNotDone(session, "[\"UtilGetSourceList\", null]");
}

Result checkDeep(Session &session) {
    constexpr std::size_t depth = 20000;
    return expectNotDone(session, "{\"method\": \"UtilGetSourceList\", \"data\": " +
                                      std::string(depth, '[') + std::string(depth, ']') + "}");
}

Result expectError(const Session &session, const char *method) {
    for (const char *body : {"()", "('UtilGetSourceList',)", "('source_api', uint32 0, '')"}) {
        const Reply reply = session.bus.call({method, support::sink(g_variant_new_parsed(body))});
        if (reply.kind != Reply::Kind::Error) {
            return failed(std::string("an error for the body ") + body, describe(reply));
        }
    }
    return passIfListIsReturned(session, "an error for each of three");
}

Result checkOtherBody(Session &session) {
    return expectError(session, "SendMessage");
}

Result checkOtherBodyWithBuffer(Session &session) {
    return expectError(session, "SendMessageWithBuffer");
}

}  // namespace

Checks refusalChecks() {
    const auto refusal = [](const char *id, const std::string &command, auto run) {
        return Check{id, command + " of an unknown source returns false and is not an error",
                     "list-answer", run};
    };
    return {
        refusal("connect-refusal", "SourceConnect", checkConnect),
        refusal("run-refusal", "RunApp", checkRun),
        refusal("rename-refusal", "UtilSetSourceEditName", checkRename),
        refusal("device-type-refusal", "UtilSetSourceDeviceType", checkDeviceType),
        refusal("detected-refusal", "UtilSetSourceDetectedNameAndDeviceType", checkDetected),
        refusal("set-icons-refusal", "UtilSetCustomIconPath", checkSetIcons),
        refusal("get-icons-refusal", "UtilGetCustomIconPath", checkGetIcons),
        refusal("usb-refusal", "UtilGetUsbData", checkUsb),
        {"unknown-command", "The reply to an unknown command does not report success",
         "list-answer", checkUnknownCommand},
        {"not-json", "The reply to a text that is not JSON does not report success", "list-answer",
         checkNotJson},
        {"empty-text", "The reply to an empty text does not report success", "list-answer",
         checkEmptyText},
        {"json-array", "The reply to a JSON array does not report success", "list-answer",
         checkArray},
        {"deep-json", "The reply to JSON of 20000 levels does not report success", "list-answer",
         checkDeep},
        {"other-body", "SendMessage with another signature returns an error", "list-answer",
         checkOtherBody},
        {"other-body-with-buffer", "SendMessageWithBuffer with another signature returns an error",
         "list-answer", checkOtherBodyWithBuffer},
    };
}

}  // namespace service_check
