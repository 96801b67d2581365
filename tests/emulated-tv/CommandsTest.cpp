// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Commands.h"

#include <gmock/gmock.h>

#include "JsonText.h"
#include "TemporaryFolder.h"

namespace emulated_tv {

using testing::HasSubstr;
using testing::Optional;

class CommandsTest : public testing::Test {
 protected:
    Json::Value ask(const std::string &request) {
        Commands::Answer answer = m_commands.answer(request);
        m_change = answer.change;
        return support::parseJson(answer.text).value_or("not JSON");
    }
    Json::Value ask(const std::string &method, const std::string &data) {
        return ask(R"({"method":")" + method + R"(","data":)" + data + "}");
    }

    const Source &source(const std::string &key) const { return m_store.model().source(key); }

    TemporaryFolder m_root;
    SourceStore m_store{m_root.path()};
    Commands m_commands{m_store};
    // The change that the last request would announce.
    std::optional<ListChange> m_change;
};

TEST_F(CommandsTest, RequestThatIsNotAJsonObjectFails) {
    const std::string deep(2000, '[');
    for (const std::string &request : {std::string(), std::string("no JSON"), std::string("[]"),
                                       std::string("null"), std::string("\"text\""), deep}) {
        const Json::Value reply = ask(request);
        EXPECT_EQ(reply["dbus_result"], "fail") << request;
        EXPECT_EQ(reply["return_data"], false);
        EXPECT_THAT(reply["error"].asString(), HasSubstr("not a JSON object"));
    }
}

TEST_F(CommandsTest, UnknownCommandFails) {
    for (const char *request : {R"({"method":"sourceConnect","data":{"SourceType":3}})",
                                R"({"method":3})", R"({"data":{}})", "{}"}) {
        const Json::Value reply = ask(request);
        EXPECT_EQ(reply["dbus_result"], "fail") << request;
        EXPECT_EQ(reply["return_data"], false);
        EXPECT_THAT(reply["error"].asString(), HasSubstr("unknown command"));
    }
}

TEST_F(CommandsTest, SourceConnectSelectsTheSourceWithoutChangingTheList) {
    EXPECT_EQ(ask("SourceConnect", R"({"SourceType":4})"),
              *support::parseJson(R"({"return_data":true})"));
    EXPECT_EQ(m_store.model().selected(), "hdmi2");
    EXPECT_EQ(m_change, std::nullopt);
}

TEST_F(CommandsTest, SourceConnectToAnEmptyPortSucceeds) {
    EXPECT_EQ(ask("SourceConnect", R"({"SourceType":5})")["return_data"], true);
    EXPECT_EQ(m_store.model().selected(), "hdmi3");
}

TEST_F(CommandsTest, RunAppSelectsTheSourceOfThatKey) {
    EXPECT_EQ(ask("RunApp", R"({"SourceType":8,"SourceUniqueKey":"usb-camera"})"),
              *support::parseJson(R"({"return_data":true})"));
    EXPECT_EQ(m_store.model().selected(), "usb-camera");
    EXPECT_EQ(m_change, std::nullopt);
}

TEST_F(CommandsTest, SourceListIsTheWholeList) {
    const Json::Value reply = ask("UtilGetSourceList", "null");
    EXPECT_EQ(reply.size(), 1U);
    EXPECT_EQ(reply["return_data"], m_store.model().list());
    EXPECT_EQ(m_change, std::nullopt);
}

TEST_F(CommandsTest, DetectedNameAndDeviceTypeAreStored) {
    EXPECT_EQ(ask("UtilSetSourceDetectedNameAndDeviceType",
                  R"({"SourceType":8,"DetectedName":"Kamera Nr. 2","DetectedDeviceType":4294967295,
                      "MBRActivityIndex":1})"),
              *support::parseJson(R"({"return_data":true})"));
    EXPECT_EQ(source("usb-camera").detectedName, "Kamera Nr. 2");
    EXPECT_EQ(source("usb-camera").deviceType, 4294967295U);
    EXPECT_THAT(m_change, Optional(ListChange::Described));
}

TEST_F(CommandsTest, EditNameIsStored) {
    EXPECT_EQ(
        ask("UtilSetSourceEditName", R"({"SourceType":3,"EditName":"Été","MBRActivityIndex":0})"),
        *support::parseJson(R"({"return_data":true})"));
    EXPECT_EQ(source("hdmi1").editName, "Été");
    EXPECT_THAT(m_change, Optional(ListChange::Described));
}

TEST_F(CommandsTest, SettingTheSameNameAgainAnnouncesNothing) {
    constexpr auto data = R"({"SourceType":4,"EditName":"Same","MBRActivityIndex":0})";
    ask("UtilSetSourceEditName", data);
    EXPECT_THAT(m_change, Optional(ListChange::Described));
    EXPECT_EQ(ask("UtilSetSourceEditName", data)["return_data"], true);
    EXPECT_EQ(m_change, std::nullopt);
}

