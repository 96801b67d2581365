// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Scenario.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <set>

#include "Fault.h"
#include "Refusal.h"
#include "ScenarioSchema.h"
#include "SchemaCheck.h"

namespace emulated_tv {

namespace {

using std::chrono::milliseconds;

// Gathers mistakes, with the lines that they are in.
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
    static const Json::Value value = [] {
        Json::Value parsed;
        const std::string text = scenarioSchema;
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        reader->parse(text.data(), text.data() + text.size(), &parsed, nullptr);
        return parsed;
    }();
    return value;
}

// The reader says "* Line 3, Column 5\n  What is wrong.\n", and more of that.
std::string firstComplaint(const std::string &file, const std::string &complaints) {
    int line = 1;
    std::sscanf(complaints.c_str(), "* Line %d", &line);
    const std::size_t begin = std::min(complaints.find('\n') + 3, complaints.size());
    const std::string what = complaints.substr(begin, complaints.find('\n', begin) - begin);
    return file + ':' + std::to_string(line) + ": not JSON: " + what;
}

Json::Value parse(const std::string &file, const std::string &text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value document;
    std::string complaints;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &document, &complaints)) {
            return document;
        }
    } catch (const Json::Exception &) {
        throw ScenarioError(file + ":1: not JSON: nested too deeply");
    }
    throw ScenarioError(firstComplaint(file, complaints));
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

FaultOrder faultIn(const Json::Value &event) {
    FaultOrder order;
    order.kind = faultKind(event["kind"].asString());
    order.count = numberIn(event, "count");
    order.command = textIn(event, "command");
    order.delay = numberIn(event, "delay");
    order.perSecond = numberIn(event, "perSecond");
    return order;
}

// What happens to a source, at a TV or in a rehearsal. Other events leave it alone.
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

// What the schema cannot say of an event.
void checkEvent(const Json::Value &event, milliseconds previous, Report &report) {
    if (event.isMember("at") && milliseconds(event["at"].asInt()) < previous) {
        report.add(event["at"], "\"at\" must not be before the event above it, which happens at " +
                                    std::to_string(previous.count()));
    }
    if (event["do"] == "fault") {
        try {
            checkFaultOrder(faultIn(event));
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

void carryOut(const Json::Value &event, EmulatedTv &tv) {
    if (event["do"] == "fault") {
        tv.fault(faultIn(event));
    } else if (event["do"] == "emit") {
        tv.emit(static_cast<ListChange>(event["result"].asInt()));
    } else {
        changeSource(event, tv);
    }
}

}  // namespace emulated_tv
