// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The data of the benchmarks' source service and settings store.
#ifndef BENCH_SERVICE_DATA_H
#define BENCH_SERVICE_DATA_H

#include <json/json.h>

#include <string>

namespace bench {

// A list of `sources` sources. Lists of different generations differ in the last source only, so
// that a comparison takes the longest time.
Json::Value sourceList(int sources, int generation = 0);

// The number of JSON values in `value`, including itself.
long valuesIn(const Json::Value &value);

// The text of a change signal.
std::string changeText(int sources, int generation);

// A names document with one entry for each source type from 1 to `entries`.
std::string namesDocument(int entries);

}  // namespace bench

#endif
