// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Timer.h"

#include <utility>

namespace support {

void Timer::start(std::chrono::milliseconds delay, std::function<void()> action) {
    stop();
    m_action = std::move(action);
    m_id = g_timeout_add(static_cast<guint>(delay.count()), fire, this);
}

void Timer::stop() {
    if (m_id != 0) {
        g_source_remove(std::exchange(m_id, 0));
    }
}

gboolean Timer::fire(gpointer timer) {
    auto *self = static_cast<Timer *>(timer);
    self->m_id = 0;
    const auto action = std::exchange(self->m_action, nullptr);
    action();
    return G_SOURCE_REMOVE;
}

}  // namespace support
