// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Logging. Prefix, text and newline are one literal, so that the platform can separate the
// arguments of the prefix from those of the text.
#ifndef SOURCE_API_LOG_H
#define SOURCE_API_LOG_H

#include "Platform.h"

// g++ knows this macro since its version 12.
#ifndef __FILE_NAME__
namespace source_api::internal {
constexpr const char *baseName(const char *path) {
    const char *name = path;
    for (; *path != '\0'; ++path) {
        name = *path == '/' ? path + 1 : name;
    }
    return name;
}
}  // namespace source_api::internal
#define __FILE_NAME__ source_api::internal::baseName(__FILE__)
#endif

#define SOURCE_API_LOG(priority, function, message, ...)                                         \
    __dlog_print(0, priority, "SOURCE_API", "%s: %s(%d) > [%s:%d] " message "\n", __FILE_NAME__, \
                 function, __LINE__, function, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

#define LOG_INFO(...) SOURCE_API_LOG(4, __func__, __VA_ARGS__)
#define LOG_ERROR(...) SOURCE_API_LOG(6, __func__, __VA_ARGS__)
// For a helper whose lines belong to the function of that name.
#define LOG_INFO_AS(function, ...) SOURCE_API_LOG(4, function, __VA_ARGS__)

namespace source_api::internal {

// The argument for "%s" where the text may be null.
inline const char *orNull(const char *text) {
    return text != nullptr ? text : "(null)";
}

}  // namespace source_api::internal

#endif
