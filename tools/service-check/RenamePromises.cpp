// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Promise.h"
#include "Words.h"

namespace {

// The element of the renamed source in the list that came as an answer.
Json::Value elementIn(const Answer &answer, const Source &source) {
    const Json::Value *object = objectOf(answer);
    return object != nullptr ? elementOf((*object)["return_data"], source) : Json::nullValue;
}

Finding checkAnswer(Session &session) {
    if (session.sourcesToRename().empty()) {
        return skipped("the list has no such source");
    }
    session.renamed = tryRename(session);
    if (!session.renamed) {
        return skipped("no source takes a name");
    }
    const Rename &rename = *session.renamed;
    if (readingOf(rename.answer) != Reading::Done) {
        return broken("\"return_data\" as true or false", inWords(rename.answer));
    }
    const Json::Value before = elementOf(session.list, rename.source);
    const Json::Value after = elementIn(rename.listAfterwards, rename.source);
    if (readingOf(rename.putBack) != Reading::Done || before["editName"] != after["editName"]) {
        return lostName(rename, inWords(rename.putBack) + ", and then " + inWords(after));
    }
    return kept(quoted(rename.source.key) + " was renamed and has its name back" +
                (before != after ? ", but is now " + inWords(after) : ""));
}

Finding checkListed(Session &session) {
    const Rename &rename = *session.renamed;
    const Json::Value element = elementIn(rename.list, rename.source);
    const Json::Value &name = element["editName"];
    if (!name.isString() || percentDecoded(name.asString()) != rename.newName) {
        return broken(quoted(rename.newName) + ", percent-encoded", inWords(name));
    }
    return kept(inWords(name));
}

}  // namespace

Finding lostName(const Rename &rename, const std::string &seen) {
    return broken(quoted(rename.source.key) + " to take back its name " +
                      quoted(rename.source.editName) + ", which it has lost",
                  seen);
}

Promises renamePromises() {
    return {
        {"rename-answer", "UtilSetSourceEditName is answered with true when it was done",
         "list-elements", checkAnswer},
        {"rename-listed", "A new name stands in the list, percent-encoded", "rename-answer",
         checkListed},
    };
}
