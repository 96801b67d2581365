// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the benchmarks' source service and settings store hold.
#ifndef BENCH_LISTS_H
#define BENCH_LISTS_H

#include <json/json.h>

#include <string>

// A list of `sources` sources, the last of which is named after `generation`: lists of two
// generations differ, and only a comparison to the end finds it.
Json::Value sourceList(int sources, int generation = 0);

// The JSON values that `value` consists of, itself included.
long valuesIn(const Json::Value &value);

// As it travels on the bus.
std::string compactText(const Json::Value &value);

// A change signal's text.
std::string changeText(int sources, int generation);

// The settings store's names: one for each of the source types 1 to `entries`.
std::string namesDocument(int entries);

#endif
