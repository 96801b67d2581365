// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Helpers of every fuzzer: parsing of the input, and assertions.
#ifndef FUZZ_FUZZING_H
#define FUZZ_FUZZING_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

// Processes one input. Defined by each fuzzer; called by the fuzzing engine, or by Replay.cpp.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace fuzz {

// Aborts with `rule` as the message if it is violated.
inline void require(bool holds, const char *rule) {
    if (!holds) {
        std::fprintf(stderr, "violated: %s\n", rule);
        std::abort();
    }
}

inline std::string inputText(const std::uint8_t *data, std::size_t size) {
    return size == 0 ? std::string() : std::string(reinterpret_cast<const char *>(data), size);
}

// The first line without its newline, and the remaining text.
inline std::pair<std::string, std::string> splitLine(const std::string &text) {
    const std::size_t end = text.find('\n');
    return end == std::string::npos ? std::make_pair(text, std::string())
                                    : std::make_pair(text.substr(0, end), text.substr(end + 1));
}

// The text up to its first zero byte.
inline std::string cText(const std::string &text) {
    return text.substr(0, text.find('\0'));
}

}  // namespace fuzz

#endif
