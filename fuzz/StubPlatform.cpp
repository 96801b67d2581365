// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "StubPlatform.h"

#include <glib.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "Fuzzing.h"
#include "Platform.h"
#include "SourceAPI.h"

namespace fuzz {

std::optional<std::string> storedNames;

CSourceAPI *clientWithoutBus() {
    static CSourceAPI *const client = [] {
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", TRUE);
        return CSourceAPI::Get();
    }();
    return client;
}

}  // namespace fuzz

extern "C" int __dlog_print(int /*logId*/, int /*priority*/, const char * /*tag*/,
                            const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int size = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    fuzz::require(size >= 0, "a log line can be formatted");
    return size;
}

extern "C" char *vconf_get_str(const char *key) {
    fuzz::require(std::strcmp(key, "db/source-list/source-name") == 0,
                  "only the sources' names are read from the settings store");
    return fuzz::storedNames ? strdup(fuzz::storedNames->c_str()) : nullptr;
}

extern "C" int FerrelWaitEvent(const char * /*eventName*/, int /*timeout*/) {
    return 0;
}

std::string CSourceUtil::GetLagacySourceType(int /*sourceType*/) {
    return "----";
}
