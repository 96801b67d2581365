// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Test doubles of the four functions that the TV platform provides. They are linked into each
// test program, whose definitions take precedence over the platform library's.
#ifndef TESTS_FAKE_PLATFORM_H
#define TESTS_FAKE_PLATFORM_H

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

// One line that the library passed to the platform's log, parsed. A malformed one (wrong prefix,
// two different locations, no newline) fails the running test.
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

class FakePlatform {
 public:
    static FakePlatform &get();

    // The log since the start or the last clearLog(), in order; the lines of one function; and
    // those of one source file.
    std::vector<LogLine> log() const;
    std::vector<LogLine> logOf(const std::string &function) const;
    std::vector<LogLine> logOfFile(const std::string &file) const;
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
    std::vector<int> onScreenNameReads() const;

    // Called by the test doubles.
    void record(LogLine line);
    std::optional<std::string> readSetting(const std::string &key);
    int wait(const std::string &event, int timeout);
    std::string onScreenName(int sourceType);

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
    std::vector<int> m_onScreenNameReads;
};

#endif
