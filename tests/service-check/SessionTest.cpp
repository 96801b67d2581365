// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Session.h"

#include <gtest/gtest.h>

#include "FakeService.h"

namespace service_check {

namespace {

TEST(ListedSourceTest, NamesArePercentDecoded) {
    EXPECT_EQ(percentDecoded("HDMI%201"), "HDMI 1");
    EXPECT_EQ(percentDecoded("A+B"), "A+B");
    EXPECT_EQ(percentDecoded("B%c3%A4r"), "Bär");
    EXPECT_EQ(percentDecoded(""), "");
}

TEST(ListedSourceTest, NamesWithMalformedEscapesOrInvalidUtf8AreRejected) {
    for (const char *text : {"%", "%4", "a%4", "%4z", "50% off", "%ff", "%00"}) {
        EXPECT_EQ(percentDecoded(text), std::nullopt) << text;
    }
}

TEST(ListedSourceTest, UnknownTypeAndKeyAreNotInTheList) {
    const Json::Value list = parsedJson(
        R"([{"sourceType": 2147483647, "uniqueKey": "no-such-source"}, {"sourceType": 1}])");
    EXPECT_EQ(unknownType(list), 2147483646);
    EXPECT_EQ(unknownKey(list), "no-such-source-");
}

TEST(ListedSourceTest, AnElementIsFoundByTypeIndexAndKey) {
    const Json::Value list = parsedJson(R"([
        {"sourceType": 8, "mbrActivityIndex": 1, "uniqueKey": "a"},
        {"sourceType": 8, "mbrActivityIndex": 1, "uniqueKey": "b"},
        {"sourceType": 9}])");
    EXPECT_EQ(elementOf(list, {8, 1, "b", "", ""}), list[1]);
    EXPECT_EQ(elementOf(list, {9, 0, "", "", ""}), list[2]);
    EXPECT_TRUE(elementOf(list, {8, 0, "b", "", ""}).isNull());
}

}  // namespace

}  // namespace service_check
