// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Threads of a test, and waiting for what they do.
#ifndef TESTS_THREADS_H
#define TESTS_THREADS_H

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

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

// That something does not happen has no event: a blocked thread gets this long to prove otherwise.
template <class Future>
bool staysBlocked(const Future &work) {
    return work.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
}

// How long `work` takes when nothing holds it up, in microseconds: the best of a few times.
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

// Waits for one line of the log.
class LogLineWaiter {
 public:
    explicit LogLineWaiter(const std::string &text) {
        FakePlatform::get().onLog([text, state = m_state](const LogLine &line) {
            if (line.text == text) {
                std::call_once(state->once, [&] { state->logged.set_value(); });
            }
        });
    }
    ~LogLineWaiter() { FakePlatform::get().onLog(nullptr); }
    LogLineWaiter(const LogLineWaiter &) = delete;
    LogLineWaiter &operator=(const LogLineWaiter &) = delete;

    bool comes() const { return ends(m_future); }

 private:
    struct State {
        std::once_flag once;
        std::promise<void> logged;
    };
    std::shared_ptr<State> m_state = std::make_shared<State>();
    std::future<void> m_future = m_state->logged.get_future();
};

#endif
