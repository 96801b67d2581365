// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Promise.h"
#include "Words.h"

namespace {

Finding checkKept(Session &session) {
    session.bus.catchUp();
    const std::size_t changes = session.bus.owners().size();
    if (changes != 0) {
        return broken("one owner all the time", "its owner changed " + std::to_string(changes) +
                                                    " times while the check ran");
    }
    return kept("one owner all the time");
}

}  // namespace

Promises namePromises() {
    return {
        {"name-kept", "The service keeps the bus name, whatever it is asked", "", checkKept},
    };
}
