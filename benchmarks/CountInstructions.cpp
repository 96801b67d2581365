// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Under callgrind: the instructions of the whole process for requests through the library, then
// for the same requests by hand. Each part is written out as a profile of its own.
#include <valgrind/callgrind.h>

#include "ByHand.h"
#include "sourcelist-dotnet-api.h"

namespace {

constexpr int calls = 200;
constexpr int sourceType = 3;

}  // namespace

int main() {
    const ByHand hand;
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
