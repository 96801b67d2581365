// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// An input is the text of a message. It is parsed, generated, copied and given a buffer.
#include <algorithm>
#include <memory>

#include "Fuzzing.h"
#include "Literal.h"
#include "SourceTCMessage.h"

namespace {

constexpr const char *warning = "<<WARN: JSON TYPE MESSAGE, GENERATE STRING FIRST>>";

// What the text stands for.
struct Meaning {
    explicit Meaning(const std::string &text)
        : parsed(literal::parsed(text)),
          root(parsed.value_or(Json::Value())),
          isJsonType(!root.empty()),
          generated(isJsonType ? literal::written(root) : text) {}

    std::optional<Json::Value> parsed;
    Json::Value root;
    bool isJsonType;
    std::string generated;
};

void checkParsed(SourceTCData &message, const std::string &text, const Meaning &meaning) {
    require(message.m_JsonRoot == meaning.root, "the JSON value is that of the text");
    require(message.m_Message == text, "parsing leaves the text alone");
    require(message.m_Error.empty() == meaning.parsed.has_value(),
            "there is an error report exactly when the text is not JSON");
    require(message.GetError() == (meaning.parsed ? "no error" : message.m_Error),
            "the error report is the reader's, or says that there is none");
    require(message.Parse() == meaning.parsed.has_value() && message.m_JsonRoot == meaning.root,
            "parsing again has the same outcome");
}

void checkTexts(const std::string &text, const Meaning &meaning) {
    SourceTCMessage message;
    message.SetMessage(text);
    require(message.GetMessage() == text && std::as_const(message).GetMessage() == text,
            "both readers return the text that was set");
    message.m_Message.clear();
    require(std::as_const(message).GetMessage() == (meaning.isJsonType ? warning : ""),
            "a reader that cannot generate says so");
    require(message.GetMessage() == (meaning.isJsonType ? meaning.generated : ""),
            "a reader that can generate does so");

    message.m_Message = "[";
    require(message.Parse() == meaning.isJsonType, "JSON that is there is not read again");
    require(message.m_Message == "[", "parsing leaves the text alone");
    message.Generate();
    require(message.m_Message == (meaning.isJsonType ? meaning.generated : "["),
            "generating replaces the text of a message of JSON type only");

    message.SetMessage("{");
    require(message.m_JsonRoot.isNull() && message.GetError() != "no error",
            "a text that is not JSON clears what was there");
    require(message.SetMessage(text) == meaning.parsed.has_value(),
            "setting a text tells whether it is JSON");
    checkParsed(message, text, meaning);
}

bool sameBytes(const SourceTCMessage &left, const SourceTCMessage &right) {
    return left.m_BufferSize == right.m_BufferSize &&
           (left.m_BufferSize == 0
                ? left.m_Buffer == nullptr
                : left.m_Buffer != right.m_Buffer &&
                      std::equal(left.m_Buffer, left.m_Buffer + left.m_BufferSize, right.m_Buffer));
}

void checkCopy(const SourceTCMessage &copy, const SourceTCMessage &original,
               const Meaning &meaning) {
    require(copy.m_Message == meaning.generated, "a copy's text is generated anew");
    require(copy.m_JsonRoot == original.m_JsonRoot, "a copy has the JSON value");
    require(copy.m_AuxNumber == original.m_AuxNumber && copy.m_AuxText == original.m_AuxText,
            "a copy has the number and the second text");
    require(sameBytes(copy, original), "a copy has a buffer of its own with the same bytes");
}

void checkCopies(const std::string &text, const Meaning &meaning) {
    auto original = std::make_unique<SourceTCMessage>();
    original->SetMessage(text);
    original->m_AuxNumber = static_cast<unsigned int>(text.size()) * 2654435761U;
    original->m_AuxText = text.substr(text.size() / 2);
    original->SetBuffer(reinterpret_cast<const unsigned char *>(text.data()),
                        static_cast<unsigned int>(text.size()));

    const SourceTCMessage copy(*original);
    checkCopy(copy, *original, meaning);
    require(copy.m_Error.empty(), "a copy starts without an error report");

    SourceTCMessage assigned;
    assigned.SetMessage("{");
    const std::string report = assigned.m_Error;
    assigned.SetBuffer(reinterpret_cast<const unsigned char *>("xy"), 2);
    assigned = *original;
    checkCopy(assigned, *original, meaning);
    require(assigned.m_Error == report, "assigning leaves the error report alone");

    SourceTCData base;
    base = *original;
    require(base.m_Message == text && base.m_JsonRoot == meaning.root,
            "assigning the base alone does not generate");

    original.reset();
    unsigned char *bytes = nullptr;
    require(assigned.GetBuffer(bytes) == text.size() && bytes == assigned.m_Buffer,
            "a buffer is handed out as it is");
    require(std::string(bytes, bytes + assigned.m_BufferSize) == text,
            "a copy survives its original");
}

void checkBuffer(const std::string &text) {
    SourceTCMessage message;
    unsigned char *bytes = nullptr;
    require(message.CopyBuffer(nullptr) == 0 && message.CopyBuffer(&bytes) == 0 && bytes == nullptr,
            "without a buffer nothing is copied out");
    const auto size = static_cast<unsigned int>(text.size());
    message.SetBuffer(reinterpret_cast<const unsigned char *>(text.data()), size);
    message.SetBuffer(message.m_Buffer, size / 2);
    require(message.CopyBuffer(&bytes) == size / 2, "a buffer's size is told");
    const std::unique_ptr<unsigned char[]> owned(bytes);
    require((bytes == nullptr) == (size / 2 == 0), "a buffer of no bytes is none");
    require(std::string(bytes, bytes + size / 2) == text.substr(0, size / 2),
            "a buffer can be replaced by a part of itself");
    message = *&message;
    require(message.m_BufferSize == size / 2, "assigning a message to itself changes nothing");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text = inputText(data, size);
    const Meaning meaning(text);
    SourceTCData message(text);
    checkParsed(message, text, meaning);
    checkTexts(text, meaning);
    checkCopies(text, meaning);
    checkBuffer(text);
    return 0;
}
