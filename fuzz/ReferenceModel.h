// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A second implementation of the library's behaviour, simple and slow, with which the fuzzers
// compare the library. A value of the wrong JSON type throws Json::Exception, as inside the
// library.
#ifndef FUZZ_REFERENCE_MODEL_H
#define FUZZ_REFERENCE_MODEL_H

#include <gio/gio.h>
#include <json/json.h>

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "SourceAPI.h"

namespace reference {

// A JSON value as the text of a message; and indented, with the newlines removed.
std::string written(const Json::Value &value);
std::string oneLine(const Json::Value &value);

// Replaces every `from` by `to`, except at the last character directly after a replacement.
std::string replaced(std::string text, const std::string &from, const std::string &to);

// Percent-decodes the text as the library does, including its handling of malformed escapes.
std::string decoded(const std::string &text);

// Source type -> edit name, detected name, device type, activity index, edit state, setting method.
using Name = std::tuple<std::string, std::string, int, int, int, int>;
using Names = std::multimap<int, Name>;
Names names(const std::string &document);

// Key -> source type, edit name, detected name, icon, unique key, connected, power state,
// activity index, setting method.
using Record =
    std::tuple<int, std::string, std::string, std::string, std::string, bool, int, int, int>;
using Records = std::multimap<int, Record>;

// The library's entries and records in these forms.
Names toNames(const std::multimap<int, SourceNameList> &map);
Records toRecords(const std::multimap<int, CSourceItem> &map);

// The text in a body with signature (suss) or (sussa(y)).
std::optional<std::string> textOf(GVariant *body);

// The document of a reply with that text; no text means a body of another signature. No value if
// the call fails.
std::optional<Json::Value> replyRoot(const std::optional<std::string> &text);

// The client's caches and their transitions.
struct Client {
    // The environment. `calls`: the service replies; `failsOnce`: the next call fails nevertheless;
    // `callbackReads`: the second of the two callbacks reads the list.
    std::optional<std::string> settings;
    std::optional<std::string> replyText;
    bool calls = false;
    bool failsOnce = false;
    bool callbackReads = false;

    bool listFilled = false;
    bool namesFilled = false;
    bool notified = false;
    Json::Value list;
    Names nameMap;
    // The calls of the two callbacks: the value, and the number of the callback.
    std::vector<std::pair<int, int>> callbackCalls;

    // Handles a signal with that text; no text means a body of another signature.
    void signal(const std::optional<std::string> &text);
    std::optional<std::string> readList();
    // False if a record is unreadable; `records` then has those before it.
    bool readRecords(Records &records);
    bool updateCache(const Json::Value &given);

 private:
    bool fetchList();
    void announce(int value);

    bool m_announcing = false;
    std::vector<int> m_pending;
};

}  // namespace reference

#endif
