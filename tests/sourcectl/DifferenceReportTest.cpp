// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "DifferenceReport.h"

#include <gmock/gmock.h>

#include "FakeService.h"

namespace {

using ::testing::ElementsAre;

CSourceItem disk() {
    CSourceItem item;
    item.sourceType = 8;
    item.mbrActivityIndex = 2;
    item.uniqueKey = "usb-stick";
    item.detectedName = "Été 2026";
    return item;
}

TEST(DifferenceReportTest, AddedAndRemovedSourcesAreNamed) {
    CSourceItem port;
    port.sourceType = 2;
    const Difference difference = {{disk()}, {port}, {}};
    EXPECT_THAT(describe(difference),
                ElementsAre("added    \"Été 2026\" (type 8, index 2, key usb-stick)",
                            "removed  unnamed source (type 2, index 0)"));
}

TEST(DifferenceReportTest, ChangedFieldsAreToldWithTheirOldAndNewValues) {
    CSourceItem after = disk();
    after.editName = "Ferien";
    after.connectionState = true;
    after.powerState = 1;
    EXPECT_THAT(describe({{}, {}, {{disk(), after}}}),
                ElementsAre("changed  \"Ferien\" (type 8, index 2, key usb-stick): "
                            "name \"\" → \"Ferien\", connected no → yes, power 0 → 1"));
}

TEST(DifferenceReportTest, TextsOfDevicesCannotSteerATerminal) {
    CSourceItem device = disk();
    device.detectedName = "a\x1b[2J\nb";
    EXPECT_THAT(describe({{device}, {}, {}}),
                ElementsAre("added    \"a\\x1b[2J\\x0ab\" (type 8, index 2, key usb-stick)"));
}

TEST(DifferenceReportTest, DocumentHoldsWholeRecords) {
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
