// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The data of a USB device, as text and as a map.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <stdexcept>

#include "ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

namespace {

using Data = std::map<std::string, std::string>;

constexpr const char *ptpDevice =
    R"({"return_data":true,"calledApp":"photos","deviceType":"camera","deviceName":"EOS",)"
    R"("isPTP":true,"deviceBusNumber":"1","deviceAddressNumber":"9","vendorName":"v",)"
    R"("volumeName":"w","devicePath":"/p"})";
constexpr const char *otherDevice =
    R"({"return_data":true,"calledApp":"files","deviceType":"disk","deviceName":"Stick",)"
    R"("isPTP":false,"deviceBusNumber":"1","deviceAddressNumber":"9","vendorName":"Vendor",)"
    R"("volumeName":"Volume","devicePath":"/dev/sda1"})";
constexpr const char *refusal = "no text";

// The text form; "no text" for a null pointer.
std::string text(const char *uniqueKey = "key") {
    const std::unique_ptr<char, decltype(&std::free)> result(CSourceAPI::GetUsbData(uniqueKey),
                                                             std::free);
    return result ? result.get() : refusal;
}

class UsbDataTest : public ClientTest {
 protected:
    UsbDataTest() { service.reply(otherDevice); }

    // The map form.
    bool map(const std::string &uniqueKey = "key") {
        return CSourceAPI::GetUsbData(uniqueKey, &data);
    }

    // Both forms fail, and the map pointer is unchanged.
    void expectBothFail() {
        const std::shared_ptr<Data> old = data;
        for (const bool asText : {true, false}) {
            SCOPED_TRACE(asText ? "text form" : "map form");
            platform.clearLog();
            EXPECT_TRUE(asText ? text() == refusal : !map());
            EXPECT_EQ(data, old);
        }
    }

