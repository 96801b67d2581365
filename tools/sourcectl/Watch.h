// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SOURCECTL_WATCH_H
#define SOURCECTL_WATCH_H

#include "Arguments.h"

// Prints the changes of the list as they arrive, until the watch ends as the arguments say or by
// an interrupt. Throws a Failure when the list or the bus is lost, or when fewer changes than
// asked for came in time.
void watchSources(const Arguments &arguments);

#endif
