// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Promise.h"
#include "Words.h"

namespace {

Finding checkAnswer(Session &session) {
    const Answer answer = session.askForList();
    Finding finding = findList(answer);
    if (finding.outcome == Outcome::Kept) {
        session.list = (*objectOf(answer))["return_data"];
    }
    return finding;
}

// The first member that an application could not read, or null.
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

Finding checkElements(Session &session) {
    for (const Json::Value &element : session.list) {
        if (!element.isObject()) {
            return broken("an object for each source", inWords(element));
        }
        if (const char *member = unreadableMember(element)) {
            return broken("a readable " + quoted(member), inWords(element));
        }
    }
    return kept(std::to_string(session.list.size()) + " sources");
}

Finding checkNames(Session &session) {
    for (const Json::Value &element : session.list) {
        for (const char *member : {"editName", "detectedName"}) {
            if (!percentDecoded(element[member].asString())) {
                return broken("escapes of two hexadecimal digits that make UTF-8",
                              inWords(element[member]));
            }
        }
    }
    return kept("every name can be decoded");
}

}  // namespace

Finding findList(const Answer &answer) {
    const Json::Value *object = objectOf(answer);
    if (object == nullptr || !(*object)["return_data"].isArray()) {
        return broken("an object whose \"return_data\" is an array", inWords(answer));
    }
    return kept("an array of " + std::to_string((*object)["return_data"].size()));
}

Promises listPromises() {
    return {
        {"list-answer", "UtilGetSourceList is answered with the list", "plain-answer", checkAnswer},
        {"list-elements", "Each source of the list has members of the right types", "list-answer",
         checkElements},
        {"list-names", "The names in the list are percent-encoded UTF-8", "list-elements",
         checkNames},
    };
}
