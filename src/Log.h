// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The one way to the platform's log. The prefix, the text and the newline are one literal, so
// that the platform can tell the arguments of the prefix from those of the text.
#ifndef SOURCE_API_LOG_H
#define SOURCE_API_LOG_H

#include "Platform.h"

// g++ knows this macro since its version 12.
#ifndef __FILE_NAME__
constexpr const char *baseNameOf(const char *path) {
    const char *name = path;
    for (; *path != '\0'; ++path) {
        name = *path == '/' ? path + 1 : name;
    }
    return name;
}
#define __FILE_NAME__ baseNameOf(__FILE__)
#endif

#define SOURCE_API_LOG(priority, message, ...)                                                   \
    __dlog_print(0, priority, "SOURCE_API", "%s: %s(%d) > [%s:%d] " message "\n", __FILE_NAME__, \
                 __func__, __LINE__, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

#define LOG_INFO(...) SOURCE_API_LOG(4, __VA_ARGS__)
#define LOG_ERROR(...) SOURCE_API_LOG(6, __VA_ARGS__)

// What "%s" shows for a text that may be missing.
inline const char *orNull(const char *text) {
    return text != nullptr ? text : "(null)";
}

#endif
