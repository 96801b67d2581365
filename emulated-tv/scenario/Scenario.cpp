// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Scenario.h"

#include <algorithm>
#include <iostream>
#include <set>
#include <stdexcept>
#include <utility>

#include "Faults.h"
#include "JsonText.h"
#include "Refusal.h"
#include "ScenarioSchema.h"
#include "SchemaCheck.h"

namespace emulated_tv {

namespace {

using std::chrono::milliseconds;

// Collects mistakes with their lines.
class Report {
 public:
    Report(const std::string &file, const std::string &text) : m_file(file), m_text(text) {}

    std::string place(std::ptrdiff_t offset) const {
        const auto line = 1 + std::count(m_text.begin(), m_text.begin() + offset, '\n');
        return m_file + ':' + std::to_string(line);
    }
    void add(const Json::Value &where, const std::string &what) {
        addLine(place(where.getOffsetStart()), what);
    }
    void addLine(const std::string &place, const std::string &what) {
        m_lines += (m_lines.empty() ? "" : "\n") + place + ": " + what;
    }
    void throwIfAny() const {
        if (!m_lines.empty()) {
            throw ScenarioError(m_lines);
        }
    }

 private:
    const std::string m_file;
    const std::string &m_text;
    std::string m_lines;
};

const Json::Value &schema() {
    static const Json::Value value = support::parseJson(scenarioSchema).value_or(Json::nullValue);
    return value;
}

Json::Value parse(const std::string &file, const std::string &text) {
    const support::ParsedDocument parsed = support::parseStrictJson(text);
    if (!parsed.document) {
        throw ScenarioError(file + ':' + std::to_string(parsed.errorLine) +
                            ": not JSON: " + parsed.error);
    }
    return *parsed.document;
}

SourceModel modelOf(const Json::Value &tv, Report &report) {
    Json::Value complete = tv;
    const Json::Value &properties = schema()["definitions"]["source"]["properties"];
    std::set<std::string> keys;
    for (Json::Value &source : complete["sources"]) {
        for (const std::string &name : properties.getMemberNames()) {
            if (!source.isMember(name) && properties[name].isMember("default")) {
                source[name] = properties[name]["default"];
            }
        }
        if (!keys.insert(source["uniqueKey"].asString()).second) {
            report.add(source["uniqueKey"], "there is another source with this \"uniqueKey\"");
        }
    }
    try {
        return SourceModel::fromJson(complete);
    } catch (const Refusal &refusal) {
        report.add(tv["selected"], refusal.what());
        return {};
    }
}

std::optional<std::uint32_t> numberIn(const Json::Value &event, const char *name) {
    return event.isMember(name) ? std::optional(event[name].asUInt()) : std::nullopt;
}

std::optional<std::string> textIn(const Json::Value &event, const char *name) {
    return event.isMember(name) ? std::optional(event[name].asString()) : std::nullopt;
}

Fault faultIn(const Json::Value &event) {
    Fault fault;
    fault.kind = faultKind(event["kind"].asString());
    fault.count = numberIn(event, "count");
    fault.command = textIn(event, "command");
    fault.delay = numberIn(event, "delay");
    fault.perSecond = numberIn(event, "perSecond");
    return fault;
}

// Applies an event that concerns a source, to the TV or to the model of a rehearsal.
template <class Tv>
void changeSource(const Json::Value &event, Tv &tv) {
    const std::string what = event["do"].asString();
    const std::string source = event["source"].asString();
    if (what == "plug") {
        tv.plug(source, textIn(event, "name"), numberIn(event, "deviceType"));
    } else if (what == "unplug") {
        tv.unplug(source);
    } else if (what == "rename") {
        tv.rename(source, event["name"].asString());
    } else if (what == "power") {
        tv.setPower(source, event["state"] == "on");
    }
}

// Checks the rules that the schema cannot express.
void checkEvent(const Json::Value &event, milliseconds previous, Report &report) {
    if (event.isMember("at") && milliseconds(event["at"].asInt()) < previous) {
        report.add(event["at"], "\"at\" must not be before the event above it, which happens at " +
                                    std::to_string(previous.count()));
    }
    if (event["do"] == "fault") {
        try {
            checkFault(faultIn(event));
        } catch (const Refusal &refusal) {
            report.add(event, refusal.what());
        }
    }
}

}  // namespace

Scenario::Scenario(const std::string &file, const std::string &text) {
    const Json::Value document = parse(file, text);
    Report report(file, text);
    for (const Mistake &mistake : SchemaCheck(schema()).mistakesIn(document)) {
        report.addLine(report.place(mistake.offset), mistake.what);
    }
    report.throwIfAny();
    if (document.isMember("tv")) {
        m_tv = modelOf(document["tv"], report);
    }
    milliseconds time(0);
    for (const Json::Value &event : document["events"]) {
        checkEvent(event, time, report);
        time = event.isMember("at") ? milliseconds(event["at"].asInt())
                                    : time + milliseconds(event.get("after", 0).asInt());
        m_events.push_back({time, report.place(event.getOffsetStart()), event});
    }
    report.throwIfAny();
}

void Scenario::rehearse(SourceModel model) const {
    Report report("", "");
    for (const ScenarioEvent &event : m_events) {
        try {
            changeSource(event.what, model);
        } catch (const Refusal &refusal) {
            report.addLine(event.place, refusal.what());
        }
    }
    report.throwIfAny();
}

void applyEvent(const Json::Value &event, EmulatedTv &tv) {
    if (event["do"] == "fault") {
        tv.apply(faultIn(event));
    } else if (event["do"] == "emit") {
        tv.emit(static_cast<ListChange>(event["result"].asInt()));
    } else {
        changeSource(event, tv);
    }
}

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
        applyEvent(event.what, m_tv);
    } catch (const std::runtime_error &error) {
        std::cerr << event.place << ": " << error.what() << std::endl;
    }
}

}  // namespace emulated_tv
