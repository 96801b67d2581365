// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The rules of the library, written down a second time, step by step and without regard to speed:
// what the fuzzers compare the library with. Where a value has the wrong JSON type these throw
// Json::Exception, as the library does inside.
#ifndef FUZZ_LITERAL_H
#define FUZZ_LITERAL_H

#include <gio/gio.h>
#include <json/json.h>

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace literal {

// Absent when the text is not JSON, or nested deeper than the reader goes.
std::optional<Json::Value> parsed(const std::string &text);

// A JSON value as text, as messages carry it, and indented but on one line.
std::string written(const Json::Value &value);
std::string oneLine(const Json::Value &value);

// Every `from` replaced by `to`, but for one at the last character right after a replacement.
std::string replaced(std::string text, const std::string &from, const std::string &to);

// Percent-encoding undone, malformed escapes included.
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

// The message text in a body of one of the two known shapes.
std::optional<std::string> textOf(GVariant *body);

// The document of a reply with that text (absent: of a body of unknown shape), or nothing when it
// makes the call fail.
std::optional<Json::Value> replyRoot(const std::optional<std::string> &text);

// The client's caches, and what becomes of them.
struct Client {
    // The surroundings. `calls` false: the service is not there or does not answer; `failsOnce`:
    // the next call fails all the same. `callbackReads`: the second of the two callbacks reads the
    // list while it runs.
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
    // What callbacks were told: the value, and which of the two.
    std::vector<std::pair<int, int>> told;

    // The message text of a signal; absent for a body of unknown shape.
    void signal(const std::optional<std::string> &text);
    std::optional<std::string> readList();
    // False with the records before the unreadable one.
    bool readRecords(Records &records);
    bool updateCache(const Json::Value &given);

 private:
    bool fetchList();
    void announce(int value);

    bool m_announcing = false;
    std::vector<int> m_pending;
};

}  // namespace literal

#endif
