// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_BARRIER_H
#define TESTS_BARRIER_H

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "TestBus.h"

// A point that threads pass together: each waits until `expected` threads have arrived.
class Barrier {
 public:
    explicit Barrier(int expected) : m_missing(expected) {}

    // Fails the test when the others do not arrive within the limit.
    void arriveAndWait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        --m_missing;
        m_changed.notify_all();
        EXPECT_TRUE(m_changed.wait_for(lock, std::chrono::milliseconds(waitLimit),
                                       [this] { return m_missing <= 0; }));
    }

 private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_missing;
};

#endif
