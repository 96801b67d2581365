// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "FakePlatform.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "Platform.h"

namespace {

constexpr std::string_view prefix = "%s: %s(%d) > [%s:%d] ";

std::string formatted(const char *format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int size = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(static_cast<std::size_t>(size), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

}  // namespace

std::ostream &operator<<(std::ostream &out, const LogLine &line) {
    return out << "{" << line.priority << " " << line.file << " " << line.function << " \""
               << line.text << "\"}";
}

FakePlatform &FakePlatform::get() {
    // Never destroyed: the library logs while the process exits.
    static auto &platform = *new FakePlatform;
    return platform;
}

std::vector<LogLine> FakePlatform::log() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_log;
}

std::vector<LogLine> FakePlatform::logOf(const std::string &function) const {
    std::vector<LogLine> lines;
    for (const LogLine &line : log()) {
        if (line.function == function) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::vector<LogLine> FakePlatform::logOfFile(const std::string &file) const {
    std::vector<LogLine> lines;
    for (const LogLine &line : log()) {
        if (line.file == file) {
            lines.push_back(line);
        }
    }
    return lines;
}

void FakePlatform::clearLog() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_log.clear();
}

void FakePlatform::onLog(std::function<void(const LogLine &)> observer) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_logObserver = std::move(observer);
}

void FakePlatform::setSetting(const std::string &key, std::optional<std::string> value) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (value) {
        m_settings[key] = *value;
    } else {
        m_settings.erase(key);
    }
}

void FakePlatform::setSourceNames(std::optional<std::string> document) {
    setSetting("db/source-list/source-name", std::move(document));
}

std::vector<std::string> FakePlatform::settingReads() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_settingReads;
}

void FakePlatform::onSettingRead(std::function<void()> observer) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_settingObserver = std::move(observer);
}

std::vector<std::pair<std::string, int>> FakePlatform::waits() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_waits;
}

void FakePlatform::setWaitResult(int result) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_waitResult = result;
}

void FakePlatform::setOnScreenName(int sourceType, const std::string &name) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_onScreenNames[sourceType] = name;
}

std::vector<int> FakePlatform::onScreenNameReads() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_onScreenNameReads;
}

void FakePlatform::record(LogLine line) {
    std::function<void(const LogLine &)> observer;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_log.push_back(line);
        observer = m_logObserver;
    }
    if (observer) {
        observer(line);
    }
}

std::optional<std::string> FakePlatform::readSetting(const std::string &key) {
    std::function<void()> observer;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_settingReads.push_back(key);
        observer = m_settingObserver;
    }
    if (observer) {
        observer();
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto setting = m_settings.find(key);
    return setting != m_settings.end() ? std::optional<std::string>(setting->second) : std::nullopt;
}

int FakePlatform::wait(const std::string &event, int timeout) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_waits.emplace_back(event, timeout);
    return m_waitResult;
}

std::string FakePlatform::onScreenName(int sourceType) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_onScreenNameReads.push_back(sourceType);
    const auto name = m_onScreenNames.find(sourceType);
    return name != m_onScreenNames.end() ? name->second : "----";
}

extern "C" int __dlog_print(int logId, int priority, const char *tag, const char *format, ...) {
    EXPECT_EQ(logId, 0);
    EXPECT_STREQ(tag, "SOURCE_API");
    const std::string_view whole(format);
    const bool wellFormed =
        whole.substr(0, prefix.size()) == prefix && !whole.empty() && whole.back() == '\n';
    EXPECT_TRUE(wellFormed) << format;
    if (!wellFormed) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    LogLine line;
    line.priority = priority;
    line.file = va_arg(arguments, const char *);
    line.function = va_arg(arguments, const char *);
    line.line = va_arg(arguments, int);
    EXPECT_EQ(line.function, va_arg(arguments, const char *));
    EXPECT_EQ(line.line, va_arg(arguments, int));
    line.text = formatted(format + prefix.size(), arguments);
    va_end(arguments);
    line.text.pop_back();
    const auto size = static_cast<int>(line.text.size());
    FakePlatform::get().record(std::move(line));
    return size;
}

extern "C" char *vconf_get_str(const char *key) {
    const std::optional<std::string> value = FakePlatform::get().readSetting(key);
    return value ? strdup(value->c_str()) : nullptr;
}

extern "C" int FerrelWaitEvent(const char *eventName, int timeout) {
    return FakePlatform::get().wait(eventName, timeout);
}

std::string CSourceUtil::GetLagacySourceType(int sourceType) {
    return FakePlatform::get().onScreenName(sourceType);
}
