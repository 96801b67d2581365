// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceTCMessage.h"

#include <cstring>

#include "JsonText.h"
#include "Log.h"

using source_api::internal::defaultWriterBuilder;
using source_api::internal::readJson;

namespace {

unsigned char *copyBytes(const unsigned char *data, unsigned int size) {
    if (size == 0) {
        return nullptr;
    }
    auto *const copy = new unsigned char[size];
    std::memcpy(copy, data, size);
    return copy;
}

}  // namespace

SourceTCData::SourceTCData() : m_WriterBuilder(defaultWriterBuilder()) {}

SourceTCData::SourceTCData(const std::string &text)
    : m_Message(text), m_WriterBuilder(defaultWriterBuilder()) {
    Parse();
}

SourceTCData::SourceTCData(const SourceTCData &other)
    : m_Message(other.m_Message),
      m_JsonRoot(other.m_JsonRoot),
      m_WriterBuilder(defaultWriterBuilder()) {
    Generate();
}

SourceTCData &SourceTCData::operator=(const SourceTCData &other) {
    if (this != &other) {
        m_Message = other.m_Message;
        m_JsonRoot = other.m_JsonRoot;
    }
    return *this;
}

SourceTCData::~SourceTCData() = default;

bool SourceTCData::Parse() {
    if (!m_JsonRoot.empty()) {
        return true;
    }
    bool parsed = false;
    try {
        parsed = readJson(m_Message, m_JsonRoot, &m_Error);
    } catch (const Json::Exception &exception) {
        m_Error = exception.what();
    }
    if (!parsed) {
        m_JsonRoot = Json::Value();
        LOG_INFO(" NOT JSON TYPE MESSAGE!");
    }
    return parsed;
}

void SourceTCData::Generate() {
    if (!m_JsonRoot.empty()) {
        m_Message = Json::writeString(m_WriterBuilder, m_JsonRoot);
    }
}

std::string SourceTCData::GetMessage() {
    if (m_Message.empty()) {
        Generate();
    }
    return m_Message;
}

std::string SourceTCData::GetMessage() const {
    if (!m_JsonRoot.empty() && m_Message.empty()) {
        return "<<WARN: JSON TYPE MESSAGE, GENERATE STRING FIRST>>";
    }
    return m_Message;
}

std::string SourceTCData::GetError() {
    return m_Error.empty() ? "no error" : m_Error;
}

bool SourceTCData::SetMessage(const std::string &text) {
    m_JsonRoot = Json::Value();
    m_Error.clear();
    m_Message = text;
    return Parse();
}

SourceTCMessage::SourceTCMessage() : m_AuxNumber(0), m_Buffer(nullptr), m_BufferSize(0) {}

SourceTCMessage::SourceTCMessage(const SourceTCMessage &other)
    : SourceTCData(other),
      m_AuxNumber(other.m_AuxNumber),
      m_AuxText(other.m_AuxText),
      m_Buffer(copyBytes(other.m_Buffer, other.m_BufferSize)),
      m_BufferSize(other.m_BufferSize) {}

SourceTCMessage &SourceTCMessage::operator=(const SourceTCMessage &other) {
    if (this != &other) {
        m_AuxNumber = other.m_AuxNumber;
        m_AuxText = other.m_AuxText;
        SourceTCData::operator=(other);
        Generate();
        SetBuffer(other.m_Buffer, other.m_BufferSize);
    }
    return *this;
}

SourceTCMessage::~SourceTCMessage() {
    delete[] m_Buffer;
}

void SourceTCMessage::SetBuffer(const unsigned char *data, unsigned int size) {
    // Copied before the old one is deleted: `data` may point into it.
    unsigned char *const copy = copyBytes(data, size);
    delete[] m_Buffer;
    m_Buffer = copy;
    m_BufferSize = size;
}

unsigned int SourceTCMessage::GetBuffer(unsigned char *&data) const {
    data = m_Buffer;
    return m_BufferSize;
}

unsigned int SourceTCMessage::CopyBuffer(unsigned char **data) const {
    if (data == nullptr || m_Buffer == nullptr) {
        return 0;
    }
    *data = copyBytes(m_Buffer, m_BufferSize);
    return m_BufferSize;
}
