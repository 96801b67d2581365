// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Measures the library against what an application would write by hand. --quick runs everything
// once; all else is as the benchmark library has it.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>

#include "Benchmarks.h"
#include "Bus.h"

int main(int argc, char **argv) {
    char **const end = argv + argc;
    char **const kept =
        std::remove_if(argv, end, [](const char *text) { return !std::strcmp(text, "--quick"); });
    const Plan plan{kept != end};
    argc = static_cast<int>(kept - argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    try {
        const Bus bus;
        addConnectBenchmarks(plan);
        addListBenchmarks(plan);
        addSignalBenchmarks(plan);
        addNameBenchmarks(plan);
        addProcessBenchmarks(plan);
        addOtherLibraryBenchmarks(plan);
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception &exception) {
        std::fprintf(stderr, "error: %s\n", exception.what());
        return 1;
    }
    return isAnythingBroken() ? 1 : 0;
}
