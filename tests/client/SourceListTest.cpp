// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Reading the source list, as text and as records.
#include <memory>
#include <string>

#include "RecordedCallback.h"
#include "SourceListTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST_F(SourceListTest, MakingTheClientDoesNotFetchTheList) {
    CSourceAPI::Get();
    EXPECT_THAT(service.calls(), IsEmpty());
    EXPECT_TRUE(ClientPeer::hasNames());
    EXPECT_FALSE(hasList());
    EXPECT_TRUE(cache().isNull());
}

TEST_F(SourceListTest, FirstReadSendsExactlyOneRequestForTheList) {
    EXPECT_NE(readText(), "no list");
    ASSERT_EQ(service.calls().size(), 1U);
    EXPECT_EQ(service.lastCall().member, "SendMessage");
    EXPECT_EQ(service.lastCall().json, parsedJson(R"({"method":"UtilGetSourceList","data":null})"));
}

TEST_F(SourceListTest, TextIsTheStyledListWithoutItsNewlines) {
    serviceHas(R"([{"uniqueKey":"a\nb","sourceType":3},{}])");
    EXPECT_EQ(readText(), "[\t{\t\t\"sourceType\" : 3,\t\t\"uniqueKey\" : \"a\\nb\"\t},\t{}]");
}

TEST_F(SourceListTest, FirstReadAsTextAnnouncesZeroToEveryRegistrationOnce) {
    RecordedCallback first;
    RecordedCallback second;
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &first);
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &second);
    readText();
    EXPECT_THAT(first.values(), ElementsAre(0));
    EXPECT_THAT(second.values(), ElementsAre(0));
}

TEST_F(SourceListTest, SecondReadIsServedFromTheCache) {
    RecordedCallback recorded;
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &recorded);
    const std::string first = readText();
    const std::size_t settingReads = platform.settingReads().size();
    serviceHas("[]");
    EXPECT_EQ(readText(), first);
    EXPECT_EQ(readRecords()->size(), 3U);
    EXPECT_EQ(service.calls().size(), 1U);
    EXPECT_EQ(platform.settingReads().size(), settingReads);
    EXPECT_EQ(platform.waits().size(), 1U);
    EXPECT_THAT(recorded.values(), ElementsAre(0));
}

TEST_F(SourceListTest, FailedReadAsTextIsNullAndAnnouncesNothing) {
    RecordedCallback recorded;
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &recorded);
    breakFetch();
    EXPECT_EQ(CSourceAPI::Get()->GetSourceList(), nullptr);
    EXPECT_THAT(recorded.values(), IsEmpty());
}

TEST_F(SourceListTest, EmptyListIsTwoBracketsAndNoRecord) {
    serviceHas("[]");
    EXPECT_EQ(readText(), "[]");
    EXPECT_THAT(*readRecords(), IsEmpty());
}

TEST_F(SourceListTest, FirstReadAsRecordsAsksOnceAndAnnouncesNothing) {
    RecordedCallback recorded;
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &recorded);
    readRecords();
    readText();
    EXPECT_EQ(service.calls().size(), 1U);
    EXPECT_THAT(recorded.values(), IsEmpty());
}

TEST_F(SourceListTest, RecordsAreOrderedBySourceTypeAndKeepTheListOrderWithinOne) {
    EXPECT_THAT(keysOf(*readRecords()), ElementsAre("hdmi", "stick", "disk"));
}

