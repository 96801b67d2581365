// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <climits>
#include <map>

#include "Platform.h"
#include "SourceTypes.h"

namespace emulated_tv {

TEST(OnScreenNameTest, EveryKnownTypeHasItsName) {
    const std::map<int, std::string> names = {{1, "TV"},     {2, "AV"},     {3, "HDMI 1"},
                                              {4, "HDMI 2"}, {5, "HDMI 3"}, {8, "USB"}};
    for (const auto &[type, name] : names) {
        EXPECT_EQ(CSourceUtil::GetLagacySourceType(type), name);
        EXPECT_STREQ(onScreenName(type), name.c_str());
    }
}

TEST(OnScreenNameTest, UnknownTypesAreShownAsDashes) {
    for (const int type : {INT_MIN, -1, 0, 6, 7, 9, INT_MAX}) {
        EXPECT_EQ(CSourceUtil::GetLagacySourceType(type), "----");
        EXPECT_EQ(onScreenName(type), nullptr);
    }
}

}  // namespace emulated_tv
