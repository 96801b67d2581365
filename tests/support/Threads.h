// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Threads in tests, and waiting for their actions.
#ifndef TESTS_THREADS_H
#define TESTS_THREADS_H

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "Event.h"
#include "FakePlatform.h"
#include "LockState.h"
#include "SourceTCHandler.h"
#include "TestBus.h"

template <class Function>
auto onThread(Function function) {
    return std::async(std::launch::async, std::move(function));
}

template <class Future>
bool ends(const Future &work) {
    return work.wait_for(std::chrono::milliseconds(waitLimit)) == std::future_status::ready;
}

// There is no event for an action that does not happen, so this waits for a fixed time.
template <class Future>
bool staysBlocked(const Future &work) {
    return work.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
}

// The shortest duration of several runs of `work`, in microseconds.
template <class Work>
gint64 shortestTimeOf(const Work &work) {
    constexpr int times = 5;
    gint64 shortest = G_MAXINT64;
    for (int time = 0; time < times; ++time) {
        const gint64 start = g_get_monotonic_time();
        work();
        shortest = std::min(shortest, g_get_monotonic_time() - start);
    }
    return shortest;
}

// A lock that another thread holds until release().
class LockHolder {
 public:
    explicit LockHolder(SourceTCMutex &mutex) {
        std::promise<void> held;
        m_thread = std::thread([&] {
            mutex.Lock();
            held.set_value();
            m_released.get_future().wait();
            mutex.Unlock();
        });
        held.get_future().wait();
    }
    ~LockHolder() { release(); }
    LockHolder(const LockHolder &) = delete;
    LockHolder &operator=(const LockHolder &) = delete;

    void release() {
        if (m_thread.joinable()) {
            m_released.set_value();
            m_thread.join();
        }
    }

 private:
    std::promise<void> m_released;
    std::thread m_thread;
};

// Waits for the `number`th line of the log that `operation` writes from now on.
class LogLineWaiter {
 public:
    explicit LogLineWaiter(const std::string &operation, int number = 1) {
        FakePlatform::get().onLog([operation, number, state = m_state](const LogLine &line) {
            if (line.function == operation && ++state->written == number) {
                state->event.set();
            }
        });
    }
    ~LogLineWaiter() { FakePlatform::get().onLog(nullptr); }
    LogLineWaiter(const LogLineWaiter &) = delete;
    LogLineWaiter &operator=(const LogLineWaiter &) = delete;

    // False if it was not written within the limit.
    bool wait() const { return m_state->event.wait(); }

 private:
    struct State {
        std::atomic<int> written{0};
        Event event;
    };
    // Shared, as a thread may still be writing a line when the waiter is destroyed.
    std::shared_ptr<State> m_state = std::make_shared<State>();
};

#endif
