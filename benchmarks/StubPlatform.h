// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Stubs of the four platform functions with negligible cost.
#ifndef BENCH_STUB_PLATFORM_H
#define BENCH_STUB_PLATFORM_H

#include <string>

namespace bench {

// Sets the names document in the settings store, which is an empty array initially.
void setStoredNames(const std::string &document);

}  // namespace bench

#endif
