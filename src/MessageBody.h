// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The layout of what travels on the bus: the one place that knows it.
//
//   (suss)       sender, number, auxiliary text, message text
//   (sussa(y))   the same and a buffer, as an array of one-byte structures
//
// A peer that has no buffer but must send the second shape sends a single zero byte.
#ifndef SOURCE_API_MESSAGE_BODY_H
#define SOURCE_API_MESSAGE_BODY_H

#include <string>

#include "GLibPtr.h"
#include "SourceTCMessage.h"

// The method that takes a body, and the body.
struct MethodCall {
    const char *method;
    VariantPtr body;
};

// The call that delivers `message` (nothing when null), whose JSON is written anew. The body
// borrows the message's buffer, so the message must outlive it.
MethodCall makeMethodCall(const std::string &sender, const SourceTCMessage *message);

// What a body holds. The texts are the body's own; the buffer is null when there is none.
struct BodyView {
    const char *sender = nullptr;
    guint32 number = 0;
    const char *auxText = nullptr;
    const char *text = nullptr;
    const unsigned char *buffer = nullptr;
    unsigned int bufferSize = 0;
};

// Reads a body into `view`. False for a body of any other type.
bool readBody(GVariant *body, BodyView &view);

#endif
