// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SCENARIO_H
#define EMULATED_TV_SCENARIO_H

#include <json/json.h>
#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "EmulatedTv.h"
#include "SourceModel.h"
#include "Timer.h"

namespace emulated_tv {

// Thrown for an invalid scenario. The text has a line "FILE:LINE: what is wrong" for each mistake.
class ScenarioError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

struct ScenarioEvent {
    // From the start of the command.
    std::chrono::milliseconds due;
    // "FILE:LINE".
    std::string place;
    // The event's object in the file. Its members are described by the schema.
    Json::Value what;
};

// A list of timed events at a TV, and optionally the TV's initial sources.
class Scenario {
 public:
    // The file name is used in messages only. Throws ScenarioError.
    Scenario(const std::string &file, const std::string &text);

    // Empty if the scenario does not describe the TV.
    const std::optional<SourceModel> &tv() const { return m_tv; }
    const std::vector<ScenarioEvent> &events() const { return m_events; }

    // Throws ScenarioError if there are events that a TV with these initial sources refuses.
    void rehearse(SourceModel model) const;

 private:
    std::optional<SourceModel> m_tv;
    std::vector<ScenarioEvent> m_events;
};

// Applies an event to the TV. Throws Refusal.
void applyEvent(const Json::Value &event, EmulatedTv &tv);

// Applies a scenario's events to a TV at their times, from the main loop. Refusals are printed on
// standard error.
class Player {
 public:
    // The TV must outlive the player.
    Player(Scenario scenario, EmulatedTv &tv);

    // Starts the scenario's clock. Further calls have no effect.
    void start();
    // Cancels the remaining events.
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
