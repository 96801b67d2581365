// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef BENCH_CLOCK_H
#define BENCH_CLOCK_H

#include <ctime>

#include <chrono>

// The time that passes while `work` is done.
template <class Work>
double secondsOf(const Work &work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// The processor's time that the calling thread spends on `work`: who else runs does not show.
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

#endif
