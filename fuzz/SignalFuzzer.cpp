// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// An input is a course of events, one in each line, told by the line's first letter:
//   S  the settings store holds the rest of the line      s  the settings store is unreadable
//   L  the service answers calls with the rest            l  the service does not answer
//   F  the next call fails, whatever comes after it
//   N  a signal comes with the rest as its text           B  the same, and a buffer
//   V  a signal comes whose body is the rest, in GLib's notation of values
//   G  the application reads the list                     R  so does a callback, from now on
// After each of them the client must be in the state that the rules say.
#include <memory>
#include <tuple>

#include "Fuzzing.h"
#include "Literal.h"
#include "OthersCanLock.h"
#include "Service.h"
#include "SourceAPI.h"
#include "SourceTCServer.h"
#include "Surroundings.h"

namespace {

constexpr int longestCourse = 16;

std::vector<std::pair<int, int>> told;
bool callbackReads = false;
bool callFails = false;

void noteFirst(int value, void * /*userData*/) {
    told.emplace_back(value, 1);
}

std::optional<std::string> readList() {
    const std::unique_ptr<char, decltype(&std::free)> text(CSourceAPI::Get()->GetSourceList(),
                                                           std::free);
    return text ? std::optional<std::string>(text.get()) : std::nullopt;
}

void noteSecond(int value, void * /*userData*/) {
    told.emplace_back(value, 2);
    if (callbackReads) {
        try {
            readList();
        } catch (const Json::Exception &) {
            // The settings store holds values of wrong types.
        }
    }
}

void registerOnce() {
    static const bool registered = [] {
        CSourceAPI::RegisterSourceAPICallback(noteFirst, nullptr);
        CSourceAPI::RegisterSourceAPICallback(noteSecond, nullptr);
        return true;
    }();
    require(registered, "callbacks can be registered");
}

void checkState(const literal::Client &expected) {
    require(told == expected.told, "the callbacks are told what the rules say");
    require(CSourceAPI::m_sourceItemArray == expected.list, "the cached list is the expected one");
    require(CSourceAPI::m_bIntializedSourceItemArray == expected.listFilled,
            "the list counts as read when it was");
    require(CSourceAPI::m_bIntializedSourceDataMap == expected.namesFilled,
            "the names count as read when they were");
    require(CSourceAPI::m_bNotified == expected.notified, "a notification is noted");
    literal::Names names;
    for (const auto &[type, name] : CSourceAPI::m_SourceDataMap) {
        names.insert({type,
                      {name.editName, name.detectedName, name.deviceType, name.mbrActivityIndex,
                       name.editState, name.settingMethod}});
    }
    require(names == expected.nameMap, "the cached names are the expected ones");
    require(othersCanLock(m_sourceUtilMutex) && othersCanLock(m_sourceAPICallbackDataMutex),
            "no lock is left behind");
}

// Takes the reference of the caller, a floating one or not.
void takeSignal(literal::Client &expected, GVariant *body) {
    const std::unique_ptr<GVariant, decltype(&g_variant_unref)> owned(g_variant_take_ref(body),
                                                                      g_variant_unref);
    try {
        Service::emitChange(body);
    } catch (const Json::Exception &) {
        require(false, "no JSON exception leaves the handler of signals");
    }
    try {
        expected.signal(literal::textOf(body));
    } catch (const Json::Exception &) {
        // Ends with the signal.
    }
}

void readAsApplication(literal::Client &expected) {
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
    require(threw == mayThrow, "only names of wrong types make a reader throw");
    require(list == expectedList, "the application reads the cached list");
}

std::string validText(const std::string &text) {
    const std::unique_ptr<char, decltype(&g_free)> valid(g_utf8_make_valid(text.c_str(), -1),
                                                         g_free);
    return valid.get();
}

void happen(literal::Client &expected, const std::string &event) {
    const std::string rest = event.empty() ? std::string() : validText(event.substr(1));
    switch (event.empty() ? '\0' : event[0]) {
        case 'S':
            expected.settings = storedNames = rest;
            break;
        case 's':
            storedNames.reset();
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
            takeSignal(expected, g_variant_new("(suss)", "source_service", 0, "", rest.c_str()));
            break;
        case 'B':
            takeSignal(expected,
                       g_variant_new_parsed("('', 1, 'more', %s, [(byte 1,)])", rest.c_str()));
            break;
        case 'V':
            if (GVariant *const body =
                    g_variant_parse(nullptr, rest.c_str(), nullptr, nullptr, nullptr)) {
                takeSignal(expected, body);
            }
            break;
        case 'G':
            readAsApplication(expected);
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
    Service &service = Service::get();
    registerOnce();
    literal::Client expected;
    service.makeReply = [&expected] {
        const bool fails = std::exchange(callFails, false) || !expected.calls;
        return fails
                   ? nullptr
                   : g_variant_new("(suss)", "source_service", 0, "", expected.replyText->c_str());
    };
    std::string course = inputText(data, size);
    for (int events = 0; events < longestCourse && !course.empty(); ++events) {
        std::string event;
        std::tie(event, course) = splitLine(course);
        happen(expected, event);
        checkState(expected);
    }
    service.forget();
    told.clear();
    callbackReads = false;
    callFails = false;
    return 0;
}
