// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Atomic access to members that the public headers declare with plain types.
#ifndef SOURCE_API_ATOMIC_H
#define SOURCE_API_ATOMIC_H

#include <atomic>

namespace source_api::internal {

template <class T>
T atomicLoad(T &plain) {
    return std::atomic_ref<T>(plain).load();
}

template <class T>
void atomicStore(T &plain, T value) {
    std::atomic_ref<T>(plain).store(value);
}

}  // namespace source_api::internal

#endif
