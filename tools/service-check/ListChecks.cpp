// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The bodies of requests and replies, and the list of sources.
#include "Check.h"

namespace service_check {

namespace {

const std::vector<unsigned char> zeroByte = {0};

std::string listRequest() {
    return requestText("UtilGetSourceList", Json::nullValue);
}

Result checkSignature(const Reply &reply) {
    if (reply.kind != Reply::Kind::Returned || !reply.body.isKnown) {
        return failed("a body (suss) or (sussa(y))", describe(reply));
    }
    return passed("a body " + reply.body.signature);
}

Result checkPlainReply(Session &session) {
    return checkSignature(session.bus.call(plainCall(listRequest())));
}

Result checkReplyToBuffer(Session &session) {
    return checkSignature(session.bus.call(callWithBuffer(listRequest(), {1, 2, 3})));
}

Result checkZeroByteInRequest(Session &session) {
    const Reply plain = session.bus.call(plainCall(listRequest()));
    const Reply zero = session.bus.call(callWithBuffer(listRequest(), zeroByte));
    if (zero.kind != Reply::Kind::Returned || zero.body.document != plain.body.document) {
        return failed("the reply to SendMessage, " + describe(plain), describe(zero));
    }
    return passed("the same reply");
}

Result checkZeroByteInReply(Session &session) {
    const Reply reply = session.bus.call(callWithBuffer(listRequest(), zeroByte));
    if (reply.kind == Reply::Kind::Returned && !reply.body.buffer) {
        return skipped("the service replies with (suss), which has no buffer");
    }
    if (reply.body.buffer != zeroByte) {
        const std::size_t size = reply.body.buffer ? reply.body.buffer->size() : 0;
        return failed("a single zero byte",
                      size == 1 ? "a single non-zero byte" : std::to_string(size) + " bytes");
    }
    return passed("a single zero byte");
}

Result checkList(Session &session) {
    const Reply reply = session.requestList();
    Result result = checkListReply(reply);
    if (result.outcome == Outcome::Passed) {
        session.list = (*objectOf(reply))["return_data"];
    }
    return result;
}

// The first member that an application cannot read, or null.
const char *unreadableMember(const Json::Value &element) {
    if (!element.isMember("sourceType")) {
        return "sourceType";
    }
    for (const char *number : {"sourceType", "powerState", "mbrActivityIndex", "settingMethod"}) {
        if (!readsAsInt(element, number)) {
            return number;
        }
    }
    for (const char *text : {"editName", "detectedName", "iconPath", "uniqueKey"}) {
        if (!readsAsText(element, text)) {
            return text;
        }
    }
    return readsAsBool(element, "connectionState") ? nullptr : "connectionState";
}

Result checkElements(Session &session) {
    for (const Json::Value &element : session.list) {
        if (!element.isObject()) {
            return failed("an object for each source", describe(element));
        }
        if (const char *member = unreadableMember(element)) {
            return failed("a readable " + quoted(member), describe(element));
        }
    }
    return passed(std::to_string(session.list.size()) + " sources");
}

Result checkNames(Session &session) {
    for (const Json::Value &element : session.list) {
        for (const char *member : {"editName", "detectedName"}) {
            if (!percentDecoded(element[member].asString())) {
                return failed("escapes of two hexadecimal digits that decode to UTF-8",
                              describe(element[member]));
            }
        }
    }
    return passed("every name can be decoded");
}

}  // namespace

Result checkListReply(const Reply &reply) {
    const Json::Value *object = objectOf(reply);
    if (object == nullptr || !(*object)["return_data"].isArray()) {
        return failed("an object whose \"return_data\" is an array", describe(reply));
    }
    return passed("an array of " + std::to_string((*object)["return_data"].size()));
}

Checks listChecks() {
    return {
        {"plain-answer", "SendMessage replies with the signature (suss) or (sussa(y))", "",
         checkPlainReply},
        {"buffer-answer", "SendMessageWithBuffer replies with the signature (suss) or (sussa(y))",
         "plain-answer", checkReplyToBuffer},
        {"zero-byte-request", "A request whose buffer is a single zero byte has no buffer",
         "buffer-answer", checkZeroByteInRequest},
        {"zero-byte-answer", "The buffer of a reply without data is a single zero byte",
         "buffer-answer", checkZeroByteInReply},
        {"list-answer", "UtilGetSourceList returns the list", "plain-answer", checkList},
        {"list-elements", "Each element of the list has members of the right types", "list-answer",
         checkElements},
        {"list-names", "The names in the list are percent-encoded UTF-8", "list-elements",
         checkNames},
    };
}

}  // namespace service_check
