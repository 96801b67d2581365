// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <type_traits>

#include "FakePlatform.h"
#include "ObjectLayout.h"
#include "SourceTCMessage.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr const char *notJson = "two words";
// The text of {"a":1} with the default settings of the writer.
constexpr const char *generated = "{\n\t\"a\" : 1\n}";

Json::Value object() {
    Json::Value value;
    value["a"] = 1;
    return value;
}

// Deeper than the JSON reader's limit of 1000.
std::string nestedTooDeeply() {
    return std::string(2000, '[') + std::string(2000, ']');
}

bool isJsonType(const SourceTCData &data) {
    return !data.m_JsonRoot.empty();
}

class DataTest : public testing::Test {
 protected:
    FakePlatform &platform = FakePlatform::get();
};

TEST_F(DataTest, NewOneIsEmpty) {
    SourceTCData data;
    EXPECT_EQ(data.m_Message, "");
    EXPECT_EQ(data.m_Error, "");
    EXPECT_TRUE(data.m_JsonRoot.isNull());
    EXPECT_EQ(data.GetMessage(), "");
    EXPECT_EQ(data.GetError(), "no error");
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(DataTest, JsonTextIsParsedOnConstruction) {
    SourceTCData data(R"({"a":1})");
    EXPECT_EQ(data.m_JsonRoot, object());
    EXPECT_EQ(data.GetMessage(), R"({"a":1})");
    EXPECT_EQ(data.GetError(), "no error");
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(DataTest, OtherTextIsKeptWithTheErrorReport) {
    SourceTCData data(notJson);
    EXPECT_TRUE(data.m_JsonRoot.isNull());
    EXPECT_EQ(data.GetMessage(), notJson);
    EXPECT_THAT(data.GetError(), HasSubstr("Line 1, Column 1"));
    EXPECT_EQ(data.GetError(), data.m_Error);
}

TEST_F(DataTest, TextConvertsToItImplicitly) {
    static_assert(std::is_convertible_v<std::string, SourceTCData>);
    const SourceTCData data = std::string(R"({"a":1})");
    EXPECT_EQ(data.m_JsonRoot, object());
}

TEST_F(DataTest, EmptyTextIsNotJson) {
    SourceTCData data("");
    EXPECT_TRUE(data.m_JsonRoot.isNull());
    EXPECT_THAT(data.m_Error, Not(IsEmpty()));
}

TEST_F(DataTest, ParseDoesNotReadTheTextOfAMessageOfJsonType) {
    SourceTCData data;
    data.m_JsonRoot = object();
    data.m_Message = notJson;
    data.m_Error = "of before";
    EXPECT_TRUE(data.Parse());
    EXPECT_EQ(data.m_JsonRoot, object());
    EXPECT_EQ(data.m_Message, notJson);
    EXPECT_EQ(data.m_Error, "of before");
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(DataTest, ParseReadsTheTextOfAnyOtherMessage) {
    SourceTCData data;
    data.m_Message = R"({"a":1})";
    data.m_Error = "of before";
    EXPECT_TRUE(data.Parse());
    EXPECT_EQ(data.m_JsonRoot, object());
    EXPECT_EQ(data.GetError(), "no error");
}

TEST_F(DataTest, ParseReadsTheWholeTextBeyondAZeroByte) {
    SourceTCData data;
    data.m_Message = std::string("\0", 1) + R"({"a":1})";
    EXPECT_FALSE(data.Parse());
    data.m_Message = std::string("[\"x\0y\"]", 7);
    EXPECT_TRUE(data.Parse());
    EXPECT_EQ(data.m_JsonRoot[0].asString(), std::string("x\0y", 3));
}

TEST_F(DataTest, ParseUsesTheReadersDefaultSettings) {
    EXPECT_EQ(SourceTCData("// a comment\n{\"a\":1} and more").m_JsonRoot, object());
    EXPECT_FALSE(SourceTCData().SetMessage("{'a':1}"));
}

TEST_F(DataTest, TruncatedTextLeavesNothingParsed) {
    SourceTCData data;
    data.m_Message = R"({"a":1,"b":)";
    EXPECT_FALSE(data.Parse());
    EXPECT_TRUE(data.m_JsonRoot.isNull());
    EXPECT_THAT(data.m_Error, Not(IsEmpty()));
    EXPECT_EQ(data.m_Message, R"({"a":1,"b":)");
}

TEST_F(DataTest, AFailedParseLeavesNullWhereAnEmptyObjectWas) {
    SourceTCData data("{}");
    data.m_Message = notJson;
    EXPECT_FALSE(data.Parse());
    EXPECT_TRUE(data.m_JsonRoot.isNull());
}

TEST_F(DataTest, NestingBeyondTheReadersLimitIsAFailedParse) {
    SourceTCData data;
    EXPECT_FALSE(data.SetMessage(nestedTooDeeply()));
    EXPECT_TRUE(data.m_JsonRoot.isNull());
    EXPECT_EQ(data.GetMessage(), nestedTooDeeply());
    EXPECT_THAT(data.GetError(), HasSubstr("stackLimit"));
}

TEST_F(DataTest, ScalarsAreOfJsonType) {
    for (const char *text : {"5", "0", "false", "\"\"", "1.5"}) {
        SourceTCData data;
        EXPECT_TRUE(data.SetMessage(text)) << text;
        EXPECT_TRUE(isJsonType(data)) << text;
    }
}

TEST_F(DataTest, EmptyDocumentsAreJsonButNotOfJsonTypeSoTheyAreParsedAgain) {
    for (const char *text : {"{}", "[]", "null"}) {
        SourceTCData data;
        EXPECT_TRUE(data.SetMessage(text)) << text;
        EXPECT_FALSE(isJsonType(data)) << text;
        EXPECT_EQ(data.GetError(), "no error");
        data.m_Message = R"({"a":1})";
        EXPECT_TRUE(data.Parse());
        EXPECT_EQ(data.m_JsonRoot, object());
    }
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(DataTest, SetMessageReplacesTextAndJson) {
    SourceTCData data(R"({"old":true})");
    EXPECT_TRUE(data.SetMessage(R"({"a":1})"));
    EXPECT_EQ(data.m_JsonRoot, object());
    EXPECT_EQ(data.GetMessage(), R"({"a":1})");
}

TEST_F(DataTest, SetMessageWithOtherTextLeavesATextMessage) {
    SourceTCData data(R"({"old":true})");
    EXPECT_FALSE(data.SetMessage(notJson));
    EXPECT_TRUE(data.m_JsonRoot.isNull());
    EXPECT_EQ(data.GetMessage(), notJson);
    EXPECT_NE(data.GetError(), "no error");
}

TEST_F(DataTest, SetMessageEndsTheErrorOfTheTextBefore) {
    SourceTCData data(notJson);
    EXPECT_TRUE(data.SetMessage("{}"));
    EXPECT_EQ(data.GetError(), "no error");
}

TEST_F(DataTest, SetMessageReplacesAScalarAndAnArrayAsWell) {
    for (const char *text : {"5", "[1]", "\"text\"", "true"}) {
        SourceTCData data(text);
        ASSERT_TRUE(isJsonType(data));
        EXPECT_FALSE(data.SetMessage(notJson)) << text;
        EXPECT_TRUE(data.m_JsonRoot.isNull()) << text;
    }
}

TEST_F(DataTest, GenerateWritesTheJsonWithTheWritersDefaultSettings) {
    SourceTCData data;
    data.m_JsonRoot = object();
    data.Generate();
    EXPECT_EQ(data.m_Message, generated);
}

TEST_F(DataTest, GenerateFollowsTheMessagesOwnWriterSettings) {
    SourceTCData data;
    data.m_JsonRoot = object();
    data.m_WriterBuilder["indentation"] = "";
    data.Generate();
    EXPECT_EQ(data.m_Message, R"({"a":1})");
}

TEST_F(DataTest, GenerateLeavesATextMessageAlone) {
    SourceTCData data;
    data.m_Message = notJson;
    for (const Json::ValueType empty : {Json::nullValue, Json::arrayValue, Json::objectValue}) {
        data.m_JsonRoot = Json::Value(empty);
        data.Generate();
        EXPECT_EQ(data.m_Message, notJson);
    }
}

TEST_F(DataTest, GetMessageGeneratesATextThatIsMissing) {
    SourceTCData data;
    data.m_JsonRoot = object();
    EXPECT_EQ(data.GetMessage(), generated);
    EXPECT_EQ(data.m_Message, generated);
}

TEST_F(DataTest, GetMessageOfAConstantMessageReturnsAWarningInsteadOfGenerating) {
    SourceTCData data;
    data.m_JsonRoot = object();
    const SourceTCData &constant = data;
    EXPECT_EQ(constant.GetMessage(), "<<WARN: JSON TYPE MESSAGE, GENERATE STRING FIRST>>");
    EXPECT_EQ(data.m_Message, "");
    data.Generate();
    EXPECT_EQ(constant.GetMessage(), generated);
}

TEST_F(DataTest, GetMessageOfAConstantTextMessageIsItsText) {
    const SourceTCData empty;
    EXPECT_EQ(empty.GetMessage(), "");
    const SourceTCData text(notJson);
    EXPECT_EQ(text.GetMessage(), notJson);
}

TEST_F(DataTest, ChangedJsonIsInTheTextOnlyAfterGenerate) {
    SourceTCData data(R"({"old":true})");
    data.m_JsonRoot = object();
    EXPECT_EQ(data.GetMessage(), R"({"old":true})");
    EXPECT_EQ(static_cast<const SourceTCData &>(data).GetMessage(), R"({"old":true})");
    data.Generate();
    EXPECT_EQ(data.GetMessage(), generated);
}

TEST_F(DataTest, ACopyIsGenerated) {
    SourceTCData data(R"({"old":true})");
    data.m_JsonRoot = object();
    const SourceTCData copy(data);
    EXPECT_EQ(copy.m_JsonRoot, object());
    EXPECT_EQ(copy.m_Message, generated);
    EXPECT_EQ(data.m_Message, R"({"old":true})");
}

TEST_F(DataTest, ACopyStartsWithoutAnError) {
    const SourceTCData data(notJson);
    SourceTCData copy(data);
    EXPECT_EQ(copy.GetMessage(), notJson);
    EXPECT_TRUE(copy.m_JsonRoot.isNull());
    EXPECT_EQ(copy.m_Error, "");
}

TEST_F(DataTest, ACopyWritesWithDefaultSettings) {
    SourceTCData data;
    data.m_JsonRoot = object();
    data.m_WriterBuilder["indentation"] = "";
    EXPECT_EQ(SourceTCData(data).m_Message, generated);
}

TEST_F(DataTest, AssignmentCopiesTextAndJsonWithoutGenerating) {
    SourceTCData data(R"({"old":true})");
    data.m_JsonRoot = object();
    SourceTCData assigned;
    assigned = data;
    EXPECT_EQ(assigned.m_JsonRoot, object());
    EXPECT_EQ(assigned.m_Message, R"({"old":true})");
}

TEST_F(DataTest, AssignmentLeavesTheErrorUnchanged) {
    const SourceTCData good(R"({"a":1})");
    SourceTCData assigned(notJson);
    const std::string report = assigned.m_Error;
    assigned = good;
    EXPECT_EQ(assigned.m_Error, report);

    SourceTCData fine;
    fine = SourceTCData(notJson);
    EXPECT_EQ(fine.GetError(), "no error");
}

TEST_F(DataTest, AssignmentToItselfChangesNothing) {
    SourceTCData data(R"({"old":true})");
    data.m_JsonRoot = object();
    const SourceTCData &same = data;
    data = same;
    EXPECT_EQ(data.m_JsonRoot, object());
    EXPECT_EQ(data.m_Message, R"({"old":true})");
}

TEST_F(DataTest, ItsVirtualOperationsAreTheDestructor) {
    expectVirtualOperations(SourceTCData(), {"_ZN12SourceTCDataD1Ev", "_ZN12SourceTCDataD0Ev"});
}

TEST_F(DataTest, ItsMembersLieInOrder) {
    const SourceTCData data;
    EXPECT_TRUE(
        areInOrder(&data.m_Message, &data.m_Error, &data.m_JsonRoot, &data.m_WriterBuilder));
}

}  // namespace
