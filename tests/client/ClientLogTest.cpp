// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the client logs about its connection, its requests and its callbacks. Programs read these
// lines, so texts and levels are part of the interface, spelling included.
#include "ClientLogTest.h"
#include "AllocationFailure.h"

namespace {

using Row = LogRow<ClientLogTest>;

void ignore(int, void *) {}
void announceAgain(int value, void * /*userData*/) {
    if (value == 1) {
        ClientPeer::announce(2);
    }
}

const Row connectionRows[] = {
    {"CSourceAPI",
     "of the first Get",
     [](auto & /*test*/) { CSourceAPI::Get(); },
     {info("CSourceAPI constructor"),
      error("Created source API dbus connection!", "m_CreateDbusConnection"),
      info("Initialize Source Map", "m_CreateDbusConnection"),
      info("m_UpdateSourceDataMapCache", "m_UpdateSourceDataMapCache"),
      error("m_GetSourceMap", "m_GetSourceMap"),
      info("[7][3][0][Game][Console][1][0]", "m_GetSourceMap"),
      info("[7][4][1][][Player][0][2]", "m_GetSourceMap"),
      info("m_SetSourceMapCache", "m_SetSourceMapCache"),
      info("Subscribe for signal :: [0]", "m_CreateDbusConnection"),
      info("m_SubscribeSignal", "m_SubscribeSignal")}},
    {"CSourceAPI", "of the second Get", [](auto &test) { test.begin(), CSourceAPI::Get(); }, {}},
    {"~CSourceAPI",
     "while connected",
     [](auto &test) {
         auto another = ClientPeer::makeAnother();
         test.platform.clearLog();
         another.reset();
     },
     {info("CSourceAPI destructor"),
      info("Has subscribed for event :: [1]", "m_CloseDbusConnection"),
      info("UNSubscribe signal callback", "m_CloseDbusConnection"),
      info("m_UnSubscribeSignal", "m_UnSubscribeSignal")}},
    {"m_CreateDbusConnection",
     "with the connection in place",
     [](auto &test) { test.begin(), ClientPeer::connect(); },
     {info("Subscribe for signal :: [1]")}},
    {"m_CreateDbusConnection",
     "without memory",
     [](auto & /*test*/) {
         const AllocationFailure failure(0);
         ClientPeer::connect();
     },
     {error("Fail to create SourceTCServer. dBusHandler is NULL")}},
    {"m_CreateDbusConnection",
     "without a bus",
     [](auto &test) {
         test.bus.stop();
         ClientPeer::connect();
     },
     {error("fail to create dbus proxy for source serivce daemon"),
      info("Has subscribed for event :: [0]", "m_CloseDbusConnection")}},
    {"m_CreateDbusConnection",
     "when subscribing fails",
     [](auto &test) {
         test.failNextSubscription();
         ClientPeer::connect();
     },
     {error("Created source API dbus connection!"), info("Initialize Source Map"),
      info("Subscribe for signal :: [0]"), error("Fail to subscribe signal")}},
    {"m_CloseDbusConnection",
     "while closed",
     [](auto & /*test*/) { ClientPeer::disconnect(); },
     {info("Has subscribed for event :: [0]")}},
    {"m_SubscribeSignal",
     "without an endpoint",
     [](auto & /*test*/) { ClientPeer::subscribe(); },
     {info("m_SubscribeSignal"), error("dBusHandler is NULL. Can't subscribe signal.")}},
    {"m_UnSubscribeSignal",
     "without an endpoint",
     [](auto & /*test*/) { ClientPeer::unsubscribe(); },
     {info("m_UnSubscribeSignal"), error("dBusHandler is NULL. Can't unsubscribe signal.")}},
};

const Row requestRows[] = {
    {"m_SendMessageSync",
     "on a good connection",
     [](auto &test) { test.begin(), test.command(); },
     {error("m_SendMessageSync")}},
    {"m_SendMessageSync",
     "when the service refuses",
     [](auto &test) { test.begin(), test.refuse(), test.command(); },
     {error("m_SendMessageSync")}},
    {"m_SendMessageSync",
     "while the service is not on the bus",
     [](auto &test) { test.begin(), test.service.releaseName(), test.command(); },
     {error("m_SendMessageSync"), error("source-service server is not available yet!!!")}},
    {"m_SendMessageSync",
     "after the connection was closed",
     [](auto &test) {
         test.begin(), ClientPeer::disconnect();
         test.platform.clearLog();
         test.command();
     },
     {error("m_SendMessageSync"), error("Need to create Dbus Connection"),
      error("Created source API dbus connection!", "m_CreateDbusConnection"),
      info("Subscribe for signal :: [0]", "m_CreateDbusConnection")}},
    {"m_SendMessageSync",
     "without a bus",
     [](auto &test) {
         test.bus.stop();
         test.begin(), test.command();
     },
     {error("m_SendMessageSync"), error("Need to create Dbus Connection"),
      error("Fail to create dbus connection. Can't send message")}},
    {"m_SendMessageSync",
     "in a forked child",
     [](auto &test) {
         test.begin();
         test.inForkedChild([&] { test.command(); });
     },
     {error("m_SendMessageSync"), error("Fail to create dbus connection. Can't send message")}},
    {"m_SendMessageSync",
     "when the connection is closed meanwhile",
     [](auto &test) {
         test.begin();
         ClientPeer::isSubscribed() = false;
         test.platform.onLog([](const LogLine &line) {
             if (line.text == "Subscribe signal") {
                 FakePlatform::get().onLog(nullptr);
                 ClientPeer::disconnect();
             }
         });
         test.command();
     },
     {error("m_SendMessageSync"), error("Subscribe signal"), error("Fail to subscribe signal"),
      error("Fail to create dbus connection. Can't send message")}},
    {"m_SendMessageSync",
     "that retries a subscription in vain",
     [](auto &test) {
         test.begin();
         ClientPeer::isSubscribed() = false;
         test.failNextSubscription();
         test.command();
     },
     {error("m_SendMessageSync"), error("Subscribe signal"),
      info("m_SubscribeSignal", "m_SubscribeSignal"), error("Fail to subscribe signal")}},
    {"m_MakeAPICall",
     "that is answered with true",
     [](auto &test) { test.begin(), test.command(); },
     {info("ret_data {\n\t\"dbus_result\" : null,\n\t\"return_data\" : true\n}\n"),
      info(" Return data = 1")}},
    {"m_MakeAPICall",
     "that is answered with null",
     [](auto &test) {
         test.service.reply(R"({"return_data":null})"), test.begin(), test.command();
     },
     {info("ret_data <text>"), info(" Return data = 0")}},
    {"m_MakeAPICall",
     "that is answered without return data",
     [](auto &test) { test.service.reply("no JSON"), test.begin(), test.command(); },
     {info("ret_data null\n"), error("Error: no response or return_data!")}},
    {"m_MakeAPICall",
     "that is answered with text",
     [](auto &test) { test.service.reply(R"({"return_data":"x"})"), test.begin(), test.command(); },
     {info("ret_data <text>"), error("Exception occured! [Value is not convertible to bool.]"),
      error("Error: no response or return_data!")}},
    {"m_MakeAPICall",
     "that is answered with an array",
     [](auto &test) { test.service.reply("[true]"), test.begin(), test.command(); },
     {error("Exception occured! [<text>]"), error("Error: no response or return_data!")}},
    {"m_MakeAPICall",
     "that is refused",
     [](auto &test) { test.begin(), test.refuse(), test.command(); },
     {}},
    {"Connect",
     "of a source type",
     [](auto &test) { test.begin().Connect(3); },
     {error("connecting source type = [3]"), error("m_SendMessageSync", "m_SendMessageSync"),
      info("ret_data <text>", "m_MakeAPICall"), info(" Return data = 1", "m_MakeAPICall")}},
    {"RunApp",
     "of a source type and a key",
     [](auto &test) { test.begin().RunApp(3, "key"); },
     {error("connecting source type = [3],[key]"),
      error("m_SendMessageSync", "m_SendMessageSync")}},
};

const Row callbackRows[] = {
    {"RegisterSourceAPICallback",
     "of a function and of none",
     [](auto &test) {
         test.begin();
         CSourceAPI::RegisterSourceAPICallback(ignore, &test);
         CSourceAPI::RegisterSourceAPICallback(nullptr, &test);
     },
     {info("RegisterSourceAPICallback"),
      info("[Register Callback] callback : <pointer>, pUserData : <pointer>"),
      info("RegisterSourceAPICallback"), error("callback is null")}},
    {"UnregisterSourceAPICallback",
     "of known, unknown and null user data",
     [](auto &test) {
         CSourceAPI::RegisterSourceAPICallback(ignore, &test);
         CSourceAPI::RegisterSourceAPICallback(ignore, nullptr);
         test.begin();
         CSourceAPI::UnregisterSourceAPICallback(&test);
         CSourceAPI::UnregisterSourceAPICallback(&test);
         CSourceAPI::UnregisterSourceAPICallback(nullptr);
     },
     {info("UnregisterSourceAPICallback"),
      info("[Unregister Callback] callback : <pointer>, pUserData : <pointer>"),
      info("UnregisterSourceAPICallback"), info("UnregisterSourceAPICallback"),
      info("user data is null"),
      info("[Unregister Callback] callback : <pointer>, pUserData : (nil)")}},
    {"m_NotifySourceListChanged",
     "without a registration",
     [](auto &test) { test.begin(), ClientPeer::announce(1); },
     {info("m_NotifySourceListChanged"), info("callback function is no exist!")}},
    {"m_NotifySourceListChanged",
     "to two functions",
     [](auto &test) {
         ClientPeer::registrations() = {{ignore, &test}, {nullptr, &test}, {ignore, nullptr}};
         test.begin(), ClientPeer::announce(1);
     },
     {info("m_NotifySourceListChanged"), info("callback <pointer>"), info("pUserData <pointer>"),
      error("callBackData.apiCallback is NULL"), info("callback <pointer>"),
      info("pUserData (nil)")}},
    {"m_NotifySourceListChanged",
     "inside a callback",
     [](auto &test) {
         ClientPeer::registrations() = {{announceAgain, nullptr}};
         test.begin(), ClientPeer::announce(1);
     },
     {info("m_NotifySourceListChanged"), info("callback <pointer>"), info("pUserData (nil)"),
      info("m_NotifySourceListChanged"), error("already notifying"), info("callback <pointer>"),
      info("pUserData (nil)")}},
    {"m_OnFunctionCallBack",
     "of a first signal, one with another list and one with the same",
     [](auto &test) {
         test.begin();
         test.handle(R"({"return_data":[1]})");
         test.handle(R"({"return_data":[2]})");
         test.handle(R"({"return_data":[2]})");
     },
     {info("m_OnFunctionCallBack (Notified: 0)"),
      info("m_NotifySourceListChanged", "m_NotifySourceListChanged"),
      info("callback function is no exist!", "m_NotifySourceListChanged"), info("Done"),
      info("m_OnFunctionCallBack (Notified: 1)"),
      info("m_NotifySourceListChanged", "m_NotifySourceListChanged"),
      info("callback function is no exist!", "m_NotifySourceListChanged"), info("Done"),
      info("m_OnFunctionCallBack (Notified: 1)"), info("Sourcelist is not changed", "m_IsUpdated"),
      error("Not changed. Don't notify")}},
};

TEST_P(ClientLogTest, WritesTheseLines) {
    expectLinesOf(GetParam(), *this, "SourceAPI.cpp");
}

INSTANTIATE_TEST_SUITE_P(Connection, ClientLogTest, testing::ValuesIn(connectionRows),
                         nameOfRow<ClientLogTest>);
INSTANTIATE_TEST_SUITE_P(Requests, ClientLogTest, testing::ValuesIn(requestRows),
                         nameOfRow<ClientLogTest>);
INSTANTIATE_TEST_SUITE_P(Callbacks, ClientLogTest, testing::ValuesIn(callbackRows),
                         nameOfRow<ClientLogTest>);

}  // namespace
