// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Flood.h"

#include <algorithm>
#include <utility>

namespace emulated_tv {

using std::chrono::milliseconds;

void Flood::start(std::uint32_t count, std::optional<std::uint32_t> perSecond,
                  std::function<void()> emit) {
    m_emit = std::move(emit);
    m_count = count;
    m_sent = 0;
    m_perSecond = perSecond;
    m_start = Clock::now();
    m_timer.start(milliseconds(0), [this] { emitDue(); });
}

void Flood::emitDue() {
    // A machine that is behind must not catch up at the expense of the calls in between.
    constexpr std::uint64_t atOnce = 50;
    for (const std::uint64_t limit = std::min(due(), m_sent + atOnce); m_sent < limit; ++m_sent) {
        m_emit();
    }
    if (m_sent < m_count) {
        const auto pause = m_perSecond ? std::max(1U, 1000 / *m_perSecond) : 0;
        m_timer.start(milliseconds(pause), [this] { emitDue(); });
    }
}

// How many should have been sent by now.
std::uint64_t Flood::due() const {
    if (!m_perSecond) {
        return m_count;
    }
    const auto passed = std::chrono::duration_cast<milliseconds>(Clock::now() - m_start);
    const auto sent = static_cast<std::uint64_t>(passed.count()) * *m_perSecond / 1000;
    return std::min(1 + sent, m_count);
}

}  // namespace emulated_tv
