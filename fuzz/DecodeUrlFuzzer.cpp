// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Input: a percent-encoded text.
#include "Fuzzing.h"
#include "ReferenceModel.h"
#include "SourceApiPeer.h"
#include "StubPlatform.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text = fuzz::inputText(data, size);
    fuzz::clientWithoutBus();
    const std::string decoded = ClientPeer::decodeUrl(text);
    fuzz::require(decoded == reference::decoded(text),
                  "escapes are decoded as in the reference model");
    fuzz::require(decoded.size() <= text.size(), "decoding never makes a text longer");
    return 0;
}
