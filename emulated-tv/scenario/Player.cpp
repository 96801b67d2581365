// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Player.h"

#include <iostream>
#include <stdexcept>
#include <utility>

namespace emulated_tv {

Player::Player(Scenario scenario, EmulatedTv &tv) : m_scenario(std::move(scenario)), m_tv(tv) {}

void Player::start() {
    if (!m_isPlaying) {
        m_isPlaying = true;
        m_start = Clock::now();
        playDue();
    }
}

void Player::playDue() {
    const auto &events = m_scenario.events();
    while (m_next < events.size()) {
        const auto left = m_start + events[m_next].due - Clock::now();
        if (left > Clock::duration::zero()) {
            m_timer.start(std::chrono::ceil<std::chrono::milliseconds>(left),
                          [this] { playDue(); });
            return;
        }
        play(events[m_next++]);
    }
}

void Player::play(const ScenarioEvent &event) {
    try {
        carryOut(event.what, m_tv);
    } catch (const std::runtime_error &error) {
        std::cerr << event.place << ": " << error.what() << std::endl;
    }
}

}  // namespace emulated_tv
