// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_TIMER_H
#define EMULATED_TV_TIMER_H

#include <glib.h>

#include <chrono>
#include <functional>

// Does something once, on the main context, when a time has passed; nothing when it goes earlier.
class Timer {
 public:
    Timer() = default;
    ~Timer() { stop(); }
    Timer(const Timer &) = delete;
    Timer &operator=(const Timer &) = delete;

    // In place of what it was to do before. The action may start it again, or destroy it.
    void start(std::chrono::milliseconds delay, std::function<void()> action);
    void stop();

 private:
    static gboolean fire(gpointer timer);

    guint m_id = 0;
    std::function<void()> m_action;
};

#endif
