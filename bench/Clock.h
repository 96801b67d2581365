// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef BENCH_CLOCK_H
#define BENCH_CLOCK_H

#include <chrono>

template <class Work>
double secondsOf(const Work &work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

#endif