TEST_F(CommandsTest, DeviceTypeIsStoredAndAnnouncedIfItIsInTheList) {
    constexpr auto first = R"({"SourceType":4,"DeviceType":9,"MBRActivityIndex":0})";
    EXPECT_EQ(ask("UtilSetSourceDeviceType", first),
              *support::parseJson(R"({"return_data":true})"));
    EXPECT_EQ(source("hdmi2").deviceType, 9U);
    EXPECT_THAT(m_change, Optional(ListChange::Described)) << "the setting method is in the list";
    constexpr auto second = R"({"SourceType":4,"DeviceType":10,"MBRActivityIndex":0})";
    EXPECT_EQ(ask("UtilSetSourceDeviceType", second)["return_data"], true);
    EXPECT_EQ(source("hdmi2").deviceType, 10U);
    EXPECT_EQ(m_change, std::nullopt) << "the device type is not in the list";
}

TEST_F(CommandsTest, CustomIconsAreStoredAndReturned) {
    EXPECT_EQ(ask("UtilSetCustomIconPath",
                  R"({"SourceType":3,"Pid":1234,"MbrActivityIndex":0,"SourceIconPath":"/s.png",
                      "LauncherFocusedIconPath":"/f.png","LauncherUnfocusedIconPath":"/u.png"})"),
              *support::parseJson(R"({"return_data":true})"));
    EXPECT_THAT(m_change, Optional(ListChange::Icon));
    EXPECT_EQ(ask("UtilGetCustomIconPath", R"({"SourceType":3,"MbrActivityIndex":0})"),
              *support::parseJson(R"({"return_data":true,"SourceIconPath":"/s.png",
                             "LauncherFocusedIconPath":"/f.png",
                             "LauncherUnfocusedIconPath":"/u.png"})"));
    EXPECT_EQ(m_change, std::nullopt);
}

TEST_F(CommandsTest, LauncherIconsAloneAnnounceNothing) {
    EXPECT_EQ(ask("UtilSetCustomIconPath",
                  R"({"SourceType":3,"Pid":1,"MbrActivityIndex":0,"SourceIconPath":"",
                      "LauncherFocusedIconPath":"/f.png","LauncherUnfocusedIconPath":""})"),
              *support::parseJson(R"({"return_data":true})"));
    EXPECT_EQ(m_change, std::nullopt);
}

TEST_F(CommandsTest, SourceWithoutCustomIconsHasEmptyPaths) {
    EXPECT_EQ(ask("UtilGetCustomIconPath", R"({"SourceType":2,"MbrActivityIndex":0})"),
              *support::parseJson(R"({"return_data":true,"SourceIconPath":"",
                             "LauncherFocusedIconPath":"","LauncherUnfocusedIconPath":""})"));
}

TEST_F(CommandsTest, UsbDataOfADiskIsInTheRoot) {
    EXPECT_EQ(ask("UtilGetUsbData", R"({"SourceUniqueKey":"usb-disk"})"),
              *support::parseJson(
                  R"({"return_data":true,"calledApp":"media-browser","deviceType":"storage",
                             "deviceName":"Été 2026","isPTP":false,"vendorName":"Generic",
                             "volumeName":"Été 2026","devicePath":"/media/usb-disk"})"));
}

TEST_F(CommandsTest, UsbDataOfACameraIsInTheRoot) {
    EXPECT_EQ(
        ask("UtilGetUsbData", R"({"SourceUniqueKey":"usb-camera"})"),
        *support::parseJson(R"({"return_data":true,"calledApp":"photo-viewer","deviceType":"camera",
                             "deviceName":"Björn's Kamera","isPTP":true,"deviceBusNumber":"001",
                             "deviceAddressNumber":"004"})"));
}

