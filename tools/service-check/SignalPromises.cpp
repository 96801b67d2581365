// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Promise.h"
#include "Words.h"

namespace {

// What the service said last before it answered with the list.
const Body &lastSignal(const Session &session) {
    return session.renamed->signals.back();
}

Finding checkSignal(Session &session) {
    return findSignal(session, session.renamed);
}

Finding checkShape(Session &session) {
    const Body &signal = lastSignal(session);
    if (!signal.isKnown || !signal.document || !signal.document->isObject()) {
        return broken("a body (suss) or (sussa(y)) with a JSON object", inWords(signal));
    }
    return kept("a body " + signal.type);
}

Finding checkList(Session &session) {
    const Json::Value &inSignal = (*lastSignal(session).document)["return_data"];
    if (inSignal == Json::Value("")) {
        return kept("an empty text, on which applications ask for the list");
    }
    const Json::Value *object = objectOf(session.renamed->list);
    const Json::Value inAnswer = object != nullptr ? (*object)["return_data"] : Json::nullValue;
    if (!inSignal.isArray() || inSignal != inAnswer) {
        return broken("the list as UtilGetSourceList then has it, " + inWords(inAnswer),
                      inWords(inSignal));
    }
    return kept("the list as UtilGetSourceList then has it");
}

Finding checkResult(Session &session) {
    const Json::Value &data = (*lastSignal(session).document)["data"];
    if (!data.isNull() && (!data.isObject() || !readsAsInt(data, "result"))) {
        return broken("an object whose \"result\" is a number", inWords(data));
    }
    return kept(inWords(data));
}

}  // namespace

Finding findSignal(const Session &session, const std::optional<Rename> &rename) {
    if (!rename || readingOf(rename->answer) != Reading::Done) {
        return skipped("no source takes a name");
    }
    if (rename->signals.empty()) {
        return broken("a signal \"source_api\" after a source was renamed",
                      "none within " + std::to_string(session.options.timeout) + " ms");
    }
    if (readingOf(rename->putBack) != Reading::Done) {
        return lostName(*rename, inWords(rename->putBack));
    }
    return kept("a signal after " + quoted(rename->source.key) + " was renamed");
}

Promises signalPromises() {
    return {
        {"change-signal", "A change of the list is announced", "rename-answer", checkSignal},
        {"change-signal-shape", "The signal has one of the two bodies, with a JSON object",
         "change-signal", checkShape},
        {"change-signal-list", "The signal carries the whole new list", "change-signal-shape",
         checkList},
        {"change-signal-result", "The signal's \"data\".\"result\" is a number",
         "change-signal-shape", checkResult},
    };
}
