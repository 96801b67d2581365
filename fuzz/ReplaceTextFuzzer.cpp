// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The first two characters of an input tell how long the text to find and its replacement are,
// counted from '0'. Both follow, and then the text to change.
#include "Fuzzing.h"
#include "Literal.h"
#include "SourceAPI.h"

namespace {

// Cuts off the first `size` characters.
std::string cut(std::string &text, std::size_t size) {
    std::string head = text.substr(0, size);
    text.erase(0, size);
    return head;
}

std::size_t length(char digit) {
    return static_cast<unsigned char>(digit - '0');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string input = inputText(data, size);
    const std::string lengths = cut(input, 2);
    if (lengths.size() < 2) {
        return 0;
    }
    const std::string from = cut(input, length(lengths[0]));
    const std::string to = cut(input, length(lengths[1]));
    std::string text = input;
    CSourceAPI::m_ReplaceText(text, from, to);
    require(text == literal::replaced(input, from, to),
            "occurrences are replaced from left to right, but for one at the very end");
    require(!from.empty() || text == input, "an empty text to find changes nothing");
    return 0;
}
