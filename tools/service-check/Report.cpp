// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Report.h"

#include <iomanip>

namespace {

constexpr int outcomeWidth = 8;
constexpr int idWidth = 23;

std::string detailsOf(const Finding &finding) {
    switch (finding.outcome) {
        case Outcome::Kept:
            return "seen: " + finding.seen;
        case Outcome::Broken:
            return "expected: " + finding.expected + "; seen: " + finding.seen;
        case Outcome::Skipped:
            break;
    }
    return finding.seen;
}

Json::Value recordOf(const Promise &promise, const Finding &finding) {
    Json::Value record;
    record["id"] = promise.id;
    record["promise"] = promise.sentence;
    record["outcome"] = nameOf(finding.outcome);
    if (finding.outcome == Outcome::Broken) {
        record["expected"] = finding.expected;
    }
    record[finding.outcome == Outcome::Skipped ? "reason" : "seen"] = finding.seen;
    return record;
}

}  // namespace

void Report::add(const Promise &promise, const Finding &finding) {
    ++m_counts[static_cast<std::size_t>(finding.outcome)];
    if (m_asJson) {
        m_promises.append(recordOf(promise, finding));
        return;
    }
    m_out << std::left << std::setw(outcomeWidth) << nameOf(finding.outcome) << std::setw(idWidth)
          << promise.id << promise.sentence << " (" << detailsOf(finding) << ")" << std::endl;
}

bool Report::finish() {
    Json::Value summary;
    std::string text;
    for (const Outcome outcome : {Outcome::Kept, Outcome::Broken, Outcome::Skipped}) {
        summary[nameOf(outcome)] = count(outcome);
        text += (text.empty() ? "" : ", ") + std::to_string(count(outcome)) + " " + nameOf(outcome);
    }
    if (m_asJson) {
        Json::Value report;
        report["promises"] = m_promises;
        report["summary"] = summary;
        Json::StreamWriterBuilder format;
        format["indentation"] = "  ";
        text = Json::writeString(format, report);
    }
    m_out << text << std::endl;
    return static_cast<bool>(m_out);
}
