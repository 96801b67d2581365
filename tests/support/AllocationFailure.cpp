// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "AllocationFailure.h"

#include <new>

namespace {

constexpr int disarmed = -1;
thread_local int successesLeft = disarmed;

}  // namespace

AllocationFailure::AllocationFailure(int successes) {
    successesLeft = successes;
}

AllocationFailure::~AllocationFailure() {
    successesLeft = disarmed;
}

bool AllocationFailure::happened() const {
    return successesLeft == disarmed;
}

// The throwing form does the work, so that the matching delete fits.
void *operator new(std::size_t size, const std::nothrow_t & /*tag*/) noexcept {
    if (successesLeft != disarmed && successesLeft-- == 0) {
        return nullptr;
    }
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}
