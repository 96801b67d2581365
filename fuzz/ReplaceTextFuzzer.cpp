// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Input: two characters that encode the lengths of the text to find and of its replacement as the
// offset from '0', then these two texts, then the text to change.
#include "Fuzzing.h"
#include "ReferenceModel.h"
#include "SourceAPI.h"
#include "SourceApiPeer.h"

namespace {

// Removes and returns the first `size` characters.
std::string take(std::string &text, std::size_t size) {
    std::string head = text.substr(0, size);
    text.erase(0, size);
    return head;
}

std::size_t length(char digit) {
    return static_cast<unsigned char>(digit - '0');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string input = fuzz::inputText(data, size);
    const std::string lengths = take(input, 2);
    if (lengths.size() < 2) {
        return 0;
    }
    const std::string from = take(input, length(lengths[0]));
    const std::string to = take(input, length(lengths[1]));
    std::string text = input;
    ClientPeer::replaceText(text, from, to);
    fuzz::require(text == reference::replaced(input, from, to),
                  "occurrences are replaced from left to right, except one at the very end");
    fuzz::require(!from.empty() || text == input, "an empty text to find changes nothing");
    return 0;
}
