// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Filling a record of a source from the service's JSON.
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "ClientTest.h"
#include "SourceRecords.h"

using testing::IsEmpty;

namespace {

// One key of the service's JSON, a good and an unreadable value, and the field that it fills.
struct Key {
    const char *name;
    const char *good;
    const char *bad;
    const char *error;
    void (*setGood)(CSourceItem &item);
};

constexpr const char *noInt = "Value is not convertible to Int.";
constexpr const char *noBool = "Value is not convertible to bool.";
constexpr const char *noText = "Type is not convertible to string";

// In the order in which they are read.
const std::vector<Key> keys = {
    {"sourceType", "5", R"("x")", noInt, [](CSourceItem &item) { item.sourceType = 5; }},
    {"editName", R"("E%201")", "[]", noText, [](CSourceItem &item) { item.editName = "E 1"; }},
    {"detectedName", R"("D%2B+")", "[]", noText,
     [](CSourceItem &item) { item.detectedName = "D++"; }},
    {"iconPath", R"("/i%201")", "[]", noText, [](CSourceItem &item) { item.iconPath = "/i%201"; }},
    {"uniqueKey", R"("k%201")", "[]", noText, [](CSourceItem &item) { item.uniqueKey = "k%201"; }},
    {"connectionState", "false", R"("x")", noBool,
     [](CSourceItem &item) { item.connectionState = false; }},
    {"powerState", "6", R"("on")", noInt, [](CSourceItem &item) { item.powerState = 6; }},
    {"mbrActivityIndex", "-7", "{}", noInt, [](CSourceItem &item) { item.mbrActivityIndex = -7; }},
    {"settingMethod", "8", "[8]", noInt, [](CSourceItem &item) { item.settingMethod = 8; }},
};

// The service's JSON of a source with the good value of every key.
Json::Value goodSource() {
    Json::Value source;
    for (const Key &key : keys) {
        source[key.name] = parsedJson(key.good);
    }
    return source;
}

class SourceConversionTest : public ClientTest {
 protected:
    static void convert(const Json::Value &source, CSourceItem &item) {
        ClientPeer::convert(source, item);
    }
    std::vector<LogLine> conversionLog() const {
        return platform.logOf("m_ConvertJsonToSourceItemObject");
    }
};

TEST_F(SourceConversionTest, EveryKeyFillsItsOwnFieldOnly) {
    for (const Key &key : keys) {
        SCOPED_TRACE(key.name);
        Json::Value source;
        source[key.name] = parsedJson(key.good);
        FilledItem expected;
        key.setGood(expected);
        FilledItem item;
        convert(source, item);
        EXPECT_EQ(fieldsOf(item), fieldsOf(expected));
        EXPECT_NE(fieldsOf(item), fieldsOf(FilledItem()));
    }
    EXPECT_THAT(conversionLog(), IsEmpty());
}

TEST_F(SourceConversionTest, AllKeysTogetherFillTheWholeRecord) {
    CSourceItem item;
    convert(goodSource(), item);
    EXPECT_EQ(fieldsOf(item), std::make_tuple(5, "E 1", "D++", "/i%201", "k%201", false, 6, -7, 8));
}

TEST_F(SourceConversionTest, MissingKeysLeaveTheRecordUnchanged) {
    for (const char *source : {"{}", "null", R"({"SourceType":5,"other":1})"}) {
        SCOPED_TRACE(source);
        FilledItem item;
        convert(parsedJson(source), item);
        EXPECT_EQ(fieldsOf(item), fieldsOf(FilledItem()));
    }
    EXPECT_THAT(conversionLog(), IsEmpty());
}

TEST_F(SourceConversionTest, NullMembersEmptyTheirFields) {
    Json::Value source;
    for (const Key &key : keys) {
        source[key.name] = Json::Value();
    }
    FilledItem item;
    convert(source, item);
    EXPECT_EQ(fieldsOf(item), fieldsOf(CSourceItem()));
}

TEST_F(SourceConversionTest, ValuesAreConvertedAsTheJsonLibraryDoes) {
    CSourceItem item;
    convert(parsedJson(R"({"sourceType":true,"editName":12,"iconPath":false,"uniqueKey":-3,)"
                       R"("connectionState":2,"powerState":3.0,"mbrActivityIndex":2.9})"),
            item);
    EXPECT_EQ(fieldsOf(item), std::make_tuple(1, "12", "", "false", "-3", true, 3, 2, 0));
}

TEST_F(SourceConversionTest, UnreadableValueEndsTheConversionAtItsKey) {
    for (std::size_t bad = 0; bad < keys.size(); ++bad) {
        SCOPED_TRACE(keys[bad].name);
        Json::Value source = goodSource();
        source[keys[bad].name] = parsedJson(keys[bad].bad);
        FilledItem expected;
        for (std::size_t before = 0; before < bad; ++before) {
            keys[before].setGood(expected);
        }
        FilledItem item;
        convert(source, item);
        EXPECT_EQ(fieldsOf(item), fieldsOf(expected));
    }
}

TEST_F(SourceConversionTest, TextInANumberLeavesItAndTheFollowingFieldsUnchanged) {
    FilledItem item;
    convert(parsedJson(R"({"sourceType":5,"powerState":"on","mbrActivityIndex":2})"), item);
    EXPECT_EQ(fieldsOf(item), std::make_tuple(5, "edit", "detected", "icon", "key", true, 2, 3, 4));
}

TEST_F(SourceConversionTest, NumberOutOfRangeIsUnreadable) {
    CSourceItem item;
    convert(parsedJson(R"({"sourceType":2147483648,"uniqueKey":"k"})"), item);
    EXPECT_EQ(fieldsOf(item), fieldsOf(CSourceItem()));
}

TEST_F(SourceConversionTest, SourceThatIsNoObjectLeavesTheRecordUnchanged) {
    for (const char *source : {"[]", "5", R"("text")", "true"}) {
        SCOPED_TRACE(source);
        FilledItem item;
        convert(parsedJson(source), item);
        EXPECT_EQ(fieldsOf(item), fieldsOf(FilledItem()));
    }
}

TEST_F(SourceConversionTest, OnlyTheNamesNeedTheClientObject) {
    Json::Value source = goodSource();
    source.removeMember("editName");
    source.removeMember("detectedName");
    CSourceItem item;
    convert(source, item);
    EXPECT_EQ(item.settingMethod, 8);
    EXPECT_EQ(clientsMade(), 0U);
    convert(parsedJson(R"({"detectedName":"d"})"), item);
    EXPECT_EQ(clientsMade(), 1U);
}

TEST_F(SourceConversionTest, EditNameMakesTheClientObjectAsWell) {
    CSourceItem item;
    convert(parsedJson(R"({"editName":"e"})"), item);
    EXPECT_EQ(item.editName, "e");
    EXPECT_EQ(clientsMade(), 1U);
}

TEST_F(SourceConversionTest, OtherExceptionsThanTheJsonLibrarysPass) {
    platform.onLog([](const LogLine &line) {
        if (line.function == "CSourceAPI") {
            throw std::runtime_error("foreign");
        }
    });
    CSourceItem item;
    EXPECT_THROW(convert(goodSource(), item), std::runtime_error);
    EXPECT_EQ(item.sourceType, 5);
    EXPECT_EQ(item.editName, "");
}

}  // namespace
