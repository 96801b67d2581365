// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Compares the library with an implementation by hand. --quick runs every benchmark once; the other
// options are those of the benchmark library.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>

#include "BenchmarkBus.h"
#include "Harness.h"

int main(int argc, char **argv) {
    char **const end = argv + argc;
    char **const newEnd =
        std::remove_if(argv, end, [](const char *text) { return !std::strcmp(text, "--quick"); });
    const bench::Plan plan{newEnd != end};
    argc = static_cast<int>(newEnd - argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    try {
        const bench::BenchmarkBus bus;
        bench::addCallBenchmarks(plan);
        bench::addCacheBenchmarks(plan);
        bench::addProcessBenchmarks(plan);
        bench::addOtherLibraryBenchmarks(plan);
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception &exception) {
        std::fprintf(stderr, "error: %s\n", exception.what());
        return 1;
    }
    return bench::hasErrors() ? 1 : 0;
}
