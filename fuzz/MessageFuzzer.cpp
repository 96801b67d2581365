// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Input: the text of a message, which is parsed, generated, copied and given a buffer.
#include <algorithm>
#include <memory>

#include "Fuzzing.h"
#include "JsonText.h"
#include "ReferenceModel.h"
#include "SourceTCMessage.h"

namespace {

using fuzz::require;

constexpr const char *warning = "<<WARN: JSON TYPE MESSAGE, GENERATE STRING FIRST>>";

// The expected JSON value and text.
struct Expected {
    explicit Expected(const std::string &text)
        : parsed(support::parseJson(text)),
          root(parsed.value_or(Json::Value())),
          isJsonType(!root.empty()),
          generated(isJsonType ? reference::written(root) : text) {}

    std::optional<Json::Value> parsed;
    Json::Value root;
    bool isJsonType;
    std::string generated;
};

void checkParsed(SourceTCData &message, const std::string &text, const Expected &expected) {
    require(message.m_JsonRoot == expected.root, "the JSON value is that of the text");
    require(message.m_Message == text, "parsing does not change the text");
    require(message.m_Error.empty() == expected.parsed.has_value(),
            "there is an error report if and only if the text is not JSON");
    require(message.GetError() == (expected.parsed ? "no error" : message.m_Error),
            "GetError() returns the reader's report or \"no error\"");
    require(message.Parse() == expected.parsed.has_value() && message.m_JsonRoot == expected.root,
            "parsing again has the same outcome");
}

void checkTexts(const std::string &text, const Expected &expected) {
    SourceTCMessage message;
    message.SetMessage(text);
    require(message.GetMessage() == text && std::as_const(message).GetMessage() == text,
            "both GetMessage() return the text that was set");
    message.m_Message.clear();
    require(std::as_const(message).GetMessage() == (expected.isJsonType ? warning : ""),
            "the const GetMessage() returns a warning instead of generating");
    require(message.GetMessage() == (expected.isJsonType ? expected.generated : ""),
            "the non-const GetMessage() generates the text");

    message.m_Message = "[";
    require(message.Parse() == expected.isJsonType, "an existing JSON value is not parsed again");
    require(message.m_Message == "[", "parsing does not change the text");
    message.Generate();
    require(message.m_Message == (expected.isJsonType ? expected.generated : "["),
            "generating replaces the text of a message of JSON type only");

    message.SetMessage("{");
    require(message.m_JsonRoot.isNull() && message.GetError() != "no error",
            "a text that is not JSON clears the JSON value");
    require(message.SetMessage(text) == expected.parsed.has_value(),
            "SetMessage() returns whether the text is JSON");
    checkParsed(message, text, expected);
}

bool sameBytes(const SourceTCMessage &left, const SourceTCMessage &right) {
    return left.m_BufferSize == right.m_BufferSize &&
           (left.m_BufferSize == 0
                ? left.m_Buffer == nullptr
                : left.m_Buffer != right.m_Buffer &&
                      std::equal(left.m_Buffer, left.m_Buffer + left.m_BufferSize, right.m_Buffer));
}

void checkCopy(const SourceTCMessage &copy, const SourceTCMessage &original,
               const Expected &expected) {
    require(copy.m_Message == expected.generated, "a copy's text is generated from the JSON value");
    require(copy.m_JsonRoot == original.m_JsonRoot, "a copy has the JSON value");
    require(copy.m_AuxNumber == original.m_AuxNumber && copy.m_AuxText == original.m_AuxText,
            "a copy has the number and the second text");
    require(sameBytes(copy, original), "a copy has its own buffer with the same bytes");
}

void checkCopies(const std::string &text, const Expected &expected) {
    auto original = std::make_unique<SourceTCMessage>();
    original->SetMessage(text);
    original->m_AuxNumber = static_cast<unsigned int>(text.size()) * 2654435761U;
    original->m_AuxText = text.substr(text.size() / 2);
    original->SetBuffer(reinterpret_cast<const unsigned char *>(text.data()),
                        static_cast<unsigned int>(text.size()));

    const SourceTCMessage copy(*original);
    checkCopy(copy, *original, expected);
    require(copy.m_Error.empty(), "a copy starts without an error report");

    SourceTCMessage assigned;
    assigned.SetMessage("{");
    const std::string report = assigned.m_Error;
    assigned.SetBuffer(reinterpret_cast<const unsigned char *>("xy"), 2);
    assigned = *original;
    checkCopy(assigned, *original, expected);
    require(assigned.m_Error == report, "assigning does not change the error report");

    SourceTCData base;
    base = *original;
    require(base.m_Message == text && base.m_JsonRoot == expected.root,
            "assigning the base alone does not generate");

    original.reset();
    unsigned char *bytes = nullptr;
    require(assigned.GetBuffer(bytes) == text.size() && bytes == assigned.m_Buffer,
            "GetBuffer() returns the buffer itself");
    require(std::string(bytes, bytes + assigned.m_BufferSize) == text,
            "a copy is independent of its original");
}

void checkBuffer(const std::string &text) {
    SourceTCMessage message;
    unsigned char *bytes = nullptr;
    require(message.CopyBuffer(nullptr) == 0 && message.CopyBuffer(&bytes) == 0 && bytes == nullptr,
            "without a buffer nothing is copied out");
    const auto size = static_cast<unsigned int>(text.size());
    message.SetBuffer(reinterpret_cast<const unsigned char *>(text.data()), size);
    message.SetBuffer(message.m_Buffer, size / 2);
    require(message.CopyBuffer(&bytes) == size / 2, "CopyBuffer() returns the size");
    const std::unique_ptr<unsigned char[]> owned(bytes);
    require((bytes == nullptr) == (size / 2 == 0), "an empty buffer is null");
    require(std::string(bytes, bytes + size / 2) == text.substr(0, size / 2),
            "a buffer can be replaced by a part of itself");
    message = *&message;
    require(message.m_BufferSize == size / 2, "assigning a message to itself changes nothing");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text = fuzz::inputText(data, size);
    const Expected expected(text);
    SourceTCData message(text);
    checkParsed(message, text, expected);
    checkTexts(text, expected);
    checkCopies(text, expected);
    checkBuffer(text);
    return 0;
}
