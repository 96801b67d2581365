// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_LOCK_STATE_H
#define TESTS_LOCK_STATE_H

#include <future>

#include "SourceTCHandler.h"

// True if no thread holds `mutex`, the calling thread included.
template <class Mutex>
bool isFree(Mutex &mutex) {
    const auto tryLock = [&mutex] {
        const bool taken = mutex.try_lock();
        if (taken) {
            mutex.unlock();
        }
        return taken;
    };
    return std::async(std::launch::async, tryLock).get();
}

inline bool isFree(SourceTCMutex &mutex) {
    const auto tryLock = [&mutex] {
        const bool taken = mutex.Try(0) == 1;
        mutex.Unlock();
        return taken;
    };
    return std::async(std::launch::async, tryLock).get();
}

#endif
