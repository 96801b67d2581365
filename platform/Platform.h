// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The four functions that the TV platform provides. This is their only declaration; the library
// never defines them. They resolve at link or load time, and a definition in the executable
// itself is the one used.
#ifndef SOURCE_API_PLATFORM_H
#define SOURCE_API_PLATFORM_H

#include <string>

// Writes one line to the platform's log. logId 0 is the main log; priority 4 is info, 6 error.
// The result is ignored.
extern "C" int __dlog_print(int logId, int priority, const char *tag, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

// The value of a settings key as a heap copy that the caller releases with free(), or null when
// the key cannot be read.
extern "C" char *vconf_get_str(const char *key);

// Blocks until the named event has happened or the time-out has passed.
extern "C" int FerrelWaitEvent(const char *eventName, int timeout);

class CSourceUtil {
 public:
    // The legacy on-screen name of a source type, "----" when the type is unknown.
    static std::string GetLagacySourceType(int sourceType);
};

#endif
