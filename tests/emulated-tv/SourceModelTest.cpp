// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceModel.h"

#include <gmock/gmock.h>

#include "JsonText.h"
#include "Refusal.h"
#include "SourceStore.h"

namespace emulated_tv {

using testing::HasSubstr;

class SourceModelTest : public testing::Test {
 protected:
    template <typename Change>
    std::string whyRefused(Change change) {
        const Json::Value before = m_model.toJson();
        try {
            change();
        } catch (const Refusal &refusal) {
            EXPECT_EQ(m_model.toJson(), before) << "a refusal must change nothing";
            return refusal.what();
        }
        return "not refused";
    }

    SourceModel m_model = defaultSources();
};

TEST_F(SourceModelTest, DefaultTvHasPortsAndTwoUsbDevices) {
    std::vector<std::string> keys;
    for (const Source &source : m_model.sources()) {
        keys.push_back(source.uniqueKey);
    }
    EXPECT_THAT(keys, testing::ElementsAre("tuner", "hdmi1", "hdmi2", "hdmi3", "av", "usb-disk",
                                           "usb-camera"));
    EXPECT_EQ(m_model.selected(), "tuner");
    EXPECT_EQ(m_model.source("usb-camera").usbData["isPTP"], true);
    EXPECT_EQ(m_model.source("usb-disk").usbData["isPTP"], false);
}

TEST_F(SourceModelTest, JsonIsReadBackUnchanged) {
    m_model.setCustomIcons(3, 0, {"a.png", "b.png", "c.png"});
    m_model.setDeviceType(3, 0, 4294967295U);
    const Json::Value document = m_model.toJson();
    EXPECT_EQ(SourceModel::fromJson(*support::parseJson(support::jsonDocument(document))).toJson(),
              document);
}

TEST_F(SourceModelTest, MalformedJsonIsRejected) {
    for (const char *text :
         {"null", "[]", "{}", R"({"selected":"a"})", R"({"selected":1,"sources":[]})",
          R"({"selected":"a","sources":{}})", R"({"selected":"a","sources":[1]})",
          R"({"selected":"a","sources":[{"uniqueKey":"a"}]})"}) {
        EXPECT_THROW(SourceModel::fromJson(*support::parseJson(text)), Refusal) << text;
    }
    Json::Value document = m_model.toJson();
    document["selected"] = "missing";
    EXPECT_THROW(SourceModel::fromJson(document), Refusal);
}

TEST_F(SourceModelTest, ListElementHasExactlyTheKeysThatClientsRead) {
    const Json::Value list = m_model.list();
    ASSERT_EQ(list.size(), 7U);
    EXPECT_EQ(list[1], *support::parseJson(R"({
        "sourceType": 3, "editName": "Wohnzimmer%20B%C3%A4r", "detectedName": "Set-top%20box",
        "iconPath": "/usr/share/tv/icons/hdmi.png", "uniqueKey": "hdmi1",
        "connectionState": true, "powerState": 1, "mbrActivityIndex": 0, "settingMethod": 1})"));
}

TEST_F(SourceModelTest, StoredNamesAreNotPercentEncoded) {
    const Json::Value names = m_model.names();
    ASSERT_EQ(names.size(), 7U);
    EXPECT_EQ(names[1], *support::parseJson(R"({
        "SourceType": 3, "EditName": "Wohnzimmer Bär", "DetectedName": "Set-top box",
        "DeviceType": 1, "MbrActivityIndex": 0, "EditState": 1, "SettingMethod": 1})"));
}

TEST_F(SourceModelTest, DeviceTypesAreStoredAsSignedNumbers) {
    m_model.setDeviceType(3, 0, 4294967295U);
    EXPECT_EQ(m_model.names()[1]["DeviceType"], -1);
    EXPECT_EQ(m_model.source("hdmi1").deviceType, 4294967295U);
}

TEST_F(SourceModelTest, SelectingATypeSelectsItsFirstSource) {
    m_model.select(8);
    EXPECT_EQ(m_model.selected(), "usb-disk");
}

TEST_F(SourceModelTest, PortWithNothingPluggedInCanBeSelected) {
    m_model.select(5);
    EXPECT_EQ(m_model.selected(), "hdmi3");
}

TEST_F(SourceModelTest, SelectingByKeyNeedsTheRightType) {
    m_model.select(8, "usb-camera");
    EXPECT_EQ(m_model.selected(), "usb-camera");
    EXPECT_THAT(whyRefused([&] { m_model.select(3, "usb-camera"); }), HasSubstr("type 3"));
    EXPECT_THAT(whyRefused([&] { m_model.select(8, "usb-none"); }), HasSubstr("usb-none"));
    EXPECT_THAT(whyRefused([&] { m_model.select(6); }), HasSubstr("type 6"));
}

TEST_F(SourceModelTest, SourcesOfOneTypeAreDistinguishedByIndex) {
    m_model.setEditName(8, 1, "Ma caméra");
    EXPECT_EQ(m_model.source("usb-camera").editName, "Ma caméra");
    EXPECT_EQ(m_model.source("usb-disk").editName, "");
    EXPECT_THAT(whyRefused([&] { m_model.setEditName(8, 2, "x"); }), HasSubstr("index 2"));
    EXPECT_THAT(whyRefused([&] { m_model.setDeviceType(6, 0, 1); }), HasSubstr("type 6"));
    EXPECT_THAT(whyRefused([&] { m_model.setDetected(8, -1, "x", 1); }), HasSubstr("index -1"));
    EXPECT_THAT(whyRefused([&] { m_model.setCustomIcons(0, 0, {}); }), HasSubstr("type 0"));
}

TEST_F(SourceModelTest, UsersNameIsMarkedUntilItIsRemoved) {
    m_model.setEditName(4, 0, "Console");
    EXPECT_EQ(m_model.source("hdmi2").editState, 1);
    EXPECT_EQ(m_model.source("hdmi2").settingMethod, 1);
    m_model.setEditName(4, 0, "");
    EXPECT_EQ(m_model.source("hdmi2").editState, 0);
}

TEST_F(SourceModelTest, DetectedNameAndTypeChangeTogether) {
    m_model.setDetected(4, 0, "Player", 9);
    EXPECT_EQ(m_model.source("hdmi2").detectedName, "Player");
    EXPECT_EQ(m_model.source("hdmi2").deviceType, 9U);
    EXPECT_EQ(m_model.source("hdmi2").settingMethod, 0);
}

TEST_F(SourceModelTest, CustomIconIsListedUntilItIsRemoved) {
    m_model.setCustomIcons(4, 0, {"/icon one.png", "f", "u"});
    EXPECT_EQ(m_model.list()[2]["iconPath"], "/icon one.png");
    m_model.setCustomIcons(4, 0, {});
    EXPECT_EQ(m_model.list()[2]["iconPath"], "/usr/share/tv/icons/hdmi.png");
}

TEST_F(SourceModelTest, PluggingIntoAPortConnectsADevice) {
    m_model.plug("hdmi3", "Björn's Laptop", 4);
    const Source &source = m_model.source("hdmi3");
    EXPECT_TRUE(source.connected);
    EXPECT_EQ(source.powerState, 1);
    EXPECT_EQ(source.detectedName, "Björn's Laptop");
    EXPECT_EQ(source.deviceType, 4U);
}

TEST_F(SourceModelTest, DeviceWithoutANameIsNamedAfterThePort) {
    m_model.plug("hdmi3", std::nullopt, std::nullopt);
    EXPECT_EQ(m_model.source("hdmi3").detectedName, "HDMI 3 device");
}

TEST_F(SourceModelTest, PluggingInAgainChangesTheGivenFieldsOnly) {
    m_model.plug("hdmi2", std::nullopt, std::nullopt);
    EXPECT_EQ(m_model.toJson(), defaultSources().toJson());
    m_model.plug("hdmi2", std::nullopt, 7);
    EXPECT_EQ(m_model.source("hdmi2").detectedName, "Spielkonsole");
    EXPECT_EQ(m_model.source("hdmi2").deviceType, 7U);
}

TEST_F(SourceModelTest, NewUsbKeyAddsADeviceWithTheNextIndex) {
    m_model.plug("usb-stick", "Holiday Photos", std::nullopt);
    const Source &stick = m_model.source("usb-stick");
    EXPECT_EQ(stick.sourceType, 8);
    EXPECT_EQ(stick.mbrActivityIndex, 2);
    EXPECT_EQ(stick.detectedName, "Holiday Photos");
    EXPECT_TRUE(stick.connected);
    EXPECT_EQ(stick.usbData["volumeName"], "Holiday Photos");
    EXPECT_EQ(stick.usbData["devicePath"], "/media/usb-stick");
}

TEST_F(SourceModelTest, FirstUsbDeviceHasIndexZero) {
    m_model.unplug("usb-disk");
    m_model.unplug("usb-camera");
    m_model.plug("usb-stick", std::nullopt, std::nullopt);
    EXPECT_EQ(m_model.source("usb-stick").mbrActivityIndex, 0);
}

TEST_F(SourceModelTest, UnknownKeyIsRejectedWithTheKnownKeys) {
    for (const char *key : {"hdmi9", "", "usb stick", "usb/../x", "USB-stick"}) {
        const std::string why = whyRefused([&] { m_model.plug(key, std::nullopt, std::nullopt); });
        EXPECT_THAT(why, HasSubstr("tuner, hdmi1, hdmi2, hdmi3, av, usb-disk, usb-camera"));
    }
    EXPECT_THAT(whyRefused([&] { m_model.unplug("usb-none"); }), HasSubstr("usb-none"));
    EXPECT_THAT(whyRefused([&] { m_model.rename("usb-none", "x"); }), HasSubstr("usb-none"));
    EXPECT_THAT(whyRefused([&] { m_model.setPower("usb-none", true); }), HasSubstr("usb-none"));
}

TEST_F(SourceModelTest, UnplugEmptiesAPortAndRemovesAUsbDevice) {
    m_model.unplug("hdmi1");
    const Source &port = m_model.source("hdmi1");
    EXPECT_FALSE(port.connected);
    EXPECT_EQ(port.powerState, 0);
    EXPECT_EQ(port.detectedName, "");
    EXPECT_EQ(port.editName, "Wohnzimmer Bär");
    m_model.unplug("usb-disk");
    EXPECT_THROW(m_model.source("usb-disk"), Refusal);
}

TEST_F(SourceModelTest, RemovingTheSelectedDeviceSelectsTheFirstSource) {
    m_model.select(8);
    m_model.unplug("usb-disk");
    EXPECT_EQ(m_model.selected(), "tuner");
}

TEST_F(SourceModelTest, PowerIsSwitchedForAPluggedInDeviceOnly) {
    m_model.setPower("hdmi2", true);
    EXPECT_EQ(m_model.source("hdmi2").powerState, 1);
    m_model.setPower("hdmi2", false);
    EXPECT_EQ(m_model.source("hdmi2").powerState, 0);
    EXPECT_THAT(whyRefused([&] { m_model.setPower("hdmi3", true); }),
                HasSubstr("nothing is plugged into"));
}

TEST_F(SourceModelTest, RenamingByKeySetsTheUsersName) {
    m_model.rename("av", "Magnétoscope");
    EXPECT_EQ(m_model.source("av").editName, "Magnétoscope");
    EXPECT_EQ(m_model.source("av").editState, 1);
}

}  // namespace emulated_tv
