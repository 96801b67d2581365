// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The records of a source and of a source's name.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <tuple>
#include <type_traits>
#include <vector>

#include "SourceRecords.h"

namespace {

TEST(SourceItemTest, HasItsFieldsInOrderAndNothingVirtual) {
    static_assert(!std::is_polymorphic_v<CSourceItem>);
    static_assert(std::is_same_v<decltype(CSourceItem::sourceType), std::int32_t>);
    static_assert(std::is_same_v<decltype(CSourceItem::connectionState), bool>);
    static_assert(std::is_same_v<decltype(CSourceItem::powerState), std::int32_t>);
    static_assert(std::is_same_v<decltype(CSourceItem::mbrActivityIndex), std::int32_t>);
    static_assert(std::is_same_v<decltype(CSourceItem::settingMethod), std::int32_t>);
    const CSourceItem item;
    const std::vector<const void *> addresses = {
        &item.sourceType, &item.editName,         &item.detectedName,
        &item.iconPath,   &item.uniqueKey,        &item.connectionState,
        &item.powerState, &item.mbrActivityIndex, &item.settingMethod};
    EXPECT_EQ(addresses.front(), &item);
    EXPECT_TRUE(std::is_sorted(addresses.begin(), addresses.end()));
}

TEST(SourceItemTest, NewRecordIsEmptyZeroAndFalse) {
    EXPECT_EQ(fieldsOf(CSourceItem()), std::make_tuple(0, "", "", "", "", false, 0, 0, 0));
}

TEST(SourceItemTest, AssignmentCopiesAllButTheSettingMethod) {
    const FilledItem source;
    CSourceItem target;
    target.settingMethod = 9;
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(fieldsOf(target),
              std::make_tuple(1, "edit", "detected", "icon", "key", true, 2, 3, 9));
}

TEST(SourceItemTest, CopyHasNoSettingMethod) {
    const FilledItem source;
    const CSourceItem copy(source);
    EXPECT_EQ(fieldsOf(copy), std::make_tuple(1, "edit", "detected", "icon", "key", true, 2, 3, 0));
}

TEST(SourceItemTest, SelfAssignmentChangesNothing) {
    FilledItem item;
    CSourceItem &same = item;
    item.CSourceItem::operator=(same);
    EXPECT_EQ(fieldsOf(item), fieldsOf(FilledItem()));
}

TEST(SourceItemTest, MovingCopies) {
    static_assert(!std::is_nothrow_move_constructible_v<CSourceItem>);
    FilledItem source;
    const CSourceItem moved(std::move(static_cast<CSourceItem &>(source)));
    EXPECT_EQ(fieldsOf(source), fieldsOf(FilledItem()));
    EXPECT_EQ(moved.settingMethod, 0);
}

TEST(SourceItemTest, StoredRecordHasNoSettingMethod) {
    std::multimap<int, CSourceItem> records;
    records.insert({1, FilledItem()});
    EXPECT_EQ(records.begin()->second.uniqueKey, "key");
    EXPECT_EQ(records.begin()->second.settingMethod, 0);
}

TEST(SourceNameListTest, HasItsFieldsInOrderAndNothingVirtual) {
    static_assert(!std::is_polymorphic_v<SourceNameList>);
    static_assert(std::is_same_v<decltype(SourceNameList::deviceType), std::int32_t>);
    const SourceNameList entry;
    const std::vector<const void *> addresses = {&entry.editName,   &entry.detectedName,
                                                 &entry.deviceType, &entry.mbrActivityIndex,
                                                 &entry.editState,  &entry.settingMethod};
    EXPECT_EQ(addresses.front(), &entry);
    EXPECT_TRUE(std::is_sorted(addresses.begin(), addresses.end()));
}

TEST(SourceNameListTest, NewEntryIsEmptyWithTheActivityIndexMinusTwo) {
    EXPECT_EQ(fieldsOf(SourceNameList()), std::make_tuple("", "", 0, -2, 0, 0));
}

TEST(SourceNameListTest, CopiesAllSixFields) {
    SourceNameList source;
    source.editName = "edit";
    source.detectedName = "detected";
    source.deviceType = 1;
    source.mbrActivityIndex = 2;
    source.editState = 3;
    source.settingMethod = 4;
    const auto all = std::make_tuple("edit", "detected", 1, 2, 3, 4);
    const SourceNameList copy(source);
    EXPECT_EQ(fieldsOf(copy), all);
    SourceNameList assigned;
    assigned = source;
    EXPECT_EQ(fieldsOf(assigned), all);
}

}  // namespace
