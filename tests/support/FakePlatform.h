// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Test doubles of the four functions that the TV platform provides. They are linked into each
// test program, whose definitions win over the platform library's.
#ifndef TESTS_FAKE_PLATFORM_H
#define TESTS_FAKE_PLATFORM_H

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

// One line that the library handed to the platform's log, taken apart. Malformed ones (wrong
// prefix, two places that disagree, no newline) fail the running test.
struct LogLine {
    int priority = 0;
    std::string file;
    std::string function;
    int line = 0;
    std::string text;  // after the prefix, without the newline
};

std::ostream &operator<<(std::ostream &out, const LogLine &line);

constexpr int infoPriority = 4;
constexpr int errorPriority = 6;

// Match a log line by its level and its whole text, or a part of it.
MATCHER_P(Info, text, "") {
    return arg.priority == infoPriority && arg.text == text;
}
MATCHER_P(Error, text, "") {
    return arg.priority == errorPriority && arg.text == text;
}
MATCHER_P(InfoWith, part, "") {
    return arg.priority == infoPriority && arg.text.find(part) != std::string::npos;
}
MATCHER_P(ErrorWith, part, "") {
    return arg.priority == errorPriority && arg.text.find(part) != std::string::npos;
}
// Matches a log line by where it was written.
MATCHER_P2(From, file, function, "") {
    return arg.file == file && arg.function == function;
}

class FakePlatform {
 public:
    static FakePlatform &get();

    // The log since the start or the last clearLog(), in order; and the same of one function.
    std::vector<LogLine> log() const;
    std::vector<LogLine> logOf(const std::string &function) const;
    // How many lines of that level and text there are.
    int count(int priority, const std::string &text) const;
    void clearLog();
    // Runs on the logging thread, after the line was recorded.
    void onLog(std::function<void(const LogLine &)> observer);

    // The settings store; an absent value makes the key unreadable.
    void setSetting(const std::string &key, std::optional<std::string> value);
    void setSourceNames(std::optional<std::string> document);
    std::vector<std::string> settingReads() const;
    // Runs on the reading thread, before the value is read.
    void onSettingRead(std::function<void()> observer);

    // The readiness event: every wait with its time-out. `result` is what a wait returns.
    std::vector<std::pair<std::string, int>> waits() const;
    void setWaitResult(int result);

    // On-screen names; any other type is "----".
    void setOnScreenName(int sourceType, const std::string &name);

    // What the doubled functions call.
    void record(LogLine line);
    std::optional<std::string> readSetting(const std::string &key);
    int wait(const std::string &event, int timeout);
    std::string onScreenName(int sourceType) const;

 private:
    mutable std::mutex m_mutex;
    std::vector<LogLine> m_log;
    std::function<void(const LogLine &)> m_logObserver;
    std::map<std::string, std::string> m_settings;
    std::vector<std::string> m_settingReads;
    std::function<void()> m_settingObserver;
    std::vector<std::pair<std::string, int>> m_waits;
    int m_waitResult = 0;
    std::map<int, std::string> m_onScreenNames;
};

#endif
