// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// How a difference of two lists is told.
#ifndef SOURCECTL_DIFFERENCE_REPORT_H
#define SOURCECTL_DIFFERENCE_REPORT_H

#include <json/json.h>

#include <string>
#include <vector>

#include "Difference.h"

// One line for each source concerned.
std::vector<std::string> describe(const Difference &difference);

// {"added": [...], "removed": [...], "changed": [{"before": ..., "after": ...}]}
Json::Value toJson(const Difference &difference);

#endif
