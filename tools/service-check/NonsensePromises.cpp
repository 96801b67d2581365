// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Promise.h"
#include "Words.h"

// Anybody on the bus may send such a thing, and applications depend on a service that survives it.
namespace {

Finding findSurvivor(const Session &session, const std::string &seen) {
    const Finding list = findList(session.askForList());
    return list.outcome == Outcome::Kept
               ? kept(seen)
               : broken("that the list is still answered afterwards", list.seen);
}

Finding findNotDone(const Session &session, const std::string &text) {
    const Answer answer = session.bus.call(plainCall(text));
    if (answer.kind == Answer::Kind::None || readingOf(answer) == Reading::Done) {
        return broken("an answer, and not that it was done", inWords(answer));
    }
    return findSurvivor(session, inWords(answer));
}

Finding checkUnknownCommand(Session &session) {
    return findNotDone(session, requestText("NoSuchCommand", Json::objectValue));
}

Finding checkNotJson(Session &session) {
    return findNotDone(session, "{\"method\": \"UtilGetSourceList\"");
}

Finding checkEmptyText(Session &session) {
    return findNotDone(session, "");
}

Finding checkArray(Session &session) {
    return findNotDone(session, "[\"UtilGetSourceList\", null]");
}

Finding checkDeep(Session &session) {
    constexpr std::size_t depth = 20000;
    return findNotDone(session, "{\"method\": \"UtilGetSourceList\", \"data\": " +
                                    std::string(depth, '[') + std::string(depth, ']') + "}");
}

Finding findError(const Session &session, const char *method) {
    for (const char *body : {"()", "('UtilGetSourceList',)", "('source_api', uint32 0, '')"}) {
        const Answer answer =
            session.bus.call({method, Variant(g_variant_ref_sink(g_variant_new_parsed(body)))});
        if (answer.kind != Answer::Kind::Error) {
            return broken(std::string("an error for the body ") + body, inWords(answer));
        }
    }
    return findSurvivor(session, "an error for each of three");
}

Finding checkOtherBody(Session &session) {
    return findError(session, "SendMessage");
}

Finding checkOtherBodyWithBuffer(Session &session) {
    return findError(session, "SendMessageWithBuffer");
}

}  // namespace

Promises nonsensePromises() {
    return {
        {"unknown-command", "A command that is not known is answered as not done", "list-answer",
         checkUnknownCommand},
        {"not-json", "A text that is not JSON is answered as not done", "list-answer",
         checkNotJson},
        {"empty-text", "An empty text is answered as not done", "list-answer", checkEmptyText},
        {"json-array", "A JSON array is answered as not done", "list-answer", checkArray},
        {"deep-json", "JSON of 20000 levels is answered as not done", "list-answer", checkDeep},
        {"other-body", "SendMessage with a body of another type is answered with an error",
         "list-answer", checkOtherBody},
        {"other-body-with-buffer",
         "SendMessageWithBuffer with a body of another type is answered with an error",
         "list-answer", checkOtherBodyWithBuffer},
    };
}
