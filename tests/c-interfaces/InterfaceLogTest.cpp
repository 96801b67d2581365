// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the C functions log themselves. Programs read these lines, so texts and levels are part of
// the interface.
#include <new>

#include "ClientLogTest.h"
#include "source_api.h"
#include "sourcelist-dotnet-api.h"

namespace {

using Row = LogRow<ClientLogTest>;

constexpr const char *namesWithTypes =
    R"([{"SourceType":7,"EditName":"Game","DeviceType":3},{"SourceType":8,"DeviceType":-1}])";

const Row bindingRows[] = {
    {"get_source_list",
     "with a list and without one",
     [](auto &test) {
         test.refuse();
         EXPECT_EQ(get_source_list(), nullptr);
         test.service.reply(R"({"return_data":[]})");
         std::free(get_source_list());
     },
     {info("sourceList is NULL")}},
    {"get_usb_data",
     "with an answer and without one",
     [](auto &test) {
         std::free(get_usb_data("key"));
         test.refuse();
         EXPECT_EQ(get_usb_data("key"), nullptr);
     },
     {info("usbData is NULL")}},
    {"get_edit_name",
     "of a known source and an unknown one",
     [](auto & /*test*/) {
         std::free(get_edit_name(7, 0));
         EXPECT_EQ(get_edit_name(7, 2), nullptr);
     },
     {info("editName[ Game ]"), info("failed")}},
    {"get_device_type",
     "of known sources and an unknown one",
     [](auto &test) {
         test.platform.setSourceNames(namesWithTypes);
         get_device_type(7, 0);
         get_device_type(8, 0);
         get_device_type(9, 0);
     },
     {info("deviceType[ 3 ]"), info("deviceType[ -1 ]"), info("failed")}},
    {"get_source_osd_text",
     "of a known type and an unknown one",
     [](auto &test) {
         test.platform.setOnScreenName(3, "HDMI");
         std::free(get_source_osd_text(3));
         std::free(get_source_osd_text(4));
     },
     {info("ret[1] strSourceOSDName[HDMI]"), info("ret[0] strSourceOSDName[----]")}},
};

class BindingLogTest : public ClientLogTest {};

TEST_P(BindingLogTest, WritesTheseLines) {
    expectLinesOf(GetParam(), *this, "sourcelist-dotnet-api.cpp");
}

INSTANTIATE_TEST_SUITE_P(Functions, BindingLogTest, testing::ValuesIn(bindingRows),
                         nameOfRow<ClientLogTest>);

void release(int /*key*/, sourceapi_source_item *item, bool /*last*/) {
    for (char *text :
         {item->editName, item->detectedName, item->iconPath, item->uniqueKey, item->osdText}) {
        std::free(text);
    }
    std::free(item);
}

const Row prefixRows[] = {
    {"sourceapi_get_source_device_type",
     "of known sources and an unknown one",
     [](auto &test) {
         test.platform.setSourceNames(namesWithTypes);
         sourceapi_get_source_device_type(7, 0);
         sourceapi_get_source_device_type(8, 0);
         sourceapi_get_source_device_type(9, 0);
     },
     {info("deviceType[ 3 ]"), info("deviceType[ -1 ]"), info("failed")}},
    {"sourceapi_get_sourcelist",
     "of two sources",
     [](auto &test) {
         test.serviceHas(R"([{"sourceType":4},{"sourceType":3,"editName":"My%20TV"}])");
         test.platform.setOnScreenName(3, "HDMI");
         sourceapi_get_sourcelist(release);
     },
     {info("3 My TV HDMI"), info("4  ----")}},
    {"sourceapi_get_sourcelist",
     "when the fetch fails",
     [](auto &test) {
         test.refuse();
         sourceapi_get_sourcelist(release);
     },
     {error("GetSourceList failed!")}},
    {"sourceapi_get_sourcelist",
     "when memory runs out",
     [](auto &test) {
         test.serviceHas(R"([{"sourceType":4}])");
         test.platform.onLog([](const LogLine &line) {
             if (line.function == "GetSourceOSDText") {
                 throw std::bad_alloc();
             }
         });
         EXPECT_FALSE(sourceapi_get_sourcelist(release));
     },
     {error("GetSourceList failed!")}},
};

class PrefixedFunctionsLogTest : public ClientLogTest {};

TEST_P(PrefixedFunctionsLogTest, WritesTheseLines) {
    expectLinesOf(GetParam(), *this, "source_api.cpp");
}

INSTANTIATE_TEST_SUITE_P(Functions, PrefixedFunctionsLogTest, testing::ValuesIn(prefixRows),
                         nameOfRow<ClientLogTest>);

}  // namespace
