// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// An event that one thread sets and another waits for.
#ifndef TESTS_EVENT_H
#define TESTS_EVENT_H

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "TestBus.h"

class Event {
 public:
    void set() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_happened = true;
        m_changed.notify_all();
    }

    // False when it did not happen within the limit.
    bool wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::milliseconds(waitLimit),
                                  [this] { return m_happened; });
    }

 private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_happened = false;
};

#endif
