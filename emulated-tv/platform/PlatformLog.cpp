// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The platform's log function, implemented with GLib's structured logging.
#include <glib.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#pragma GCC visibility push(default)
#include "Platform.h"
#pragma GCC visibility pop

namespace {

// A formatted text, on the heap only if it is long.
class Line {
 public:
    Line(const char *format, va_list arguments) __attribute__((format(printf, 2, 0))) {
        va_list again;
        va_copy(again, arguments);
        // A false positive: the analyzer does not follow a va_list that is passed on.
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
        m_length = vsnprintf(m_short.data(), m_short.size(), format, arguments);
        if (m_length >= static_cast<int>(m_short.size())) {
            const auto size = static_cast<std::size_t>(m_length) + 1;
            m_long = std::make_unique<char[]>(size);
            vsnprintf(m_long.get(), size, format, again);
        }
        va_end(again);
    }

    // Negative if the format is invalid.
    int length() const { return m_length; }

    const char *withoutNewline() {
        char *text = m_long ? m_long.get() : m_short.data();
        if (m_length > 0 && text[m_length - 1] == '\n') {
            text[m_length - 1] = '\0';
        }
        return text;
    }

 private:
    std::array<char, 1024> m_short;
    std::unique_ptr<char[]> m_long;
    int m_length;
};

// A number as text, without heap memory.
class Decimal {
 public:
    explicit Decimal(int value) { snprintf(m_text.data(), m_text.size(), "%d", value); }
    const char *text() const { return m_text.data(); }

 private:
    std::array<char, 12> m_text;
};

class Fields {
 public:
    void add(const char *key, const char *value) {
        if (value != nullptr) {
            m_fields[m_count++] = {key, value, -1};
        }
    }
    void send(GLogLevelFlags level) const {
        g_log_structured_array(level, m_fields.data(), m_count);
    }

 private:
    std::array<GLogField, 8> m_fields;
    gsize m_count = 0;
};

// The position in the source code, if the format begins with the library's prefix.
struct CodePlace {
    const char *file = nullptr;
    const char *function = nullptr;
    int line = 0;
};

CodePlace codePlace(const char *format, va_list arguments) {
    static constexpr char prefix[] = "%s: %s(%d) > [%s:%d] ";
    CodePlace place;
    if (strncmp(format, prefix, sizeof prefix - 1) == 0) {
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
        place.file = va_arg(arguments, const char *);
        place.function = va_arg(arguments, const char *);
        place.line = va_arg(arguments, int);
    }
    return place;
}

const char *syslogPriority(int platformPriority) {
    switch (platformPriority) {
        case 2:  // verbose
        case 3:  // debug
            return "7";
        case 4:  // info
            return "6";
        case 5:  // warning
            return "4";
        case 6:  // error
            return "3";
        case 7:  // fatal
            return "2";
        default:
            return "5";
    }
}

// The library logs its normal progress at error priority, which would flood a terminal. GLib prints
// debug lines only if G_MESSAGES_DEBUG requests them. The journal gets everything, with PRIORITY.
GLogLevelFlags glibLevel() {
    static const bool toJournal = g_log_writer_is_journald(fileno(stderr)) != FALSE;
    return toJournal ? G_LOG_LEVEL_MESSAGE : G_LOG_LEVEL_DEBUG;
}

int print(int logId, int priority, const char *tag, const char *format, va_list arguments)
    __attribute__((format(printf, 4, 0)));

int print(int logId, int priority, const char *tag, const char *format, va_list arguments) {
    va_list placeArguments;
    va_copy(placeArguments, arguments);
    const CodePlace place = codePlace(format, placeArguments);
    va_end(placeArguments);

    Line line(format, arguments);
    if (line.length() < 0) {
        return line.length();
    }
    const Decimal codeLine(place.line);
    const Decimal logNumber(logId);
    const Decimal logPriority(priority);
    Fields fields;
    fields.add("MESSAGE", line.withoutNewline());
    fields.add("PRIORITY", syslogPriority(priority));
    fields.add("GLIB_DOMAIN", tag);
    fields.add("CODE_FILE", place.file);
    fields.add("CODE_FUNC", place.function);
    fields.add("CODE_LINE", place.file != nullptr ? codeLine.text() : nullptr);
    fields.add("SOURCE_LOG_ID", logNumber.text());
    fields.add("SOURCE_LOG_PRIORITY", logPriority.text());
    fields.send(glibLevel());
    return line.length();
}

}  // namespace

int __dlog_print(int logId, int priority, const char *tag, const char *format, ...) {
    if (format == nullptr) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    const int length = print(logId, priority, tag, format, arguments);
    va_end(arguments);
    return length;
}
