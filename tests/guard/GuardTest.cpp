// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The C functions that let no C++ exception out.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ClientTest.h"
#include "RecordedCallback.h"
#include "source-api-guard.h"

using testing::HasSubstr;

namespace {

class GuardTest : public ClientTest {
 protected:
    static std::string taken(char *text) {
        const std::unique_ptr<char, decltype(&guarded_release)> owner(text, guarded_release);
        return text != nullptr ? text : "null";
    }

    std::string takenError() { return taken(std::exchange(error, nullptr)); }

    // Expects that `call` sends exactly that request and returns both of the service's results.
    template <class Call>
    void expectCommand(Call call, const char *request) {
        service.reply(R"({"return_data":true})");
        EXPECT_TRUE(call());
        EXPECT_EQ(takenError(), "null");
        EXPECT_EQ(service.lastCall().json, parsedJson(request)) << service.lastCall().text;
        service.reply(R"({"return_data":false})");
        EXPECT_FALSE(call());
        EXPECT_EQ(takenError(), "null");
    }

    // A call that succeeds writes null.
    char *error = nullptr;
};

TEST_F(GuardTest, TextsArePassedOn) {
    platform.setOnScreenName(3, "HDMI 1");
    service.replyTo("UtilGetSourceList", R"({"return_data":[{"sourceType":3}]})");
    service.replyTo("UtilGetUsbData", R"({"return_data":true})");
    EXPECT_EQ(taken(guarded_get_source_list(&error)), "[\t{\t\t\"sourceType\" : 3\t}]");
    EXPECT_EQ(takenError(), "null");
    EXPECT_EQ(parsedJson(taken(guarded_get_usb_data("stick", &error)))["return_data"], true);
    EXPECT_EQ(service.lastCall().json["data"]["SourceUniqueKey"], "stick");
    EXPECT_EQ(takenError(), "null");
    EXPECT_EQ(taken(guarded_get_edit_name(7, 1, &error)), "Player");
    EXPECT_EQ(takenError(), "null");
    EXPECT_EQ(taken(guarded_get_source_osd_text(3, &error)), "HDMI 1");
    EXPECT_EQ(takenError(), "null");
}

TEST_F(GuardTest, DeviceTypeIsPassedOn) {
    EXPECT_EQ(guarded_get_device_type(7, 1, &error), 4U);
    EXPECT_EQ(takenError(), "null");
}

TEST_F(GuardTest, MissingTextIsNullWithoutAnError) {
    EXPECT_EQ(guarded_get_edit_name(6, 0, &error), nullptr);
    EXPECT_EQ(takenError(), "null");
}

TEST_F(GuardTest, EditNameIsSet) {
    expectCommand([this] { return guarded_set_edit_name(7, "Bär", 2, &error); },
                  R"({"method":"UtilSetSourceEditName","data":{"SourceType":7,)"
                  R"("EditName":"Bär","MBRActivityIndex":2}})");
}

TEST_F(GuardTest, DeviceTypeIsSet) {
    expectCommand([this] { return guarded_set_device_type(7, 4294967295U, -2, &error); },
                  R"({"method":"UtilSetSourceDeviceType","data":{"SourceType":7,)"
                  R"("DeviceType":4294967295,"MBRActivityIndex":-2}})");
}

TEST_F(GuardTest, DetectedNameAndDeviceTypeAreSet) {
    expectCommand(
        [this] { return guarded_set_source_detetedname_and_devicetype(7, "", 4, 1, &error); },
        R"({"method":"UtilSetSourceDetectedNameAndDeviceType","data":{"SourceType":7,)"
        R"("DetectedName":"","DetectedDeviceType":4,"MBRActivityIndex":1}})");
}

TEST_F(GuardTest, SourceIsConnected) {
    expectCommand([this] { return guarded_connect_source(-3, &error); },
                  R"({"method":"SourceConnect","data":{"SourceType":-3}})");
}

TEST_F(GuardTest, SourceWithAUniqueKeyIsConnected) {
    service.reply(R"({"return_data":true})");
    EXPECT_TRUE(guarded_connect_source_with_uniquekey(3, "key", &error));
    EXPECT_EQ(service.lastCall().json["data"]["SourceUniqueKey"], "key") << service.lastCall().text;
    EXPECT_EQ(takenError(), "null");
}

TEST_F(GuardTest, RegistrationIsCalledUntilItIsRemoved) {
    RecordedCallback callback;
    guarded_register_sourcelist_changed_callback(RecordedCallback::call, &callback, &error);
    EXPECT_EQ(takenError(), "null");
    letTheBusCatchUp();
    service.emitChange(R"({"return_data":[{"uniqueKey":"a"}],"data":{"result":5}})");
    ASSERT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_EQ(callback.values(), std::vector<int>{5});
    guarded_unregister_sourcelist_changed_callback(&callback, &error);
    EXPECT_EQ(takenError(), "null");
    service.emitChange(R"({"return_data":[{"uniqueKey":"b"}],"data":{"result":6}})");
    ASSERT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_EQ(callback.values(), std::vector<int>{5});
}

// The first call throws, whichever it is, and so does every query of a name after it.
TEST_F(GuardTest, WrongTypesInTheSettingsStoreAreAnError) {
    platform.setSourceNames(R"([{"SourceType":"seven"}])");
    EXPECT_EQ(guarded_get_source_list(&error), nullptr);
    EXPECT_THAT(takenError(), HasSubstr("not convertible"));
    EXPECT_EQ(guarded_get_edit_name(7, 0, &error), nullptr);
    EXPECT_THAT(takenError(), HasSubstr("not convertible"));
    EXPECT_EQ(guarded_get_device_type(7, 0, &error), 0U);
    EXPECT_THAT(takenError(), HasSubstr("not convertible"));
    platform.setSourceNames(names);
    EXPECT_EQ(taken(guarded_get_edit_name(7, 0, &error)), "Game");
    EXPECT_EQ(takenError(), "null");
}

TEST_F(GuardTest, NullTextsAreErrors) {
    EXPECT_EQ(guarded_get_usb_data(nullptr, &error), nullptr);
    EXPECT_NE(takenError(), "null");
    EXPECT_FALSE(guarded_set_edit_name(7, nullptr, 0, &error));
    EXPECT_NE(takenError(), "null");
    EXPECT_FALSE(guarded_connect_source_with_uniquekey(7, nullptr, &error));
    EXPECT_NE(takenError(), "null");
    EXPECT_FALSE(guarded_set_source_detetedname_and_devicetype(7, nullptr, 0, 0, &error));
    EXPECT_NE(takenError(), "null");
}

}  // namespace
