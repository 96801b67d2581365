// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The buffer of a message as a vector of bytes.
#ifndef TESTS_MESSAGE_BUFFER_H
#define TESTS_MESSAGE_BUFFER_H

#include <vector>

#include "SourceTCMessage.h"

using Bytes = std::vector<unsigned char>;

// The bytes of the buffer of a message.
inline Bytes bytesOf(const SourceTCMessage &message) {
    unsigned char *data = nullptr;
    const unsigned int size = message.GetBuffer(data);
    return data != nullptr ? Bytes(data, data + size) : Bytes();
}

inline void setBytes(SourceTCMessage &message, const Bytes &bytes) {
    message.SetBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

#endif
