// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_FLOOD_H
#define EMULATED_TV_FLOOD_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

#include "Timer.h"

namespace emulated_tv {

// Emits a number of signals, while calls go on being answered in between.
class Flood {
 public:
    // Without a rate as fast as it can be done. Takes the place of a flood that is under way.
    void start(std::uint32_t count, std::optional<std::uint32_t> perSecond,
               std::function<void()> emit);
    void stop() { m_timer.stop(); }

 private:
    using Clock = std::chrono::steady_clock;

    void emitDue();
    std::uint64_t due() const;

    std::function<void()> m_emit;
    std::uint64_t m_count = 0;
    std::uint64_t m_sent = 0;
    std::optional<std::uint32_t> m_perSecond;
    Clock::time_point m_start;
    support::Timer m_timer;
};

}  // namespace emulated_tv

#endif
