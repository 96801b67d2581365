// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Promise.h"
#include "Words.h"

namespace {

constexpr std::size_t callsAtOnce = 64;

// Requests that change nothing, each with an answer of its own.
std::vector<std::string> questions(const Session &session) {
    Json::Value unknown;
    unknown["SourceType"] = unknownType(session.list);
    std::vector<std::string> texts = {requestText("UtilGetSourceList", Json::nullValue),
                                      requestText("SourceConnect", unknown)};
    for (const Source &source : session.sources()) {
        Json::Value data;
        data["SourceUniqueKey"] = source.key;
        texts.push_back(requestText("UtilGetUsbData", data));
    }
    return texts;
}

// What applications read of an answer to one of these.
Json::Value essenceOf(const Answer &answer) {
    Json::Value essence;
    essence["kind"] = static_cast<int>(answer.kind);
    if (const Json::Value *object = objectOf(answer)) {
        for (const char *member :
             {"return_data", "calledApp", "deviceType", "deviceName", "isPTP", "deviceBusNumber",
              "deviceAddressNumber", "vendorName", "volumeName", "devicePath"}) {
            essence[member] = (*object)[member];
        }
    }
    return essence;
}

Finding checkConcurrentCalls(Session &session) {
    const std::vector<std::string> texts = questions(session);
    std::vector<Json::Value> alone;
    alone.reserve(texts.size());
    for (const std::string &text : texts) {
        alone.push_back(essenceOf(session.bus.call(plainCall(text))));
    }
    std::vector<MethodCall> calls;
    for (std::size_t number = 0; number < callsAtOnce; ++number) {
        calls.push_back(plainCall(texts[number % texts.size()]));
    }
    const std::vector<Answer> answers = session.bus.callTogether(calls);
    for (std::size_t number = 0; number < answers.size(); ++number) {
        const Json::Value &expected = alone[number % texts.size()];
        if (essenceOf(answers[number]) != expected) {
            return broken("for call " + std::to_string(number + 1) +
                              " the answer that it has alone, " + inWords(expected),
                          inWords(answers[number]));
        }
    }
    return kept("each answer is that of its call");
}

}  // namespace

Promises loadPromises() {
    return {
        {"concurrent-calls", "64 calls at once are answered, each with its own answer",
         "list-elements", checkConcurrentCalls},
    };
}
