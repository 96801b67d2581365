// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The C functions for the managed binding.
#include <cstdlib>
#include <stdexcept>

#include "ClientTest.h"
#include "RecordedCallback.h"
#include "sourcelist-dotnet-api.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char *refused = R"({"return_data":false})";

class DotnetInterfaceTest : public ClientTest {
 protected:
    // A returned text, released as a caller must; "null" for none.
    static std::string taken(char *text) {
        const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
        return text != nullptr ? text : "null";
    }

    // The lines that the C functions themselves have written.
    std::vector<LogLine> ownLog() const { return platform.logOfFile("sourcelist-dotnet-api.cpp"); }

    // Expects that `call` sends exactly that request, returns the service's result, and logs
    // nothing.
    template <class Call>
    void expectCommand(Call call, const char *request) {
        service.reply(R"({"return_data":true})");
        EXPECT_TRUE(call());
        EXPECT_EQ(service.lastCall().json, parsedJson(request)) << service.lastCall().text;
        service.reply(refused);
        EXPECT_FALSE(call());
        service.releaseName();
        EXPECT_FALSE(call());
        EXPECT_EQ(service.calls().size(), 2U);
        EXPECT_THAT(ownLog(), IsEmpty());
    }
};

TEST_F(DotnetInterfaceTest, SourceListIsTheTextOfTheClient) {
    service.replyTo("UtilGetSourceList", R"({"return_data":[{"sourceType":3}]})");
    EXPECT_EQ(taken(get_source_list()), "[\t{\t\t\"sourceType\" : 3\t}]");
    EXPECT_THAT(ownLog(), IsEmpty());
}

TEST_F(DotnetInterfaceTest, MissingSourceListIsNull) {
    service.releaseName();
    EXPECT_EQ(get_source_list(), nullptr);
}

TEST_F(DotnetInterfaceTest, UsbDataIsTheWholeStyledReply) {
    service.reply(R"({"isPTP":true})");
    EXPECT_EQ(taken(get_usb_data("stick")),
              "{\n\t\"dbus_result\" : null,\n\t\"isPTP\" : true\n}\n");
    EXPECT_EQ(service.lastCall().json,
              parsedJson(R"({"method":"UtilGetUsbData","data":{"SourceUniqueKey":"stick"}})"));
    EXPECT_THAT(ownLog(), IsEmpty());
}

TEST_F(DotnetInterfaceTest, MissingUsbDataIsNull) {
    service.reply(refused);
    EXPECT_EQ(get_usb_data("stick"), nullptr);
}

TEST_F(DotnetInterfaceTest, EditNameIsACopyOfTheName) {
    EXPECT_EQ(taken(get_edit_name(7, 0)), "Game");
    EXPECT_EQ(taken(get_edit_name(7, 1)), "Player");
}

TEST_F(DotnetInterfaceTest, UnknownEditNameIsNull) {
    EXPECT_EQ(get_edit_name(7, 2), nullptr);
    EXPECT_EQ(get_edit_name(6, 0), nullptr);
}

TEST_F(DotnetInterfaceTest, DeviceTypeIsReturned) {
    platform.setSourceNames(R"([{"SourceType":7,"DeviceType":3},{"SourceType":8,"DeviceType":-1},)"
                            R"({"SourceType":9,"DeviceType":0}])");
    EXPECT_EQ(get_device_type(7, 0), 3U);
    EXPECT_EQ(get_device_type(8, 0), 4294967295U);
    EXPECT_EQ(get_device_type(9, 0), 0U);
}

TEST_F(DotnetInterfaceTest, UnknownDeviceTypeIsZero) {
    EXPECT_EQ(get_device_type(7, 2), 0U);
}

TEST_F(DotnetInterfaceTest, EditNameIsSet) {
    expectCommand([] { return set_edit_name(7, "B\xC3\xA4r \"1\"", 2); },
                  R"({"method":"UtilSetSourceEditName","data":{"SourceType":7,)"
                  R"("EditName":"B\u00e4r \"1\"","MBRActivityIndex":2}})");
}

