// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The two records, and one of them with a value in every field.
#ifndef TESTS_SOURCE_RECORDS_H
#define TESTS_SOURCE_RECORDS_H

#include <tuple>

#include "SourceAPI.h"

// All fields in order; a copy lacks the last one.
inline auto fieldsOf(const CSourceItem &item) {
    return std::make_tuple(item.sourceType, item.editName, item.detectedName, item.iconPath,
                           item.uniqueKey, item.connectionState, item.powerState,
                           item.mbrActivityIndex, item.settingMethod);
}
inline auto fieldsOf(const SourceNameList &entry) {
    return std::make_tuple(entry.editName, entry.detectedName, entry.deviceType,
                           entry.mbrActivityIndex, entry.editState, entry.settingMethod);
}

inline void fill(CSourceItem &item) {
    item.sourceType = 1;
    item.editName = "edit";
    item.detectedName = "detected";
    item.iconPath = "icon";
    item.uniqueKey = "key";
    item.connectionState = true;
    item.powerState = 2;
    item.mbrActivityIndex = 3;
    item.settingMethod = 4;
}

struct FilledItem : CSourceItem {
    FilledItem() { fill(*this); }
};

#endif
