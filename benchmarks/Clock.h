// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef BENCH_CLOCK_H
#define BENCH_CLOCK_H

#include <ctime>

#include <chrono>

namespace bench {

// The wall-clock time of `work`.
template <class Work>
double secondsOf(const Work &work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// The CPU time that the calling thread spends on `work`.
template <class Work>
double processorSecondsOf(const Work &work) {
    const auto spent = [] {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
    };
    const double begin = spent();
    work();
    return spent() - begin;
}

}  // namespace bench

#endif
