// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "JsonText.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string tooDeep(2000, '[');

std::string errorOf(const std::string &text) {
    const support::ParsedDocument parsed = support::parseStrictJson(text);
    EXPECT_FALSE(parsed.document) << text;
    return std::to_string(parsed.errorLine) + ": " + parsed.error;
}

}  // namespace

TEST(JsonTextTest, ParsesAValueOfAnyType) {
    EXPECT_EQ(support::parseJson(R"({"a":[1,"b"]})").value()["a"][1], "b");
    EXPECT_EQ(support::parseJson("3").value(), 3);
}

TEST(JsonTextTest, TextThatIsNotJsonHasNoValue) {
    for (const std::string &text : {std::string(), std::string("{"), std::string("no"), tooDeep}) {
        EXPECT_FALSE(support::parseJson(text)) << text.substr(0, 10);
    }
}

TEST(JsonTextTest, StrictParsingGivesTheDocument) {
    const support::ParsedDocument parsed = support::parseStrictJson("{\"a\":\n1}");
    ASSERT_TRUE(parsed.document);
    EXPECT_EQ((*parsed.document)["a"], 1);
    EXPECT_EQ(parsed.error, "");
}

TEST(JsonTextTest, StrictParsingGivesTheFirstErrorWithItsLine) {
    EXPECT_EQ(errorOf("{\n\"a\" 1,\n\"b\" 2}"), "2: Missing ':' after object member name");
    EXPECT_EQ(errorOf(tooDeep), "1: nested too deeply");
}

TEST(JsonTextTest, StrictParsingRejectsAMemberThatIsGivenTwice) {
    EXPECT_EQ(errorOf("{\"a\":1,\n\"a\":2}"), "2: Duplicate key: 'a'");
}

TEST(JsonTextTest, LineIsAscii) {
    EXPECT_EQ(support::jsonLine("B\xc3\xa4r\n"), R"("B\u00e4r\n")");
}

TEST(JsonTextTest, Utf8LineKeepsCharacters) {
    EXPECT_EQ(support::jsonLineUtf8("B\xc3\xa4r\n"), "\"B\xc3\xa4r\\n\"");
}

TEST(JsonTextTest, DocumentIsIndentedUtf8AndEndsWithANewline) {
    Json::Value value;
    value["name"] = "B\xc3\xa4r";
    EXPECT_EQ(support::jsonDocument(value), "{\n  \"name\" : \"B\xc3\xa4r\"\n}\n");
}
