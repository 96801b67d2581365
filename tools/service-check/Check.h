// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SERVICE_CHECK_CHECK_H
#define SERVICE_CHECK_CHECK_H

#include "Options.h"
#include "Report.h"

// Looks at one promise after another. Throws Unreachable when there is no service, or when the bus
// goes away, and Interrupted when it was told to end; the TV is as it was in any case.
void checkService(const Options &options, Report &report);

struct Interrupted {
    int signal;
};

#endif