    std::shared_ptr<Data> data = std::make_shared<Data>(Data{{"old", "data"}});
};

// The request.

TEST_F(UsbDataTest, BothFormsSendExactlyTheKey) {
    EXPECT_NE(text("usb 1/%20"), refusal);
    EXPECT_TRUE(map("usb 1/%20"));
    ASSERT_THAT(service.calls(), SizeIs(2));
    for (const ReceivedCall &call : service.calls()) {
        EXPECT_EQ(call.json, parsedJson(R"({"method":"UtilGetUsbData",)"
                                        R"("data":{"SourceUniqueKey":"usb 1/%20"}})"));
        EXPECT_EQ(call.bodyType, "(suss)");
    }
}

TEST_F(UsbDataTest, EmptyKeyIsSentAsAnEmptyText) {
    EXPECT_TRUE(map(""));
    EXPECT_EQ(service.lastCall().json["data"]["SourceUniqueKey"], Json::Value(""));
}

TEST_F(UsbDataTest, NeitherFormNeedsTheClientObject) {
    EXPECT_NE(text(), refusal);
    EXPECT_TRUE(map());
    EXPECT_EQ(clientsMade(), 0U);
}

TEST_F(UsbDataTest, NullKeyRaisesALogicErrorAndSendsNothing) {
    EXPECT_THROW(CSourceAPI::GetUsbData(nullptr), std::logic_error);
    EXPECT_THAT(service.calls(), IsEmpty());
}

// The map.

TEST_F(UsbDataTest, PtpDeviceHasItsBusAndAddressNumbers) {
    service.reply(ptpDevice);
    EXPECT_TRUE(map());
    EXPECT_THAT(*data, ElementsAre(Pair("called_app", "photos"), Pair("device_addressnumber", "9"),
                                   Pair("device_busnumber", "1"), Pair("device_name", "EOS"),
                                   Pair("device_type", "camera")));
}

TEST_F(UsbDataTest, AnyOtherDeviceHasItsVendorVolumeAndPath) {
    const Data expected = {{"called_app", "files"},   {"device_type", "disk"},
                           {"device_name", "Stick"},  {"vendor_name", "Vendor"},
                           {"volume_name", "Volume"}, {"device_path", "/dev/sda1"}};
    Json::Value device = parsedJson(otherDevice);
    for (const char *isPtp : {"false", "0", "null"}) {
        SCOPED_TRACE(isPtp);
        device["isPTP"] = parsedJson(isPtp);
        service.reply(jsonText(device));
        EXPECT_TRUE(map());
        EXPECT_EQ(*data, expected);
    }
    device.removeMember("isPTP");
    service.reply(jsonText(device));
    data.reset();
    EXPECT_TRUE(map());
    EXPECT_EQ(*data, expected);
}

TEST_F(UsbDataTest, AnyNonZeroNumberMarksAPtpDevice) {
    service.reply(R"({"isPTP":2})");
    EXPECT_TRUE(map());
    EXPECT_EQ(data->count("device_busnumber"), 1U);
}

TEST_F(UsbDataTest, MissingMembersAreEmptyTexts) {
    for (const char *reply : {"{}", "no JSON", "null"}) {
        SCOPED_TRACE(reply);
        service.reply(reply);
        EXPECT_TRUE(map());
        EXPECT_EQ(*data, (Data{{"called_app", ""},
                               {"device_type", ""},
                               {"device_name", ""},
                               {"vendor_name", ""},
                               {"volume_name", ""},
                               {"device_path", ""}}));
    }
    service.reply(R"({"isPTP":true})");
    EXPECT_TRUE(map());
    EXPECT_EQ(*data, (Data{{"called_app", ""},
                           {"device_type", ""},
                           {"device_name", ""},
                           {"device_busnumber", ""},
                           {"device_addressnumber", ""}}));
}

TEST_F(UsbDataTest, NumbersAndBooleansBecomeTheirTexts) {
    service.reply(R"({"isPTP":true,"deviceBusNumber":3,"deviceAddressNumber":-1,)"
                  R"("deviceName":true,"deviceType":null,"calledApp":4294967295})");
    EXPECT_TRUE(map());
    EXPECT_EQ(*data, (Data{{"called_app", "4294967295"},
                           {"device_type", ""},
                           {"device_name", "true"},
                           {"device_busnumber", "3"},
                           {"device_addressnumber", "-1"}}));
}

TEST_F(UsbDataTest, MembersOfReturnDataAreNotTheDevices) {
    service.reply(R"({"return_data":1,"deviceName":"outer"})");
    EXPECT_TRUE(map());
    EXPECT_EQ(data->at("device_name"), "outer");
}

TEST_F(UsbDataTest, EachCallMakesANewMapAndOwnersKeepTheOldOne) {
    const std::shared_ptr<Data> old = data;
    EXPECT_TRUE(map());
    EXPECT_NE(data, old);
    EXPECT_EQ(*old, (Data{{"old", "data"}}));
    const std::weak_ptr<Data> unowned = data;
    EXPECT_TRUE(map());
    EXPECT_TRUE(unowned.expired());
}

// The text.

TEST_F(UsbDataTest, TextIsTheWholeReplyInStyledForm) {
    service.reply(R"({"return_data":true,"isPTP":false,"other":[]})");
    EXPECT_EQ(text(),
              "{\n\t\"dbus_result\" : null,\n\t\"isPTP\" : false,\n\t\"other\" : [],\n"
              "\t\"return_data\" : true\n}\n");
}

TEST_F(UsbDataTest, TextFormDoesNotReadTheDevice) {
    for (const char *member : {R"("isPTP":"yes")", R"("isPTP":[])", R"("deviceName":{"a":1})"}) {
        SCOPED_TRACE(member);
        service.reply("{" + std::string(member) + "}");
        EXPECT_NE(text(), refusal);
    }
    service.reply("{}");
    EXPECT_EQ(text(), "{\n\t\"dbus_result\" : null\n}\n");
}

TEST_F(UsbDataTest, ReplyThatIsNoJsonIsTheTextNull) {
    for (const char *reply : {"no JSON", ""}) {
        SCOPED_TRACE(reply);
        service.reply(reply);
        EXPECT_EQ(text(), "null\n");
    }
}

// Failures.

TEST_F(UsbDataTest, ReplyWithoutReturnDataIsASuccess) {
    service.reply(R"({"deviceName":"Stick"})");
    EXPECT_TRUE(map());
    EXPECT_EQ(data->at("device_name"), "Stick");
    EXPECT_NE(text(), refusal);
}

TEST_F(UsbDataTest, FalseReturnDataIsARefusalWithAnyOtherMembers) {
    Json::Value device = parsedJson(otherDevice);
    for (const char *value : {"false", "0", "0.0", "null"}) {
        SCOPED_TRACE(value);
        device["return_data"] = parsedJson(value);
        service.reply(jsonText(device));
        expectBothFail();
    }
}

TEST_F(UsbDataTest, UnreadableReturnDataIsAFailure) {
    for (const char *value : {R"("true")", "[]", "{}"}) {
        SCOPED_TRACE(value);
        service.reply(R"({"return_data":)" + std::string(value) + "}");
        expectBothFail();
    }
}

TEST_F(UsbDataTest, ReplyThatIsNoObjectIsAFailure) {
    for (const char *reply : {"[1]", "5", R"({"dbus_result":[]})"}) {
        SCOPED_TRACE(reply);
        service.reply(reply);
        expectBothFail();
    }
}

TEST_F(UsbDataTest, FailedCallIsAFailure) {
    CSourceAPI::Get();
    service.replyWithError("test.Error.Refused", "not today");
    expectBothFail();
    service.reply(R"({"dbus_result":"fail","deviceName":"Stick"})");
    expectBothFail();
    EXPECT_THAT(service.calls(), SizeIs(4));
    service.releaseName();
    expectBothFail();
}

TEST_F(UsbDataTest, UnreadableIsPtpFailsTheMapAndKeepsEarlierMembers) {
    for (const char *value : {R"("yes")", "[]", R"({"a":1})"}) {
        SCOPED_TRACE(value);
        Json::Value device = parsedJson(otherDevice);
        device["isPTP"] = parsedJson(value);
        service.reply(jsonText(device));
        const std::shared_ptr<Data> old = data;
        EXPECT_FALSE(map());
        EXPECT_NE(data, old);
        EXPECT_EQ(
            *data,
            (Data{{"called_app", "files"}, {"device_type", "disk"}, {"device_name", "Stick"}}));
    }
}

// Each stored member, in order, with the keys that the map contains if it is unreadable.
TEST_F(UsbDataTest, UnreadableMemberFailsTheMapAndKeepsEarlierMembers) {
    const auto expectPrefixes =
        [this](const char *reply,
               const std::vector<std::pair<const char *, const char *>> &membersInOrder) {
            Data expected;
            for (const auto &[member, key] : membersInOrder) {
                SCOPED_TRACE(member);
                Json::Value device = parsedJson(reply);
                const std::string good = device[member].asString();
                device[member] = Json::arrayValue;
                service.reply(jsonText(device));
                EXPECT_FALSE(map());
                EXPECT_EQ(*data, expected);
                expected.emplace(key, good);
            }
        };
    expectPrefixes(ptpDevice, {{"calledApp", "called_app"},
                               {"deviceType", "device_type"},
                               {"deviceName", "device_name"},
                               {"deviceBusNumber", "device_busnumber"},
                               {"deviceAddressNumber", "device_addressnumber"}});
    expectPrefixes(otherDevice, {{"calledApp", "called_app"},
                                 {"deviceType", "device_type"},
                                 {"deviceName", "device_name"},
                                 {"vendorName", "vendor_name"},
                                 {"volumeName", "volume_name"},
                                 {"devicePath", "device_path"}});
}

TEST_F(UsbDataTest, MembersOfTheOtherKindOfDeviceAreNotRead) {
    service.reply(R"({"isPTP":true,"vendorName":[],"volumeName":[],"devicePath":[]})");
    EXPECT_TRUE(map());
    service.reply(R"({"isPTP":false,"deviceBusNumber":[],"deviceAddressNumber":[]})");
    EXPECT_TRUE(map());
}

TEST_F(UsbDataTest, ForeignExceptionsPass) {
    CSourceAPI::Get();
    platform.onLog([](const LogLine &line) {
        if (line.function == "m_SendMessageSync") {
            throw std::runtime_error("foreign");
        }
    });
    EXPECT_THROW(text(), std::runtime_error);
    EXPECT_THROW(map(), std::runtime_error);
}

}  // namespace
