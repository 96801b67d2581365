// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A change callback that records its values. Register `call` with the object as user data.
#ifndef TESTS_RECORDED_CALLBACK_H
#define TESTS_RECORDED_CALLBACK_H

#include <mutex>
#include <vector>

class RecordedCallback {
 public:
    static void call(int value, void *self) {
        auto *const recorded = static_cast<RecordedCallback *>(self);
        const std::lock_guard<std::mutex> lock(recorded->m_mutex);
        recorded->m_values.push_back(value);
    }

    std::vector<int> values() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_values;
    }

 private:
    mutable std::mutex m_mutex;
    std::vector<int> m_values;
};

#endif
