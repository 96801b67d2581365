// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Input: a sequence of events, one on each line. The first letter is the kind, the rest its text:
//   S  the settings store contains the text        s  the settings store is unreadable
//   L  the service replies with the text           l  the service does not reply
//   F  the next call fails
//   N  a signal with the text                      B  the same with a buffer
//   V  a signal with a body in GVariant text format
//   G  the application reads the list              R  from now on a callback reads the list
// After each event the client's state must equal the reference model's.
#include <memory>
#include <tuple>

#include "Fuzzing.h"
#include "GLibOwners.h"
#include "LockState.h"
#include "ReferenceModel.h"
#include "SourceAPI.h"
#include "SourceApiPeer.h"
#include "SourceTCServer.h"
#include "StubPlatform.h"
#include "StubService.h"
#include "TerminalText.h"

namespace {

using fuzz::require;
using fuzz::StubService;

constexpr int maximumEvents = 16;

std::vector<std::pair<int, int>> callbackCalls;
bool callbackReads = false;
bool callFails = false;

void onFirst(int value, void * /*userData*/) {
    callbackCalls.emplace_back(value, 1);
}

std::optional<std::string> readList() {
    const std::unique_ptr<char, decltype(&std::free)> text(CSourceAPI::Get()->GetSourceList(),
                                                           std::free);
    return text ? std::optional<std::string>(text.get()) : std::nullopt;
}

void onSecond(int value, void * /*userData*/) {
    callbackCalls.emplace_back(value, 2);
    if (callbackReads) {
        try {
            readList();
        } catch (const Json::Exception &) {
            // The settings store contains values of wrong types.
        }
    }
}

void registerOnce() {
    static const bool registered = [] {
        CSourceAPI::RegisterSourceAPICallback(onFirst, nullptr);
        CSourceAPI::RegisterSourceAPICallback(onSecond, nullptr);
        return true;
    }();
    require(registered, "callbacks can be registered");
}

void checkState(const reference::Client &expected) {
    require(callbackCalls == expected.callbackCalls, "the callbacks are called as in the model");
    require(ClientPeer::list() == expected.list, "the cached list is the expected one");
    require(ClientPeer::hasList() == expected.listFilled, "the list is marked as read if it was");
    require(ClientPeer::hasNames() == expected.namesFilled,
            "the names are marked as read if they were");
    require(ClientPeer::hasAnnounced() == expected.notified,
            "the notification flag is the expected one");
    require(reference::toNames(ClientPeer::names()) == expected.nameMap,
            "the cached names are the expected ones");
    require(isFree(m_sourceUtilMutex) && isFree(m_sourceAPICallbackDataMutex),
            "no lock is still held");
}

// Takes ownership of the body, which may be floating.
void deliverSignal(reference::Client &expected, GVariant *body) {
    const support::Variant owned(g_variant_take_ref(body));
    try {
        StubService::emitChange(body);
    } catch (const Json::Exception &) {
        require(false, "no JSON exception leaves the signal handler");
    }
    try {
        expected.signal(reference::textOf(body));
    } catch (const Json::Exception &) {
        // Caught by the signal handler in the library.
    }
}

void compareLists(reference::Client &expected) {
    std::optional<std::string> list;
    std::optional<std::string> expectedList;
    bool threw = false;
    bool mayThrow = false;
    try {
        list = readList();
    } catch (const Json::Exception &) {
        threw = true;
    }
    try {
        expectedList = expected.readList();
    } catch (const Json::Exception &) {
        mayThrow = true;
    }
    require(threw == mayThrow, "reading throws only if names have wrong types");
    require(list == expectedList, "the application reads the cached list");
}

std::string validText(const std::string &text) {
    return support::validUtf8(fuzz::cText(text));
}

void handle(reference::Client &expected, const std::string &event) {
    const std::string rest = event.empty() ? std::string() : validText(event.substr(1));
    switch (event.empty() ? '\0' : event[0]) {
        case 'S':
            expected.settings = fuzz::storedNames = rest;
            break;
        case 's':
            fuzz::storedNames.reset();
            expected.settings.reset();
            break;
        case 'L':
            expected.calls = true;
            expected.replyText = rest;
            break;
        case 'l':
            expected.calls = false;
            break;
        case 'F':
            callFails = expected.failsOnce = true;
            break;
        case 'N':
            deliverSignal(expected, g_variant_new("(suss)", "source_service", 0, "", rest.c_str()));
            break;
        case 'B':
            deliverSignal(expected,
                          g_variant_new_parsed("('', 1, 'more', %s, [(byte 1,)])", rest.c_str()));
            break;
        case 'V':
            if (GVariant *const body =
                    g_variant_parse(nullptr, rest.c_str(), nullptr, nullptr, nullptr)) {
                deliverSignal(expected, body);
            }
            break;
        case 'G':
            compareLists(expected);
            break;
        case 'R':
            callbackReads = expected.callbackReads = true;
            break;
        default:
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    StubService &service = StubService::get();
    registerOnce();
    reference::Client expected;
    service.makeReply = [&expected] {
        const bool fails = std::exchange(callFails, false) || !expected.calls;
        return fails
                   ? nullptr
                   : g_variant_new("(suss)", "source_service", 0, "", expected.replyText->c_str());
    };
    std::string events = fuzz::inputText(data, size);
    for (int count = 0; count < maximumEvents && !events.empty(); ++count) {
        std::string event;
        std::tie(event, events) = fuzz::splitLine(events);
        handle(expected, event);
        checkState(expected);
    }
    service.reset();
    callbackCalls.clear();
    callbackReads = false;
    callFails = false;
    return 0;
}
