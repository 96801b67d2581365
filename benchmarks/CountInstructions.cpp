// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Run under callgrind: sends requests with the library and then the same requests by hand, and
// writes a separate profile of each part.
#include <valgrind/callgrind.h>

#include "ByHand.h"
#include "sourcelist-dotnet-api.h"

namespace {

constexpr int calls = 200;
constexpr int sourceType = 3;

}  // namespace

int main() {
    const bench::ByHand hand;
    bool done = connect_source(sourceType) && hand.connectSource(sourceType);
    CALLGRIND_ZERO_STATS;
    for (int turn = 0; turn < calls; ++turn) {
        done = connect_source(sourceType) && done;
    }
    CALLGRIND_DUMP_STATS_AT("library");
    for (int turn = 0; turn < calls; ++turn) {
        done = hand.connectSource(sourceType) && done;
    }
    CALLGRIND_DUMP_STATS_AT("hand");
    return done ? 0 : 1;
}
