// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SERVICE_CHECK_REPORT_H
#define SERVICE_CHECK_REPORT_H

#include <json/json.h>

#include <array>
#include <ostream>

#include "Promise.h"

// What has been found so far, told to people line by line or to programs at the end.
class Report {
 public:
    Report(std::ostream &out, bool asJson) : m_out(out), m_asJson(asJson) {}

    void add(const Promise &promise, const Finding &finding);
    // The rest of it. False when something could not be written.
    bool finish();

    int count(Outcome outcome) const { return m_counts[static_cast<std::size_t>(outcome)]; }

 private:
    std::ostream &m_out;
    bool m_asJson;
    std::array<int, 3> m_counts{};
    Json::Value m_promises = Json::arrayValue;
};

#endif