TEST_F(SourceListTest, RecordCarriesEveryFieldOfItsElementButTheSettingMethod) {
    serviceHas(
        R"([{"sourceType":3,"editName":"My%20TV","detectedName":"B%C3%A4r","iconPath":"/i%20.png",)"
        R"("uniqueKey":"k%20","connectionState":true,"powerState":2,"mbrActivityIndex":5,)"
        R"("settingMethod":9}])");
    const RecordsPtr records = readRecords();
    ASSERT_EQ(records->size(), 1U);
    EXPECT_EQ(records->begin()->first, 3);
    const CSourceItem &item = records->begin()->second;
    EXPECT_EQ(item.sourceType, 3);
    EXPECT_EQ(item.editName, "My TV");
    EXPECT_EQ(item.detectedName, "B\xC3\xA4r");
    EXPECT_EQ(item.iconPath, "/i%20.png");
    EXPECT_EQ(item.uniqueKey, "k%20");
    EXPECT_TRUE(item.connectionState);
    EXPECT_EQ(item.powerState, 2);
    EXPECT_EQ(item.mbrActivityIndex, 5);
    EXPECT_EQ(item.settingMethod, 0);
}

TEST_F(SourceListTest, CallersMapIsReplacedAndOtherOwnersKeepTheOldOne) {
    RecordsPtr records = readRecords();
    const RecordsPtr kept = records;
    ClientPeer::setList(parsedJson(R"([{"sourceType":1,"uniqueKey":"new"}])"));
    EXPECT_TRUE(CSourceAPI::Get()->GetSourceList(&records));
    EXPECT_THAT(keysOf(*records), ElementsAre("new"));
    EXPECT_THAT(keysOf(*kept), ElementsAre("hdmi", "stick", "disk"));
}

TEST_F(SourceListTest, CallersMapIsReleasedWithItsLastOwner) {
    RecordsPtr records = std::make_shared<Records>();
    const std::weak_ptr<Records> old = records;
    EXPECT_TRUE(CSourceAPI::Get()->GetSourceList(&records));
    EXPECT_TRUE(old.expired());
}

TEST_F(SourceListTest, FailedReadAsRecordsLeavesANewEmptyMap) {
    RecordsPtr records = readRecords();
    const RecordsPtr kept = records;
    ClientPeer::hasList() = false;
    breakFetch();
    EXPECT_FALSE(CSourceAPI::Get()->GetSourceList(&records));
    EXPECT_NE(records, kept);
    ASSERT_NE(records, nullptr);
    EXPECT_THAT(*records, IsEmpty());
    EXPECT_EQ(kept->size(), 3U);
}

TEST_F(SourceListTest, ElementWithoutSourceTypeGetsANullMemberAndTheKeyZero) {
    serviceHas(R"([{"uniqueKey":"odd"},null])");
    const RecordsPtr records = readRecords();
    EXPECT_THAT(keysOf(*records), ElementsAre("odd", ""));
    EXPECT_EQ(records->count(0), 2U);
    EXPECT_EQ(cache(), parsedJson(R"([{"uniqueKey":"odd"},null])"));
}

TEST_F(SourceListTest, UnreadableElementEndsTheReadAndKeepsTheRecordsBeforeIt) {
    CSourceAPI::Get();
    for (const char *element : {R"({"sourceType":"three"})", "5", "[1]", R"("text")"}) {
        SCOPED_TRACE(element);
        ClientPeer::setList(parsedJson(std::string(R"([{"sourceType":1,"uniqueKey":"before"},)") +
                                       element + R"(,{"sourceType":1,"uniqueKey":"after"}])"));
        RecordsPtr records;
        EXPECT_FALSE(CSourceAPI::Get()->GetSourceList(&records));
        EXPECT_THAT(keysOf(*records), ElementsAre("before"));
    }
    ClientPeer::setList(parsedJson(R"([{"sourceType":"three"}])"));
    RecordsPtr records;
    EXPECT_FALSE(CSourceAPI::Get()->GetSourceList(&records));
}

TEST_F(SourceListTest, UnreadableFieldLeavesAPartialRecordInASuccessfulRead) {
    serviceHas(R"([{"sourceType":3,"uniqueKey":"k","powerState":"on","mbrActivityIndex":2}])");
    const RecordsPtr records = readRecords();
    ASSERT_EQ(records->count(3), 1U);
    const CSourceItem &item = records->find(3)->second;
    EXPECT_EQ(item.uniqueKey, "k");
    EXPECT_EQ(item.mbrActivityIndex, 0);
}

}  // namespace
