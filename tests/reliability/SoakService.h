// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The service of the soak test, which runs in its own process.
#ifndef TESTS_SOAK_SERVICE_H
#define TESTS_SOAK_SERVICE_H

// The number of sources in its list.
constexpr unsigned int soakSources = 10;

// Serves on the system bus and emits change signals at the given rate per second until it is
// killed. Each element of a list contains the generation of the list, counted from `generation`.
int serveUnderLoad(long generation, int signalsPerSecond);

#endif
