// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Each registers the benchmarks of the file of that name.
#ifndef BENCH_BENCHMARKS_H
#define BENCH_BENCHMARKS_H

#include "Harness.h"

void addConnectBenchmarks(const Plan &plan);
void addListBenchmarks(const Plan &plan);
void addSignalBenchmarks(const Plan &plan);
void addNameBenchmarks(const Plan &plan);
void addProcessBenchmarks(const Plan &plan);
void addOtherLibraryBenchmarks(const Plan &plan);

// The sizes of list that are measured.
constexpr int listSizes[] = {10, 30, 100, 1000, 10000};

#endif
