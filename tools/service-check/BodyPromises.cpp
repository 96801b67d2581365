// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Promise.h"
#include "Words.h"

namespace {

const std::vector<unsigned char> noBuffer = {0};

std::string listRequest() {
    return requestText("UtilGetSourceList", Json::nullValue);
}

Finding findKnownBody(const Answer &answer) {
    if (answer.kind != Answer::Kind::Returned || !answer.body.isKnown) {
        return broken("a body (suss) or (sussa(y))", inWords(answer));
    }
    return kept("a body " + answer.body.type);
}

Finding checkPlain(Session &session) {
    return findKnownBody(session.bus.call(plainCall(listRequest())));
}

Finding checkWithBuffer(Session &session) {
    return findKnownBody(session.bus.call(callWithBuffer(listRequest(), {1, 2, 3})));
}

Finding checkZeroByteOfRequest(Session &session) {
    const Answer plain = session.bus.call(plainCall(listRequest()));
    const Answer zero = session.bus.call(callWithBuffer(listRequest(), noBuffer));
    if (zero.kind != Answer::Kind::Returned || zero.body.document != plain.body.document) {
        return broken("the answer to SendMessage, " + inWords(plain), inWords(zero));
    }
    return kept("the same answer");
}

Finding checkZeroByteOfAnswer(Session &session) {
    const Answer answer = session.bus.call(callWithBuffer(listRequest(), noBuffer));
    if (answer.kind == Answer::Kind::Returned && !answer.body.buffer) {
        return skipped("the service answers without a place for a buffer");
    }
    if (answer.body.buffer != noBuffer) {
        const std::size_t size = answer.body.buffer ? answer.body.buffer->size() : 0;
        return broken("a single zero byte",
                      size == 1 ? "a single other byte" : std::to_string(size) + " bytes");
    }
    return kept("a single zero byte");
}

}  // namespace

Promises bodyPromises() {
    return {
        {"plain-answer", "SendMessage is answered with one of the two bodies", "", checkPlain},
        {"buffer-answer", "SendMessageWithBuffer is answered with one of the two bodies",
         "plain-answer", checkWithBuffer},
        {"zero-byte-request", "A request whose buffer is a single zero byte is one without",
         "buffer-answer", checkZeroByteOfRequest},
        {"zero-byte-answer", "An answer with nothing in its buffer has a single zero byte there",
         "buffer-answer", checkZeroByteOfAnswer},
    };
}
