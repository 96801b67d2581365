// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The load of the soak test: every function of both C interfaces, with results that can be checked.
#ifndef TESTS_SOAK_LOAD_H
#define TESTS_SOAK_LOAD_H

#include <atomic>
#include <mutex>
#include <string>

// The findings of all threads: the number of wrong results, and the first of them.
class Findings {
 public:
    void expect(bool right, const std::string &what) {
        if (right) {
            return;
        }
        ++m_wrong;
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_example.empty()) {
            m_example = what;
        }
    }
    long wrong() const { return m_wrong; }
    std::string example() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_example;
    }

 private:
    std::atomic<long> m_wrong{0};
    mutable std::mutex m_mutex;
    std::string m_example;
};

extern Findings findings;

// Calls every function once and checks what it returns. `turn` varies the arguments.
void useEveryEntryPoint(int turn);

#endif
