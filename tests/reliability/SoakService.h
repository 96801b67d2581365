// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The service that a soak runs against, in a process of its own.
#ifndef TESTS_SOAK_SERVICE_H
#define TESTS_SOAK_SERVICE_H

// How many sources its list has.
constexpr unsigned int soakSources = 10;

// Serves on the system bus and emits that many change signals a second until it is killed. Every
// list carries its generation in each element, counted from `generation`.
int serveUnderLoad(long generation, int signalsPerSecond);

#endif
