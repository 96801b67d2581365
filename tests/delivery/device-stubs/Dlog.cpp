// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <cstdarg>
#include <cstdio>

#include "Platform.h"

int __dlog_print(int logId, int priority, const char *tag, const char *format, ...) {
    std::fprintf(stderr, "dlog %d %d %s: ", logId, priority, tag);
    va_list values;
    va_start(values, format);
    const int written = std::vfprintf(stderr, format, values);
    va_end(values);
    return written;
}
