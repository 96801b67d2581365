// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A source is renamed and its name restored: the reply, the list, and the change signal.
#include "Check.h"

namespace service_check {

namespace {

// The element of `source` in a reply that contains the list.
Json::Value elementIn(const Reply &reply, const Source &source) {
    const Json::Value *object = objectOf(reply);
    return object != nullptr ? elementOf((*object)["return_data"], source) : Json::nullValue;
}

Result nameNotRestored(const Rename &rename, const std::string &seen) {
    return failed("the name of " + quoted(rename.source.key) + " restored to " +
                      quoted(rename.source.editName),
                  seen);
}

Result checkRename(Session &session) {
    if (session.renameCandidates().empty()) {
        return skipped("the list has no such source");
    }
    session.renamed = renameAndRestore(session);
    if (!session.renamed) {
        return skipped("no source accepts a new name");
    }
    const Rename &rename = *session.renamed;
    if (resultOf(rename.reply) != CommandResult::Done) {
        return failed("\"return_data\" as true or false", describe(rename.reply));
    }
    const Json::Value before = elementOf(session.list, rename.source);
    const Json::Value after = elementIn(rename.listAfterRestore, rename.source);
    if (resultOf(rename.restoreReply) != CommandResult::Done ||
        before["editName"] != after["editName"]) {
        return nameNotRestored(rename,
                               describe(rename.restoreReply) + ", and then " + describe(after));
    }
    return passed(quoted(rename.source.key) + " was renamed and its name restored" +
                  (before != after ? ", but is now " + describe(after) : ""));
}

Result checkNewNameInList(Session &session) {
    const Rename &rename = *session.renamed;
    const Json::Value element = elementIn(rename.list, rename.source);
    const Json::Value &name = element["editName"];
    if (!name.isString() || percentDecoded(name.asString()) != rename.newName) {
        return failed(quoted(rename.newName) + ", percent-encoded", describe(name));
    }
    return passed(describe(name));
}

Result checkSignal(Session &session) {
    return checkRenameSignal(session, session.renamed);
}

// The last signal before the list was requested.
const Body &lastSignal(const Session &session) {
    return session.renamed->signals.back();
}

Result checkSignalBody(Session &session) {
    const Body &signal = lastSignal(session);
    if (!signal.isKnown || !signal.document || !signal.document->isObject()) {
        return failed("a body (suss) or (sussa(y)) with a JSON object", describe(signal));
    }
    return passed("a body " + signal.signature);
}

Result checkListInSignal(Session &session) {
    const Json::Value &inSignal = (*lastSignal(session).document)["return_data"];
    if (inSignal == Json::Value("")) {
        return passed("an empty text, on which applications request the list");
    }
    const Json::Value *object = objectOf(session.renamed->list);
    const Json::Value inReply = object != nullptr ? (*object)["return_data"] : Json::nullValue;
    if (!inSignal.isArray() || inSignal != inReply) {
        return failed("the list that UtilGetSourceList then returns, " + describe(inReply),
                      describe(inSignal));
    }
    return passed("the list that UtilGetSourceList then returns");
}

Result checkResultInSignal(Session &session) {
    const Json::Value &data = (*lastSignal(session).document)["data"];
    if (!data.isNull() && (!data.isObject() || !readsAsInt(data, "result"))) {
        return failed("an object whose \"result\" is a number", describe(data));
    }
    return passed(describe(data));
}

}  // namespace

Result checkRenameSignal(const Session &session, const std::optional<Rename> &rename) {
    if (!rename || resultOf(rename->reply) != CommandResult::Done) {
        return skipped("no source accepts a new name");
    }
    if (rename->signals.empty()) {
        return failed("a signal \"source_api\" after a source was renamed",
                      "none within " + std::to_string(session.options.timeout) + " ms");
    }
    if (resultOf(rename->restoreReply) != CommandResult::Done) {
        return nameNotRestored(*rename, describe(rename->restoreReply));
    }
    return passed("a signal after " + quoted(rename->source.key) + " was renamed");
}

Checks changeChecks() {
    return {
        {"rename-answer", "UtilSetSourceEditName returns true on success", "list-elements",
         checkRename},
        {"rename-listed", "The list contains the new name, percent-encoded", "rename-answer",
         checkNewNameInList},
        {"change-signal", "A change of the list is signalled", "rename-answer", checkSignal},
        {"change-signal-shape",
         "The signal has the signature (suss) or (sussa(y)) and a JSON object as its text",
         "change-signal", checkSignalBody},
        {"change-signal-list", "The signal contains the complete new list", "change-signal-shape",
         checkListInSignal},
        {"change-signal-result", "The signal's \"data\".\"result\" is a number",
         "change-signal-shape", checkResultInSignal},
    };
}

}  // namespace service_check
