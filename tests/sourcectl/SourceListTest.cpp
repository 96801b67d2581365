// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceList.h"

#include <gmock/gmock.h>

#include <functional>

#include "FakeService.h"

namespace sourcectl {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

CSourceItem source(int type, int index, const std::string &key) {
    CSourceItem item;
    item.sourceType = type;
    item.mbrActivityIndex = index;
    item.uniqueKey = key;
    return item;
}

TEST(DifferenceTest, EqualListsDoNotDiffer) {
    const SourceList list = {source(1, 0, "tuner"), source(4, 0, "hdmi2")};
    EXPECT_TRUE(differenceBetween(list, list).isEmpty());
}

TEST(DifferenceTest, OrderIsIrrelevant) {
    const CSourceItem disk = source(8, 0, "disk");
    const CSourceItem camera = source(8, 1, "camera");
    EXPECT_TRUE(differenceBetween({disk, camera}, {camera, disk}).isEmpty());
}

TEST(DifferenceTest, NewSourceIsAdded) {
    const Difference difference =
        differenceBetween({source(1, 0, "tuner")}, {source(1, 0, "tuner"), source(8, 0, "disk")});
    ASSERT_THAT(difference.added, SizeIs(1));
    EXPECT_EQ(difference.added[0].uniqueKey, "disk");
    EXPECT_THAT(difference.removed, IsEmpty());
    EXPECT_THAT(difference.changed, IsEmpty());
}

TEST(DifferenceTest, MissingSourceIsRemoved) {
    const Difference difference =
        differenceBetween({source(1, 0, "tuner"), source(8, 0, "disk")}, {source(1, 0, "tuner")});
    ASSERT_THAT(difference.removed, SizeIs(1));
    EXPECT_EQ(difference.removed[0].uniqueKey, "disk");
    EXPECT_THAT(difference.added, IsEmpty());
    EXPECT_THAT(difference.changed, IsEmpty());
}

TEST(DifferenceTest, SourceIsMatchedByItsKey) {
    const std::vector<std::function<void(CSourceItem &)>> changes = {
        [](CSourceItem &item) { item.sourceType = 9; },
        [](CSourceItem &item) { item.mbrActivityIndex = 9; },
        [](CSourceItem &item) { item.editName = "x"; },
        [](CSourceItem &item) { item.detectedName = "x"; },
        [](CSourceItem &item) { item.iconPath = "x"; },
        [](CSourceItem &item) { item.connectionState = true; },
        [](CSourceItem &item) { item.powerState = 9; }};
    for (std::size_t i = 0; i < changes.size(); ++i) {
        SCOPED_TRACE(i);
        const CSourceItem before = source(8, 0, "disk");
        CSourceItem after = before;
        changes[i](after);
        const Difference difference = differenceBetween({before}, {after});
        ASSERT_THAT(difference.changed, SizeIs(1));
        EXPECT_EQ(toJson(difference.changed[0].before), toJson(before));
        EXPECT_EQ(toJson(difference.changed[0].after), toJson(after));
        EXPECT_THAT(difference.added, IsEmpty());
        EXPECT_THAT(difference.removed, IsEmpty());
    }
}

TEST(DifferenceTest, SourcesWithDifferentKeysAreDifferent) {
    const Difference difference =
        differenceBetween({source(8, 0, "disk")}, {source(8, 0, "stick")});
    EXPECT_THAT(difference.added, SizeIs(1));
    EXPECT_THAT(difference.removed, SizeIs(1));
    EXPECT_THAT(difference.changed, IsEmpty());
}

TEST(DifferenceTest, SourceWithoutAKeyIsMatchedByTypeAndIndex) {
    CSourceItem renamed = source(2, 0, "");
    renamed.editName = "Recorder";
    const Difference difference =
        differenceBetween({source(2, 0, ""), source(2, 1, "")}, {renamed, source(2, 2, "")});
    ASSERT_THAT(difference.changed, SizeIs(1));
    EXPECT_EQ(difference.changed[0].after.editName, "Recorder");
    ASSERT_THAT(difference.added, SizeIs(1));
    EXPECT_EQ(difference.added[0].mbrActivityIndex, 2);
    ASSERT_THAT(difference.removed, SizeIs(1));
    EXPECT_EQ(difference.removed[0].mbrActivityIndex, 1);
}

TEST(DifferenceTest, SourcesWithTheSameKeyAreMatchedInOrder) {
    CSourceItem second = source(8, 1, "twin");
    const Difference difference =
        differenceBetween({source(8, 0, "twin"), second}, {source(8, 0, "twin")});
    EXPECT_THAT(difference.changed, IsEmpty());
    ASSERT_THAT(difference.removed, SizeIs(1));
    EXPECT_EQ(difference.removed[0].mbrActivityIndex, 1);
}

CSourceItem disk() {
    CSourceItem item;
    item.sourceType = 8;
    item.mbrActivityIndex = 2;
    item.uniqueKey = "usb-stick";
    item.detectedName = "Été 2026";
    return item;
}

TEST(DifferenceTest, DescriptionNamesAddedAndRemovedSources) {
    CSourceItem port;
    port.sourceType = 2;
    const Difference difference = {{disk()}, {port}, {}};
    EXPECT_THAT(describe(difference),
                ElementsAre("added    \"Été 2026\" (type 8, index 2, key usb-stick)",
                            "removed  unnamed source (type 2, index 0)"));
}

TEST(DifferenceTest, DescriptionHasTheOldAndNewValuesOfChangedFields) {
    CSourceItem after = disk();
    after.editName = "Ferien";
    after.connectionState = true;
    after.powerState = 1;
    EXPECT_THAT(describe({{}, {}, {{disk(), after}}}),
                ElementsAre("changed  \"Ferien\" (type 8, index 2, key usb-stick): "
                            "name \"\" → \"Ferien\", connected no → yes, power 0 → 1"));
}

TEST(DifferenceTest, DescriptionEscapesControlCharacters) {
    CSourceItem device = disk();
    device.detectedName = "a\x1b[2J\nb";
    EXPECT_THAT(describe({{device}, {}, {}}),
                ElementsAre("added    \"a\\x1b[2J\\x0ab\" (type 8, index 2, key usb-stick)"));
}

TEST(DifferenceTest, DocumentContainsWholeRecords) {
    CSourceItem after = disk();
    after.editName = "Ferien";
    const Json::Value document = toJson(Difference{{disk()}, {}, {{disk(), after}}});
    EXPECT_EQ(document["added"], parsedJson(R"([{
        "sourceType": 8, "mbrActivityIndex": 2, "uniqueKey": "usb-stick", "editName": "",
        "detectedName": "Été 2026", "iconPath": "", "connectionState": false, "powerState": 0}])"));
    EXPECT_EQ(document["removed"], Json::Value(Json::arrayValue));
    ASSERT_EQ(document["changed"].size(), 1U);
    EXPECT_EQ(document["changed"][0]["before"], toJson(disk()));
    EXPECT_EQ(document["changed"][0]["after"], toJson(after));
}

}  // namespace

}  // namespace sourcectl
