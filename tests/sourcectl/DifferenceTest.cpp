// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Difference.h"

#include <gmock/gmock.h>

#include <functional>

namespace {

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

TEST(DifferenceTest, OrderIsNoDifference) {
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

TEST(DifferenceTest, SourceThatIsGoneIsRemoved) {
    const Difference difference =
        differenceBetween({source(1, 0, "tuner"), source(8, 0, "disk")}, {source(1, 0, "tuner")});
    ASSERT_THAT(difference.removed, SizeIs(1));
    EXPECT_EQ(difference.removed[0].uniqueKey, "disk");
    EXPECT_THAT(difference.added, IsEmpty());
    EXPECT_THAT(difference.changed, IsEmpty());
}

TEST(DifferenceTest, SourceWithAKeyStaysItselfWhateverElseChanges) {
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

TEST(DifferenceTest, AnotherKeyIsAnotherSource) {
    const Difference difference =
        differenceBetween({source(8, 0, "disk")}, {source(8, 0, "stick")});
    EXPECT_THAT(difference.added, SizeIs(1));
    EXPECT_THAT(difference.removed, SizeIs(1));
    EXPECT_THAT(difference.changed, IsEmpty());
}

TEST(DifferenceTest, SourceWithoutAKeyIsKnownByTypeAndIndex) {
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

TEST(DifferenceTest, SourcesOfOneIdentityAreToldApartByTheirOrder) {
    CSourceItem second = source(8, 1, "twin");
    const Difference difference =
        differenceBetween({source(8, 0, "twin"), second}, {source(8, 0, "twin")});
    EXPECT_THAT(difference.changed, IsEmpty());
    ASSERT_THAT(difference.removed, SizeIs(1));
    EXPECT_EQ(difference.removed[0].mbrActivityIndex, 1);
}

}  // namespace
