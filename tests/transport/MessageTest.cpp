// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <memory>
#include <type_traits>
#include <vector>

#include "FakePlatform.h"
#include "MessageBuffer.h"
#include "ObjectLayout.h"
#include "SourceTCMessage.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char *generated = "{\n\t\"a\" : 1\n}";

void expectNoBuffer(const SourceTCMessage &message) {
    EXPECT_EQ(message.m_Buffer, nullptr);
    EXPECT_EQ(message.m_BufferSize, 0U);
}

// A message with every field set, and a text that is older than its JSON.
SourceTCMessage &filled(SourceTCMessage &message) {
    message.SetMessage(R"({"old":true})");
    message.m_JsonRoot = Json::Value();
    message.m_JsonRoot["a"] = 1;
    message.m_Error = "its error";
    message.m_AuxNumber = 7;
    message.m_AuxText = "auxiliary";
    setBytes(message, {1, 0, 255});
    return message;
}

void expectWholeCopy(const SourceTCMessage &copy, const SourceTCMessage &original) {
    EXPECT_EQ(copy.m_AuxNumber, 7U);
    EXPECT_EQ(copy.m_AuxText, "auxiliary");
    EXPECT_EQ(copy.m_JsonRoot, original.m_JsonRoot);
    EXPECT_EQ(copy.m_Message, generated);
    EXPECT_THAT(bytesOf(copy), ElementsAre(1, 0, 255));
    EXPECT_NE(copy.m_Buffer, original.m_Buffer);
}

TEST(MessageTest, IsAData) {
    static_assert(std::is_convertible_v<SourceTCMessage *, SourceTCData *>);
}

TEST(MessageTest, NewOneIsEmpty) {
    const SourceTCMessage message;
    EXPECT_EQ(message.GetMessage(), "");
    EXPECT_TRUE(message.m_JsonRoot.isNull());
    EXPECT_EQ(message.m_AuxNumber, 0U);
    EXPECT_EQ(message.m_AuxText, "");
    expectNoBuffer(message);
    EXPECT_THAT(FakePlatform::get().log(), IsEmpty());
}

TEST(MessageTest, ACopyHasEverythingButTheErrorAndIsGenerated) {
    SourceTCMessage message;
    const SourceTCMessage copy(filled(message));
    expectWholeCopy(copy, message);
    EXPECT_EQ(copy.m_Error, "");
    EXPECT_EQ(message.m_Message, R"({"old":true})");
}

TEST(MessageTest, AssignmentCopiesEverythingButTheErrorAndGenerates) {
    SourceTCMessage message;
    SourceTCMessage assigned;
    assigned.m_Error = "of before";
    setBytes(assigned, {9, 9});
    assigned = filled(message);
    expectWholeCopy(assigned, message);
    EXPECT_EQ(assigned.m_Error, "of before");
}

TEST(MessageTest, AssignmentToItselfChangesNothing) {
    SourceTCMessage message;
    const SourceTCMessage &same = filled(message);
    const unsigned char *const buffer = message.m_Buffer;
    message = same;
    EXPECT_EQ(message.m_Message, R"({"old":true})") << "it is not even generated";
    EXPECT_EQ(message.m_Buffer, buffer);
    EXPECT_THAT(bytesOf(message), ElementsAre(1, 0, 255));
    EXPECT_EQ(message.m_AuxNumber, 7U);
}

TEST(MessageTest, CopiesOfAMessageWithoutBufferHaveNone) {
    const SourceTCMessage message;
    expectNoBuffer(SourceTCMessage(message));
    SourceTCMessage assigned;
    setBytes(assigned, {9, 9});
    assigned = message;
    expectNoBuffer(assigned);
}

TEST(MessageTest, ACopyOutlivesItsOriginal) {
    auto message = std::make_unique<SourceTCMessage>();
    filled(*message);
    const SourceTCMessage copy(*message);
    SourceTCMessage assigned;
    assigned = *message;
    message.reset();
    EXPECT_THAT(bytesOf(copy), ElementsAre(1, 0, 255));
    EXPECT_THAT(bytesOf(assigned), ElementsAre(1, 0, 255));
}

TEST(MessageTest, SetBufferCopiesTheBytes) {
    SourceTCMessage message;
    Bytes bytes{1, 2};
    setBytes(message, bytes);
    bytes[0] = 9;
    EXPECT_EQ(message.m_BufferSize, 2U);
    EXPECT_THAT(bytesOf(message), ElementsAre(1, 2));
}

TEST(MessageTest, SetBufferReplacesTheOldBuffer) {
    SourceTCMessage message;
    setBytes(message, {1, 2});
    setBytes(message, {3, 4, 5});
    EXPECT_THAT(bytesOf(message), ElementsAre(3, 4, 5));
}

TEST(MessageTest, SetBufferOfSizeZeroRemovesTheBuffer) {
    SourceTCMessage message;
    setBytes(message, {1, 2});
    const unsigned char byte = 1;
    message.SetBuffer(&byte, 0);
    expectNoBuffer(message);
    message.SetBuffer(nullptr, 0);
    expectNoBuffer(message);
}

TEST(MessageTest, GetBufferHandsOutTheBufferItself) {
    SourceTCMessage message;
    setBytes(message, {1, 2});
    unsigned char *data = nullptr;
    EXPECT_EQ(message.GetBuffer(data), 2U);
    EXPECT_EQ(data, message.m_Buffer);
    data[0] = 9;
    EXPECT_THAT(bytesOf(message), ElementsAre(9, 2));
}

TEST(MessageTest, GetBufferWithoutABufferSetsNull) {
    unsigned char other = 0;
    unsigned char *data = &other;
    EXPECT_EQ(SourceTCMessage().GetBuffer(data), 0U);
    EXPECT_EQ(data, nullptr);
}

TEST(MessageTest, CopyBufferHandsOutACopyForTheCallerToRelease) {
    SourceTCMessage message;
    setBytes(message, {1, 2});
    unsigned char *data = nullptr;
    EXPECT_EQ(message.CopyBuffer(&data), 2U);
    ASSERT_NE(data, nullptr);
    EXPECT_NE(data, message.m_Buffer);
    EXPECT_THAT(Bytes(data, data + 2), ElementsAre(1, 2));
    delete[] data;
    EXPECT_THAT(bytesOf(message), ElementsAre(1, 2));
}

TEST(MessageTest, CopyBufferWithoutABufferLeavesItsArgumentAlone) {
    unsigned char other = 0;
    unsigned char *data = &other;
    EXPECT_EQ(SourceTCMessage().CopyBuffer(&data), 0U);
    EXPECT_EQ(data, &other);
}

TEST(MessageTest, CopyBufferIntoNothingReturnsZero) {
    SourceTCMessage message;
    setBytes(message, {1, 2});
    EXPECT_EQ(message.CopyBuffer(nullptr), 0U);
    EXPECT_THAT(bytesOf(message), ElementsAre(1, 2));
}

TEST(MessageTest, ItsVirtualOperationsAreTheDestructor) {
    expectVirtualOperations(SourceTCMessage(),
                            {"_ZN15SourceTCMessageD1Ev", "_ZN15SourceTCMessageD0Ev"});
}

TEST(MessageTest, ItsMembersLieInOrderAfterThoseOfItsBase) {
    const SourceTCMessage message;
    EXPECT_TRUE(areInOrder(&message.m_WriterBuilder, &message.m_AuxNumber, &message.m_AuxText,
                           &message.m_Buffer, &message.m_BufferSize));
}

}  // namespace
