// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The platform's four functions for a benchmark: they cost next to nothing.
#ifndef BENCH_SURROUNDINGS_H
#define BENCH_SURROUNDINGS_H

#include <string>

// What the settings store holds from now on, an empty list at first.
void setStoredNames(const std::string &document);

#endif