TEST_F(DotnetInterfaceTest, DeviceTypeIsSetAsAnUnsignedNumber) {
    expectCommand([] { return set_device_type(7, 4294967295U, -2); },
                  R"({"method":"UtilSetSourceDeviceType","data":{"SourceType":7,)"
                  R"("DeviceType":4294967295,"MBRActivityIndex":-2}})");
}

TEST_F(DotnetInterfaceTest, DetectedNameAndDeviceTypeAreSet) {
    expectCommand([] { return set_source_detetedname_and_devicetype(7, "", 4, 1); },
                  R"({"method":"UtilSetSourceDetectedNameAndDeviceType","data":{"SourceType":7,)"
                  R"("DetectedName":"","DetectedDeviceType":4,"MBRActivityIndex":1}})");
}

TEST_F(DotnetInterfaceTest, SourceIsConnectedByItsType) {
    expectCommand([] { return connect_source(-3); },
                  R"({"method":"SourceConnect","data":{"SourceType":-3}})");
}

TEST_F(DotnetInterfaceTest, SourceWithAUniqueKeyIsConnectedByRunApp) {
    expectCommand([] { return connect_source_with_uniquekey(3, "key"); },
                  R"({"method":"RunApp","data":{"SourceType":3,"SourceUniqueKey":"key"}})");
}

TEST_F(DotnetInterfaceTest, CallbacksAreRegisteredAndUnregisteredByTheirUserData) {
    service.replyTo("UtilGetSourceList", R"({"return_data":[]})");
    RecordedCallback kept;
    RecordedCallback removed;
    register_sourcelist_changed_callback(RecordedCallback::call, &kept);
    register_sourcelist_changed_callback(RecordedCallback::call, &removed);
    unregister_sourcelist_changed_callback(&removed);
    EXPECT_EQ(taken(get_source_list()), "[]");
    service.emitChange(R"({"return_data":[1],"data":{"result":5}})");
    ASSERT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_THAT(kept.values(), ElementsAre(0, 5));
    EXPECT_THAT(removed.values(), IsEmpty());
    EXPECT_THAT(ownLog(), IsEmpty());
}

TEST_F(DotnetInterfaceTest, NullCallbackIsRefusedByTheClient) {
    register_sourcelist_changed_callback(nullptr, nullptr);
    unregister_sourcelist_changed_callback(nullptr);
    EXPECT_THAT(ClientPeer::registrations(), IsEmpty());
}

TEST_F(DotnetInterfaceTest, OnScreenTextIsAlwaysACopy) {
    platform.setOnScreenName(3, "HDMI");
    EXPECT_EQ(taken(get_source_osd_text(3)), "HDMI");
    EXPECT_EQ(taken(get_source_osd_text(4)), "----");
}

TEST_F(DotnetInterfaceTest, NullTextsRaiseTheLogicErrorAndSendNothing) {
    EXPECT_THROW(set_edit_name(7, nullptr, 0), std::logic_error);
    EXPECT_THROW(connect_source_with_uniquekey(7, nullptr), std::logic_error);
    EXPECT_THROW(set_source_detetedname_and_devicetype(7, nullptr, 0, 0), std::logic_error);
    EXPECT_THROW(get_usb_data(nullptr), std::logic_error);
    EXPECT_THAT(service.calls(), IsEmpty());
    EXPECT_THAT(ownLog(), IsEmpty());
}

TEST_F(DotnetInterfaceTest, WrongTypesInTheSettingsStoreCrossTheBoundaryAsAnException) {
    EXPECT_TRUE(set_edit_name(7, "name", 0));
    platform.setSourceNames(R"([{"SourceType":"seven"}])");
    EXPECT_THROW(get_edit_name(7, 0), Json::Exception);
    EXPECT_THROW(get_device_type(7, 0), Json::Exception);
    EXPECT_THROW(get_source_list(), Json::Exception);
    EXPECT_THAT(ownLog(), IsEmpty());
}

TEST_F(DotnetInterfaceTest, UsbDataMakesTheClientOnItsFirstCall) {
    taken(get_usb_data("stick"));
    EXPECT_EQ(clientsMade(), 1U);
}

TEST_F(DotnetInterfaceTest, FunctionsMakeTheClientOnTheirFirstCall) {
    EXPECT_EQ(taken(get_source_osd_text(1)), "----");
    EXPECT_EQ(clientsMade(), 1U);
}

}  // namespace
