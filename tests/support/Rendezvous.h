// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_RENDEZVOUS_H
#define TESTS_RENDEZVOUS_H

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "TestBus.h"

// A place where threads wait for each other.
class Rendezvous {
 public:
    explicit Rendezvous(int expected) : m_missing(expected) {}

    // Returns once everybody is there. The test fails when the limit passed first.
    void arrive() {
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
