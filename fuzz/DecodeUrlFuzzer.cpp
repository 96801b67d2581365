// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// An input is a percent-encoded text.
#include "Fuzzing.h"
#include "Literal.h"
#include "SourceAPI.h"
#include "Surroundings.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text = inputText(data, size);
    const std::string decoded = clientWithoutBus()->m_DecodeURL(text);
    require(decoded == literal::decoded(text), "escapes are decoded one by one");
    require(decoded.size() <= text.size(), "decoding never makes a text longer");
    return 0;
}
