// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Reading names and device types from the settings store.
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "SourceNamesTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class SourceNamesStoreTest : public SourceNamesTest {};

TEST_F(SourceNamesStoreTest, EveryStoredEntryIsReadWithAllFields) {
    EXPECT_THAT(readStore(), ElementsAre(game, player));
    EXPECT_THAT(platform.settingReads(), ElementsAre("db/source-list/source-name"));
}

TEST_F(SourceNamesStoreTest, StoreIsReadIntoTheMapWithoutClearingIt) {
    Names read;
    read.emplace(7, SourceNameList());
    EXPECT_TRUE(ClientPeer::readNames(read));
    EXPECT_THAT(entriesOf(read), ElementsAre(Entry{7, "", "", 0, -2, 0, 0}, game, player));
}

TEST_F(SourceNamesStoreTest, EntriesOfOneTypeKeepTheirOrderAndTypesAreSorted) {
    platform.setSourceNames(R"([{"SourceType":9,"EditName":"a"},{"SourceType":-2,"EditName":"b"},)"
                            R"({"SourceType":9,"EditName":"c"},{"SourceType":9,"EditName":"a"}])");
    EXPECT_THAT(readStore(),
                ElementsAre(Entry{-2, "b", "", 0, 0, 0, 0}, Entry{9, "a", "", 0, 0, 0, 0},
                            Entry{9, "c", "", 0, 0, 0, 0}, Entry{9, "a", "", 0, 0, 0, 0}));
}

TEST_F(SourceNamesStoreTest, MissingKeysReadAsZeroAndEmpty) {
    platform.setSourceNames("[{}]");
    EXPECT_THAT(readStore(), ElementsAre(Entry{0, "", "", 0, 0, 0, 0}));
}

TEST_F(SourceNamesStoreTest, ObjectIsReadLikeAnArrayIgnoringTheMemberNames) {
    platform.setSourceNames(R"({"z":{"SourceType":1,"EditName":"z"},)"
                            R"("a":{"SourceType":1,"EditName":"a"}})");
    EXPECT_THAT(readStore(),
                ElementsAre(Entry{1, "a", "", 0, 0, 0, 0}, Entry{1, "z", "", 0, 0, 0, 0}));
}

TEST_F(SourceNamesStoreTest, MemberThatIsNoObjectHasTheDetectedNameOfThePreviousOne) {
    platform.setSourceNames(R"([5,{"SourceType":1,"EditName":"e","DetectedName":"d",)"
                            R"("DeviceType":2,"MbrActivityIndex":3,"EditState":4,)"
                            R"("SettingMethod":5},null,"text",{"SourceType":2},[1]])");
    EXPECT_THAT(readStore(),
                ElementsAre(Entry{-1, "", "", 0, -2, 0, 0}, Entry{-1, "", "d", 0, -2, 0, 0},
                            Entry{-1, "", "d", 0, -2, 0, 0}, Entry{-1, "", "", 0, -2, 0, 0},
                            Entry{1, "e", "d", 2, 3, 4, 5}, Entry{2, "", "", 0, 0, 0, 0}));
}

TEST_F(SourceNamesStoreTest, DetectedNameIsNotCarriedFromOneReadToTheNext) {
    readStore();
    platform.setSourceNames("[5]");
    EXPECT_THAT(readStore(), ElementsAre(Entry{-1, "", "", 0, -2, 0, 0}));
}

TEST_F(SourceNamesStoreTest, UnreadableKeyIsAFailedRead) {
    platform.setSourceNames(std::nullopt);
    Names read;
    EXPECT_FALSE(ClientPeer::readNames(read));
    EXPECT_THAT(read, IsEmpty());
}

TEST_F(SourceNamesStoreTest, TextThatIsNoJsonIsASuccessfulReadOfNothing) {
    for (const std::string &text :
         {std::string(), std::string("[{"), std::string("names"), std::string(2000, '[')}) {
        SCOPED_TRACE(text);
        platform.setSourceNames(text);
        EXPECT_THAT(readStore(), IsEmpty());
    }
}

TEST_F(SourceNamesStoreTest, EmptyRootIsASuccessfulReadOfNothing) {
    for (const char *text : {"null", "[]", "{}", " [ ] "}) {
        SCOPED_TRACE(text);
        platform.setSourceNames(text);
        EXPECT_THAT(readStore(), IsEmpty());
    }
}

TEST_F(SourceNamesStoreTest, ScalarRootHasNoMembers) {
    for (const char *text : {"5", R"("text")", "true"}) {
        SCOPED_TRACE(text);
        platform.setSourceNames(text);
        EXPECT_THAT(readStore(), IsEmpty());
    }
}

TEST_F(SourceNamesStoreTest, ReaderHasTheJsonLibrarysDefaults) {
    platform.setSourceNames("/* names */ [{\"SourceType\":1}] // and more\nrest");
    EXPECT_THAT(readStore(), ElementsAre(Entry{1, "", "", 0, 0, 0, 0}));
}

TEST_F(SourceNamesStoreTest, WrongTypeRaisesTheJsonLibrarysException) {
    for (const char *member :
         {R"({"EditName":[]})", R"({"SourceType":"1"})", R"({"DeviceType":"1"})",
          R"({"MbrActivityIndex":"1"})", R"({"DetectedName":{}})", R"({"EditState":[]})",
          R"({"SettingMethod":"1"})", R"({"SourceType":2147483648})"}) {
        SCOPED_TRACE(member);
        platform.setSourceNames("[" + std::string(member) + "]");
        Names read;
        EXPECT_THROW(ClientPeer::readNames(read), Json::Exception);
        EXPECT_THAT(read, IsEmpty());
    }
}

// The text of the exception tells which key was read first.
TEST_F(SourceNamesStoreTest, KeysAreReadInTheirOrder) {
    constexpr const char *noText = "Type is not convertible to string";
    constexpr const char *noInt = "Value is not convertible to Int.";
    const std::vector<std::pair<const char *, const char *>> table = {
        {R"({"EditName":[],"SourceType":"x"})", noText},
        {R"({"SourceType":"x","DetectedName":[]})", noInt},
        {R"({"DeviceType":"x","DetectedName":[]})", noInt},
        {R"({"MbrActivityIndex":"x","DetectedName":[]})", noInt},
        {R"({"DetectedName":[],"EditState":"x"})", noText},
        {R"({"DetectedName":[],"SettingMethod":"x"})", noText}};
    for (const auto &[member, text] : table) {
        SCOPED_TRACE(member);
        platform.setSourceNames("[" + std::string(member) + "]");
        Names read;
        try {
            ClientPeer::readNames(read);
            ADD_FAILURE() << "nothing thrown";
        } catch (const Json::Exception &exception) {
            EXPECT_STREQ(exception.what(), text);
        }
    }
}

}  // namespace
