// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Encoding and decoding of the bodies of method calls, replies and signals.
//
//   (suss)       sender, number, auxiliary text, message text
//   (sussa(y))   the same and a buffer as an array of one-byte structures
//
// In the second form a single zero byte means "no buffer".
#ifndef SOURCE_API_MESSAGE_BODY_H
#define SOURCE_API_MESSAGE_BODY_H

#include <string>

#include "GLibPtr.h"
#include "SourceTCMessage.h"

namespace source_api::internal {

// The method to call, and its body.
struct MethodCall {
    const char *method;
    VariantPtr body;
};

// The call that sends `message` (an empty message when null); its text is generated from its JSON.
// The body refers to the message's buffer, so the message must outlive it.
MethodCall makeMethodCall(const std::string &sender, const SourceTCMessage *message);

// The fields of a body. All pointers point into the body; the buffer is null when there is none.
struct BodyView {
    const char *sender = nullptr;
    guint32 number = 0;
    const char *auxText = nullptr;
    const char *text = nullptr;
    const unsigned char *buffer = nullptr;
    unsigned int bufferSize = 0;
};

// False, and `view` is unchanged, when the body has another type.
bool readBody(GVariant *body, BodyView &view);

}  // namespace source_api::internal

#endif
