// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <cstdlib>
#include <cstring>

#include "ReadinessEvent.h"
#include "SettingsStore.h"
#include "SourceTypes.h"
#include "TvRoot.h"

#pragma GCC visibility push(default)
#include "Platform.h"
#pragma GCC visibility pop

using namespace emulated_tv;

char *vconf_get_str(const char *key) {
    const auto root = tvRootFromEnvironment();
    if (key == nullptr || !root) {
        return nullptr;
    }
    const auto value = SettingsStore(*root).get(key);
    return value ? strdup(value->c_str()) : nullptr;
}

// The time-out is in milliseconds; a negative one counts as 0. Returns 0 if the event is set, -1
// otherwise.
int FerrelWaitEvent(const char *eventName, int timeout) {
    const auto root = tvRootFromEnvironment();
    if (eventName == nullptr || !root) {
        return -1;
    }
    const ReadinessEvent event(*root, eventName);
    return event.wait(std::chrono::milliseconds(timeout)) ? 0 : -1;
}

std::string CSourceUtil::GetLagacySourceType(int sourceType) {
    const char *name = onScreenName(sourceType);
    return name != nullptr ? name : "----";
}
