// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Marks memory that the library gives up on purpose, so that a leak checker reports every other
// leak and not these.
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

inline void leakOnPurpose([[maybe_unused]] const void *memory) {
#ifdef SOURCE_API_HAS_LEAK_CHECKER
    __lsan_ignore_object(memory);
#endif
}

#endif
