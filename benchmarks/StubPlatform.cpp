// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "StubPlatform.h"

#include <cstring>

#include "Platform.h"

namespace bench {

namespace {

std::string &storedNames() {
    static std::string names = "[]";
    return names;
}

}  // namespace

void setStoredNames(const std::string &document) {
    storedNames() = document;
}

}  // namespace bench

extern "C" int __dlog_print(int /*logId*/, int /*priority*/, const char * /*tag*/,
                            const char * /*format*/, ...) {
    return 0;
}

extern "C" char *vconf_get_str(const char * /*key*/) {
    return strdup(bench::storedNames().c_str());
}

extern "C" int FerrelWaitEvent(const char * /*eventName*/, int /*timeout*/) {
    return 0;
}

std::string CSourceUtil::GetLagacySourceType(int /*sourceType*/) {
    return "HDMI 1";
}
