// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_OTHERS_CAN_LOCK_H
#define TESTS_OTHERS_CAN_LOCK_H

#include <future>

// Whether another thread could take `mutex` now: nobody holds it, the calling thread included.
template <class Mutex>
bool othersCanLock(Mutex &mutex) {
    const auto tryIt = [&mutex] {
        const bool taken = mutex.try_lock();
        if (taken) {
            mutex.unlock();
        }
        return taken;
    };
    return std::async(std::launch::async, tryIt).get();
}

#endif
