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

namespace emulated_tv {

// A scenario with mistakes: the text has a line "FILE:LINE: what is wrong" for each.
class ScenarioError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

struct ScenarioEvent {
    // From the start of the command.
    std::chrono::milliseconds due;
    // "FILE:LINE".
    std::string place;
    // As it stands in the file, which the schema describes.
    Json::Value what;
};

// A TV, and what happens at it.
class Scenario {
 public:
    // The name of the file is for messages only. Throws ScenarioError.
    Scenario(const std::string &file, const std::string &text);

    // Empty when the scenario does not say.
    const std::optional<SourceModel> &tv() const { return m_tv; }
    const std::vector<ScenarioEvent> &events() const { return m_events; }

    // Finds the events that cannot happen when the TV begins with these sources. Throws
    // ScenarioError.
    void rehearse(SourceModel model) const;

 private:
    std::optional<SourceModel> m_tv;
    std::vector<ScenarioEvent> m_events;
};

// Makes an event happen. Throws Refusal, as the TV does.
void carryOut(const Json::Value &event, EmulatedTv &tv);

}  // namespace emulated_tv

#endif
