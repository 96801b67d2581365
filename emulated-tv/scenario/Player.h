// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_PLAYER_H
#define EMULATED_TV_PLAYER_H

#include <chrono>
#include <cstddef>

#include "EmulatedTv.h"
#include "Scenario.h"
#include "Timer.h"

namespace emulated_tv {

// Plays the events of a scenario when their time has come, on the main context. What the TV
// refuses is said on standard error.
class Player {
 public:
    // The TV must outlive the playing.
    Player(Scenario scenario, EmulatedTv &tv);

    // The command has started. Saying so again changes nothing.
    void start();
    // What is not due yet does not happen.
    void stop() { m_timer.stop(); }

 private:
    using Clock = std::chrono::steady_clock;

    void playDue();
    void play(const ScenarioEvent &event);

    const Scenario m_scenario;
    EmulatedTv &m_tv;
    bool m_isPlaying = false;
    Clock::time_point m_start;
    std::size_t m_next = 0;
    support::Timer m_timer;
};

}  // namespace emulated_tv

#endif