TEST_F(CommandsTest, ReplyIsOneLineOfAscii) {
    const std::string text =
        m_commands.answer(R"({"method":"UtilGetUsbData","data":{"SourceUniqueKey":"usb-disk"}})")
            .text;
    EXPECT_EQ(text.find_first_not_of(" !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                     "[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~"),
              std::string::npos);
}

struct Refused {
    const char *method;
    const char *data;
};

void PrintTo(const Refused &refused, std::ostream *out) {
    *out << refused.method;
}

class RefusalTest : public CommandsTest, public testing::WithParamInterface<Refused> {};

TEST_P(RefusalTest, IsAnsweredWithFalseAndChangesNothing) {
    const Json::Value before = m_store.model().toJson();
    const Json::Value reply = ask(GetParam().method, GetParam().data);
    EXPECT_EQ(reply["return_data"], false) << GetParam().data;
    EXPECT_FALSE(reply.isMember("dbus_result"));
    EXPECT_NE(reply["error"].asString(), "");
    EXPECT_EQ(m_store.model().toJson(), before);
    EXPECT_EQ(m_change, std::nullopt);
}

constexpr auto setDetected = "UtilSetSourceDetectedNameAndDeviceType";
constexpr auto setIcons = "UtilSetCustomIconPath";

const Refused refusals[] = {
    {"SourceConnect", "null"},
    {"SourceConnect", "[]"},
    {"SourceConnect", "3"},
    {"SourceConnect", "{}"},
    {"SourceConnect", R"({"SourceType":"3"})"},
    {"SourceConnect", R"({"SourceType":true})"},
    {"SourceConnect", R"({"SourceType":4294967296})"},
    {"SourceConnect", R"({"SourceType":99})"},
    {"RunApp", R"({"SourceType":8})"},
    {"RunApp", R"({"SourceType":8,"SourceUniqueKey":5})"},
    {"RunApp", R"({"SourceType":8,"SourceUniqueKey":"usb-none"})"},
    {"RunApp", R"({"SourceType":3,"SourceUniqueKey":"usb-disk"})"},
    {setDetected, R"({"SourceType":3,"DetectedName":"x","DetectedDeviceType":1})"},
    {setDetected,
     R"({"SourceType":3,"DetectedName":"x","DetectedDeviceType":1,"MbrActivityIndex":0})"},
    {setDetected,
     R"({"SourceType":3,"DetectedName":"x","DetectedDeviceType":-1,"MBRActivityIndex":0})"},
    {setDetected,
     R"({"SourceType":3,"DetectedName":"x","DetectedDeviceType":4294967296,"MBRActivityIndex":0})"},
    {setDetected,
     R"({"SourceType":3,"DetectedName":null,"DetectedDeviceType":1,"MBRActivityIndex":0})"},
    {setDetected,
     R"({"SourceType":3,"DetectedName":"x","DetectedDeviceType":1,"MBRActivityIndex":1})"},
    {"UtilSetSourceEditName", R"({"SourceType":3,"EditName":"x","MbrActivityIndex":0})"},
    {"UtilSetSourceEditName", R"({"SourceType":3,"EditName":7,"MBRActivityIndex":0})"},
    {"UtilSetSourceEditName", R"({"SourceType":6,"EditName":"x","MBRActivityIndex":0})"},
    {"UtilSetSourceEditName", R"({"SourceType":3,"EditName":"a\u0000b","MBRActivityIndex":0})"},
    {"UtilSetSourceEditName", R"({"SourceType":3,"EditName":"\udc00","MBRActivityIndex":0})"},
    {"UtilSetSourceEditName", R"({"SourceType":3,"EditName":"x","MBRActivityIndex":"0"})"},
    {"UtilSetSourceDeviceType", R"({"SourceType":3,"DeviceType":1,"MbrActivityIndex":0})"},
    {"UtilSetSourceDeviceType", R"({"SourceType":3,"DeviceType":"1","MBRActivityIndex":0})"},
    {"UtilSetSourceDeviceType", R"({"SourceType":3,"DeviceType":1,"MBRActivityIndex":-1})"},
    {setIcons,
     R"({"SourceType":3,"Pid":1,"MBRActivityIndex":0,"SourceIconPath":"",
         "LauncherFocusedIconPath":"","LauncherUnfocusedIconPath":""})"},
    {setIcons,
     R"({"SourceType":3,"MbrActivityIndex":0,"SourceIconPath":"",
         "LauncherFocusedIconPath":"","LauncherUnfocusedIconPath":""})"},
    {setIcons,
     R"({"SourceType":3,"Pid":1,"MbrActivityIndex":0,"SourceIconPath":"",
         "LauncherFocusedIconPath":""})"},
    {setIcons,
     R"({"SourceType":9,"Pid":1,"MbrActivityIndex":0,"SourceIconPath":"",
         "LauncherFocusedIconPath":"","LauncherUnfocusedIconPath":""})"},
    {"UtilGetCustomIconPath", R"({"SourceType":3,"MBRActivityIndex":0})"},
    {"UtilGetCustomIconPath", R"({"SourceType":3,"MbrActivityIndex":4})"},
    {"UtilGetUsbData", "{}"},
    {"UtilGetUsbData", R"({"SourceUniqueKey":1})"},
    {"UtilGetUsbData", R"({"SourceUniqueKey":"usb-none"})"},
    {"UtilGetUsbData", R"({"SourceUniqueKey":"hdmi1"})"},
};

INSTANTIATE_TEST_SUITE_P(EveryCommand, RefusalTest, testing::ValuesIn(refusals),
                         [](const auto &tested) {
                             return tested.param.method + std::to_string(tested.index);
                         });

}  // namespace emulated_tv
