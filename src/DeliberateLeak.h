// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Marks memory that the library leaks on purpose, so that a leak checker does not report it. For
// valgrind, which has no such call, the memory is kept reachable instead.
#ifndef SOURCE_API_DELIBERATE_LEAK_H
#define SOURCE_API_DELIBERATE_LEAK_H

#if defined(__SANITIZE_ADDRESS__)
#define SOURCE_API_HAS_LEAK_CHECKER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SOURCE_API_HAS_LEAK_CHECKER 1
#endif
#endif

#ifdef SOURCE_API_HAS_LEAK_CHECKER
#include <sanitizer/lsan_interface.h>
#endif

#ifdef SOURCE_API_KEEP_DELIBERATE_LEAKS
#include <mutex>
#include <vector>
#endif

namespace source_api::internal {

inline void leakOnPurpose([[maybe_unused]] const void *memory) {
#if defined(SOURCE_API_HAS_LEAK_CHECKER)
    __lsan_ignore_object(memory);
#elif defined(SOURCE_API_KEEP_DELIBERATE_LEAKS)
    static auto &mutex = *new std::mutex;
    static auto &kept = *new std::vector<const void *>;
    const std::lock_guard<std::mutex> lock(mutex);
    kept.push_back(memory);
#endif
}

}  // namespace source_api::internal

#endif
