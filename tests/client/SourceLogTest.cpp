// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the client logs about sources: the list, the names, the settings and USB devices. Programs
// read these lines, so texts and levels are part of the interface, spelling included.
#include <stdexcept>

#include "ClientLogTest.h"

namespace {

using Row = LogRow<ClientLogTest>;

class SourceLogTest : public ClientLogTest {};

constexpr const char *failedSource = "Exception occured! [Value is not convertible to Int.]";

const Row listRows[] = {
    {"GetSourceList",
     "as text, first and again",
     [](auto &test) {
         test.serviceHas(R"([{"sourceType":3}])");
         test.begin(), test.readText(), test.readText();
     },
     {error("GetSourceList!"), info("m_UpdateSourceListCache", "m_UpdateSourceListCache"),
      error("m_GetSourceList", "m_GetSourceList"), error("update sourcelist", "m_GetSourceList"),
      info("m_SetSourceListCache", "m_SetSourceListCache"),
      info("Update SourceDataMap[1] SourceItemArray[1] --> [1]", "m_UpdateCache"),
      error("Notify Source List Changed!"), info("[\t{\t\t\"sourceType\" : 3\t}]"),
      error("GetSourceList!"), info("[\t{\t\t\"sourceType\" : 3\t}]")}},
    {"GetSourceList",
     "as text, when the fetch fails",
     [](auto &test) { test.begin(), test.refuse(), test.readText(); },
     {error("GetSourceList!"), error("m_GetSourceList", "m_GetSourceList"),
      error("update sourcelist", "m_GetSourceList"),
      info("Update SourceDataMap[1] SourceItemArray[0] --> [0]", "m_UpdateCache"),
      error("Failed to get sourcelist!")}},
    {"GetSourceList",
     "as records, first and again",
     [](auto &test) {
         test.serviceHas(R"([{"sourceType":8,"uniqueKey":"b"},{"uniqueKey":"a"}])");
         test.begin(), test.readRecords(), test.readRecords();
     },
     {error("GetSourceList!"),
      info("Update SourceDataMap[1] SourceItemArray[1] --> [1]", "m_UpdateCache"),
      info("[8] {\t\"sourceType\" : 8,\t\"uniqueKey\" : \"b\"}"),
      info("[0] {\t\"sourceType\" : null,\t\"uniqueKey\" : \"a\"}"), error("GetSourceList!"),
      info("[8] {\t\"sourceType\" : 8,\t\"uniqueKey\" : \"b\"}"),
      info("[0] {\t\"sourceType\" : null,\t\"uniqueKey\" : \"a\"}")}},
    {"GetSourceList",
     "as records, when the fetch fails",
     [](auto &test) { test.begin(), test.refuse(), test.readRecords(); },
     {error("GetSourceList!"), error("Failed to get sourcelist!")}},
    {"GetSourceList",
     "as records, with an unreadable key",
     [](auto &test) {
         test.serviceHas(R"([{"sourceType":1},{"sourceType":"x"},{"sourceType":2}])");
         test.begin(), test.readRecords();
     },
     {error("GetSourceList!"), info("[1] {\t\"sourceType\" : 1}"), error(failedSource)}},
    {"m_ConvertJsonToSourceItemObject",
     "with an unreadable member",
     [](auto &test) {
         test.serviceHas(R"([{"sourceType":1},{"powerState":"on"}])");
         test.begin(), test.readRecords();
     },
     {error(failedSource)}},
    {"m_GetSourceList",
     "when the reply is no object",
     [](auto &test) {
         test.service.reply("[1]");
         test.begin(), test.readText();
     },
     {error("m_GetSourceList"), error("update sourcelist"), error("Exception occured! [<text>]"),
      error("Error: no response or return_data!")}},
    {"m_UpdateSourceListCache",
     "of a list and of the request to fetch one",
     [](auto &test) {
         test.begin();
         ClientPeer::updateList(parsedJson("[1]"));
         ClientPeer::updateList(Json::Value(""));
     },
     {info("m_UpdateSourceListCache"), info("update source list from callback data"),
      info("m_SetSourceListCache", "m_SetSourceListCache"), info("m_UpdateSourceListCache"),
      info("m_SetSourceListCache", "m_SetSourceListCache")}},
    {"m_UpdateCache",
     "without the names, and without the list as well",
     [](auto &test) {
         test.platform.setSourceNames(std::nullopt);
         test.begin(), test.readText();
         test.refuse();
         ClientPeer::updateCaches(Json::Value(""));
     },
     {info("Update SourceDataMap[0] SourceItemArray[1] --> [0]"),
      info("Update SourceDataMap[0] SourceItemArray[0] --> [0]")}},
    {"m_IsUpdated",
     "of a list that differs and of one that does not",
     [](auto &test) {
         test.begin();
         ClientPeer::isNewList(parsedJson("[1]"));
         ClientPeer::isNewList(Json::Value());
     },
     {info("Sourcelist is not changed")}},
};

void readNames(ClientLogTest &test, std::optional<std::string> document) {
    test.platform.setSourceNames(std::move(document));
    ClientPeer::updateNames();
}

const Row nameRows[] = {
    {"m_GetSourceMap",
     "of a document",
     [](auto &test) { readNames(test, test.names); },
     {info("m_UpdateSourceDataMapCache", "m_UpdateSourceDataMapCache"), error("m_GetSourceMap"),
      info("[7][3][0][Game][Console][1][0]"), info("[7][4][1][][Player][0][2]"),
      info("m_SetSourceMapCache", "m_SetSourceMapCache")}},
    {"m_GetSourceMap",
     "of a document with a member that is no object",
     [](auto &test) { readNames(test, R"([5,{}])"); },
     {error("m_GetSourceMap"), info("[0][0][0][][][0][0]")}},
    {"m_GetSourceMap",
     "of a missing key",
     [](auto &test) { readNames(test, std::nullopt); },
     {info("m_UpdateSourceDataMapCache", "m_UpdateSourceDataMapCache"), error("m_GetSourceMap"),
      info("fail to get db/source-list/source-name"),
      info("m_SetSourceMapCache", "m_SetSourceMapCache")}},
    {"m_GetSourceMap",
     "of text that is not JSON",
     [](auto &test) { readNames(test, "[{"), readNames(test, std::string(2000, '[')); },
     {error("m_GetSourceMap"), info("nothing to parse"), error("m_GetSourceMap"),
      info("nothing to parse")}},
    {"m_GetSourceMap",
     "of an empty document",
     [](auto &test) { readNames(test, "[]"), readNames(test, "null"); },
     {error("m_GetSourceMap"), info("root is empty"), error("m_GetSourceMap"),
      info("root is empty")}},
    {"GetSourceEditName",
     "of a known source, one without a name and an unknown one",
     [](auto &test) {
         std::string name;
         test.begin().GetSourceEditName(7, name, 0);
         CSourceAPI::Get()->GetSourceEditName(7, name, 1);
         CSourceAPI::Get()->GetSourceEditName(8, name, -5);
     },
     {error("GetSourceEditName"),
      info("nSourceType[7], strSourceName[Game], nMbrActivityIndex[0] (EditName: Game, "
           "DetectedName: Console)"),
      error("GetSourceEditName"),
      info("nSourceType[7], strSourceName[Player], nMbrActivityIndex[1] (EditName: , "
           "DetectedName: Player)"),
      error("GetSourceEditName"), info("get GetSourceEditName fail[8][-5]")}},
    {"GetSourceEditName",
     "when the names cannot be read",
     [](auto &test) {
         test.platform.setSourceNames(std::nullopt);
         std::string name;
         test.begin().GetSourceEditName(7, name, 0);
     },
     {info("m_UpdateSourceDataMapCache", "m_UpdateSourceDataMapCache"),
      error("Failed to get sourcemap!")}},
    {"GetSourceEditName",
     "when the names are read again first",
     [](auto &test) {
         test.serviceHas("[]");
         test.begin();
         ClientPeer::hasNames() = false;
         std::string name;
         CSourceAPI::Get()->GetSourceEditName(7, name, 1);
     },
     {info("m_UpdateSourceDataMapCache", "m_UpdateSourceDataMapCache"),
      info("Update SourceDataMap[1] SourceItemArray[1] --> [1]", "m_UpdateCache"),
      error("GetSourceEditName"),
      info("nSourceType[7], strSourceName[Player], nMbrActivityIndex[1] (EditName: , "
           "DetectedName: Player)")}},
    {"GetSourceDeviceType",
     "of known sources and an unknown one",
     [](auto &test) {
         test.platform.setSourceNames(R"([{"SourceType":7,"DeviceType":-1}])");
         unsigned int type = 0;
         test.begin().GetSourceDeviceType(7, &type, 0);
         CSourceAPI::Get()->GetSourceDeviceType(8, &type, -5);
     },
     {error("GetSourceDeviceType"), info("nSourceType[7], nDeviceType[-1], nMbrActivityIndex[0]"),
      error("GetSourceDeviceType"), info("get GetSourceDeviceType fail[8][-5]")}},
    {"GetSourceDeviceType",
     "when the names cannot be read",
     [](auto &test) {
         test.platform.setSourceNames(std::nullopt);
         unsigned int type = 0;
         test.begin().GetSourceDeviceType(7, &type, 0);
     },
     {error("Failed to get sourcemap!")}},
    {"GetSourceOSDText",
     "of a known type and an unknown one",
     [](auto &test) {
         test.platform.setOnScreenName(7, "HDMI1");
         std::string text;
         test.begin().GetSourceOSDText(7, text);
         CSourceAPI::Get()->GetSourceOSDText(8, text);
     },
     {error("GetSourceOSDText"), info("HDMI1"), error("GetSourceOSDText"), info("----")}},
};

// The line of a command comes before those of its request.
const Row settingsRows[] = {
    {"SetSourceDetectedNameAndDeviceType",
     "of a source",
     [](auto &test) {
         test.begin().SetSourceDetectedNameAndDeviceType(7, "Console", 4294967295U, -2);
     },
     {error("nSourceType[7], strDetectedName[Console], nDetectedDeviceType[-1], "
            "nMbrActivityIndex[-2]"),
      error("m_SendMessageSync", "m_SendMessageSync")}},
    {"SetSourceEditName",
     "of a source",
     [](auto &test) { test.begin().SetSourceEditName(7, "My TV", 3); },
     {error("nSourceType[7], strSourceName[My TV], nMbrActivityIndex[3]"),
      error("m_SendMessageSync", "m_SendMessageSync")}},
    {"SetSourceDeviceType",
     "of a source",
     [](auto &test) { test.begin().SetSourceDeviceType(-7, 4294967295U, 3); },
     {error("nSourceType[-7], nDeviceType[-1], nMbrActivityIndex[3]"),
      error("m_SendMessageSync", "m_SendMessageSync")}},
    {"SetCustomIconPath",
     "of a source",
     [](auto &test) {
         test.begin().SetCustomIconPath(7, "/s", {"/focused", "/unfocused"}, 3);
     },
     {error("SourceType[7], SourceIconPath[/s], LauncherIconPath_f[/focused], "
            "LauncherIconPath_n[/unfocused], MbrActivityIndex[3]"),
      error("m_SendMessageSync", "m_SendMessageSync")}},
    {"GetCustomIconPath",
     "when it succeeds, is refused and gets an unreadable reply",
     [](auto &test) {
         std::string icon;
         std::pair<std::string, std::string> launcher;
         test.begin().GetCustomIconPath(7, icon, launcher, 3);
         test.service.reply(R"({"SourceIconPath":[]})");
         CSourceAPI::Get()->GetCustomIconPath(7, icon, launcher, 3);
         test.refuse();
         CSourceAPI::Get()->GetCustomIconPath(7, icon, launcher, 3);
     },
     {error("GetCustomIconPath"), error("m_SendMessageSync", "m_SendMessageSync"),
      error("GetCustomIconPath"), error("m_SendMessageSync", "m_SendMessageSync"),
      error("Exception occured! [Type is not convertible to string]"), error("GetCustomIconPath"),
      error("m_SendMessageSync", "m_SendMessageSync")}},
};

void askAsText(ClientLogTest &test, const char *reply) {
    test.service.reply(reply);
    std::free(CSourceAPI::GetUsbData("key"));
}
void askAsMap(ClientLogTest &test, const char *reply) {
    test.service.reply(reply);
    std::shared_ptr<std::map<std::string, std::string>> data;
    CSourceAPI::GetUsbData("key", &data);
}

const Row usbRows[] = {
    {"GetUsbData",
     "that is answered",
     [](auto &test) {
         test.begin();
         askAsText(test, R"({"isPTP":true})");
         askAsMap(test, R"({"isPTP":true})");
     },
     {error("connecting uniquekey = [key]"), error("m_SendMessageSync", "m_SendMessageSync"),
      info("{\t\"dbus_result\" : null,\t\"isPTP\" : true}"), error("connecting uniquekey = [key]"),
      error("m_SendMessageSync", "m_SendMessageSync"),
      info("{\t\"dbus_result\" : null,\t\"isPTP\" : true}")}},
    {"GetUsbData",
     "that the service answers with no",
     [](auto &test) {
         askAsText(test, R"({"return_data":false})");
         askAsMap(test, R"({"return_data":false})");
     },
     {error("connecting uniquekey = [key]"), error("Failed to get usbdata!"),
      error("connecting uniquekey = [key]"), error("Failed to get usbdata!")}},
    {"GetUsbData",
     "that gets an unreadable reply",
     [](auto &test) {
         askAsText(test, R"({"return_data":"x"})");
         askAsMap(test, R"({"deviceType":[]})");
     },
     {error("connecting uniquekey = [key]"),
      error("Exception occured! [Value is not convertible to bool.]"),
      error("Error: no response or return_data!"), error("connecting uniquekey = [key]"),
      info("{\t\"dbus_result\" : null,\t\"deviceType\" : []}"),
      error("Exception occured! [Type is not convertible to string]"),
      error("Error: no response or return_data!")}},
    {"GetUsbData",
     "whose call fails, with a key and without one",
     [](auto &test) {
         test.refuse();
         std::free(CSourceAPI::GetUsbData("key"));
         EXPECT_THROW(CSourceAPI::GetUsbData(nullptr), std::logic_error);
     },
     {error("connecting uniquekey = [key]"), error("connecting uniquekey = [(null)]")}},
};

TEST_P(SourceLogTest, WritesTheseLines) {
    expectLinesOf(GetParam(), *this, "SourceAPI.cpp");
}

INSTANTIATE_TEST_SUITE_P(List, SourceLogTest, testing::ValuesIn(listRows),
                         nameOfRow<ClientLogTest>);
INSTANTIATE_TEST_SUITE_P(Names, SourceLogTest, testing::ValuesIn(nameRows),
                         nameOfRow<ClientLogTest>);
INSTANTIATE_TEST_SUITE_P(Settings, SourceLogTest, testing::ValuesIn(settingsRows),
                         nameOfRow<ClientLogTest>);
INSTANTIATE_TEST_SUITE_P(UsbDevices, SourceLogTest, testing::ValuesIn(usbRows),
                         nameOfRow<ClientLogTest>);

}  // namespace
