// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SUPPORT_TIMER_H
#define SUPPORT_TIMER_H

#include <glib.h>

#include <chrono>
#include <functional>

namespace support {

// Runs an action once after a delay, on the default main context. Destroying the timer cancels it.
class Timer {
 public:
    Timer() = default;
    ~Timer() { stop(); }
    Timer(const Timer &) = delete;
    Timer &operator=(const Timer &) = delete;

    // Replaces a pending action. The action may restart or destroy the timer.
    void start(std::chrono::milliseconds delay, std::function<void()> action);
    void stop();

 private:
    static gboolean fire(gpointer timer);

    guint m_id = 0;
    std::function<void()> m_action;
};

}  // namespace support

#endif
