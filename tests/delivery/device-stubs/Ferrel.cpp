// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <cstdio>

#include "Platform.h"

// The readiness event is always set.
int FerrelWaitEvent(const char *eventName, int timeout) {
    std::fprintf(stderr, "ferrel %s %d\n", eventName, timeout);
    return 0;
}
