// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The one client object, its connection to the service, and the commands that travel on it.
#include <gio/gunixsocketaddress.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <new>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include "ClientTest.h"
#include "OthersCanLock.h"
#include "Rendezvous.h"

using testing::AllOf;
using testing::Contains;
using testing::ContainsRegex;
using testing::Each;
using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

// What runs at the exit of the process, once the client is gone.
std::function<void()> afterTheClient;

thread_local bool allocationsFail = false;

}  // namespace

// The library's allocation of its endpoint, which a test may make fail.
void *operator new(std::size_t size, const std::nothrow_t & /*tag*/) noexcept {
    if (allocationsFail) {
        return nullptr;
    }
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

namespace {

bool connectToThree() {
    return CSourceAPI::Get()->Connect(3);
}

// What the client itself logged, without the lines of the transport below it.
std::vector<LogLine> clientLog() {
    std::vector<LogLine> lines;
    for (const LogLine &line : FakePlatform::get().log()) {
        if (line.file == "SourceAPI.cpp") {
            lines.push_back(line);
        }
    }
    return lines;
}

// The only line that the end of an endpoint leaves in the log.
const auto endpointDeleted = From("SourceTCHandler.cpp", "Destroy");

bool ready(const std::future<bool> &result) {
    return result.wait_for(std::chrono::milliseconds(waitLimit)) == std::future_status::ready;
}

// How many change signals the client handles when the service emits one.
int handledOfOneSignal(FakeService &service) {
    FakePlatform &platform = FakePlatform::get();
    // After this the bus daemon knows what the client has subscribed.
    EXPECT_TRUE(deliverSignalsOf(service.connection()));
    platform.clearLog();
    service.emitChange(R"({"return_data":[]})");
    EXPECT_TRUE(deliverSignalsOf(service.connection()));
    return platform.count(infoPriority, "m_OnFunctionCallBack (Notified: 0)") +
           platform.count(infoPriority, "m_OnFunctionCallBack (Notified: 1)");
}

class ConnectionTest : public ClientTest {
 protected:
    ConnectionTest() {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        std::atexit([] {
            if (afterTheClient) {
                afterTheClient();
            }
        });
    }

    // The next attempt to subscribe meets an endpoint without a bus connection.
    void failNextSubscription() {
        platform.onLog([this](const LogLine &line) {
            if (line.text == "m_SubscribeSignal") {
                m_connection = std::exchange(CSourceAPI::dBusHandler->m_Connection, nullptr);
            } else if (line.text == "Fail to subscribe signal") {
                CSourceAPI::dBusHandler->m_Connection = m_connection;
                platform.onLog(nullptr);
            }
        });
    }

    // The bus daemon ends, and the client's connection notices.
    void loseBus() {
        const BusConnection shared = sharedConnection();
        bus.stop();
        EXPECT_TRUE(
            iterateUntil([&] { return g_dbus_connection_is_closed(shared.get()) != FALSE; }));
    }

    // Shows the log on the standard error from here on, where the end of a process is observed.
    void showLog() {
        platform.onLog([](const LogLine &line) { std::cerr << line << std::endl; });
    }

    // Ends the process in the middle of the test. Once the client is gone `last` runs, and the bus
    // daemon ends: the process whose exit is observed must not leave it behind.
    [[noreturn]] void leave(
        int code, const std::function<void()> &last = [] {}) {
        afterTheClient = [this, last] {
            last();
            platform.onLog(nullptr);
            bus.stop();
        };
        std::exit(code);
    }

    bool exchange(SourceTCMessage &reply) {
        SourceTCMessage request;
        request.m_JsonRoot["method"] = "Hello";
        return CSourceAPI::m_SendMessageSync(request, reply);
    }
    bool exchange() {
        SourceTCMessage reply;
        return exchange(reply);
    }

 private:
    GDBusConnection *m_connection = nullptr;
};

class ConnectionWithoutBusTest : public testing::Test {
 protected:
    ConnectionWithoutBusTest() {
        bus.stop();
        platform.setSourceNames("[]");
    }
    ~ConnectionWithoutBusTest() override { platform.onLog(nullptr); }

    void startBus() {
        bus.start();
        service.emplace(bus);
    }

    TestBus bus;
    std::optional<FakeService> service;
    FakePlatform &platform = FakePlatform::get();
};

// The object.

TEST_F(ConnectionTest, InterfaceNameIsSource) {
    static_assert(std::is_same_v<decltype(CSourceAPI::API_NAME), const char *>);
    EXPECT_STREQ(CSourceAPI::API_NAME, "Source");
}

TEST_F(ConnectionTest, StateBeforeTheFirstGetIsEmpty) {
    EXPECT_EQ(CSourceAPI::dBusHandler, nullptr);
    EXPECT_FALSE(CSourceAPI::m_bHasSubscribedForEvent);
    EXPECT_FALSE(CSourceAPI::m_bNotified);
    EXPECT_FALSE(CSourceAPI::m_bIntializedSourceDataMap);
    EXPECT_FALSE(CSourceAPI::m_bIntializedSourceItemArray);
    EXPECT_TRUE(CSourceAPI::m_sourceItemArray.isNull());
    EXPECT_THAT(CSourceAPI::m_SourceDataMap, IsEmpty());
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(ConnectionTest, EveryGetReturnsTheSameObject) {
    CSourceAPI *const api = CSourceAPI::Get();
    ASSERT_NE(api, nullptr);
    EXPECT_EQ(CSourceAPI::Get(), api);
    EXPECT_THAT(api->m_sourceAPICallbackData, IsEmpty());
    EXPECT_EQ(platform.count(infoPriority, "CSourceAPI constructor"), 1);
}

TEST_F(ConnectionTest, SecondGetLogsNothing) {
    CSourceAPI::Get();
    platform.clearLog();
    CSourceAPI::Get();
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(ConnectionTest, ThreadsThatGetAtOnceShareOneObject) {
    Rendezvous start(4);
    std::vector<std::future<CSourceAPI *>> objects;
    for (int thread = 0; thread < 4; ++thread) {
        objects.push_back(std::async(std::launch::async, [&] {
            start.arrive();
            return CSourceAPI::Get();
        }));
    }
    for (auto &object : objects) {
        EXPECT_EQ(object.get(), CSourceAPI::Get());
    }
    EXPECT_EQ(platform.count(infoPriority, "CSourceAPI constructor"), 1);
    EXPECT_EQ(platform.count(infoPriority, "SubscribeSignal source_api success"), 1);
}

TEST_F(ConnectionTest, ConstructorThatThrowsIsTriedAgainByTheNextGet) {
    platform.setSourceNames(R"([{"SourceType":"seven"}])");
    EXPECT_THROW(CSourceAPI::Get(), Json::Exception);
    platform.setSourceNames(names);
    EXPECT_TRUE(CSourceAPI::Get()->Connect(3));
    EXPECT_EQ(platform.count(infoPriority, "CSourceAPI constructor"), 2);
    EXPECT_EQ(platform.count(errorPriority, "Created source API dbus connection!"), 1);
    EXPECT_EQ(platform.count(infoPriority, "SubscribeSignal source_api success"), 1);
    EXPECT_THAT(CSourceAPI::m_SourceDataMap, SizeIs(2));
}

TEST_F(ConnectionTest, FirstGetConnectsReadsTheNamesAndSubscribesInThisOrder) {
    CSourceAPI::Get();
    EXPECT_THAT(
        clientLog(),
        ElementsAre(Info("CSourceAPI constructor"), Error("Created source API dbus connection!"),
                    Info("Initialize Source Map"), Info("m_UpdateSourceDataMapCache"),
                    Error("m_GetSourceMap"), InfoWith("[Game]"), InfoWith("[Player]"),
                    Info("m_SetSourceMapCache"), Info("Subscribe for signal :: [0]"),
                    Info("m_SubscribeSignal")));
    EXPECT_THAT(platform.logOf("m_CreateDbusConnection"),
                AllOf(SizeIs(3), Each(From("SourceAPI.cpp", "m_CreateDbusConnection"))));
    EXPECT_THAT(platform.log(), Contains(From("SourceAPI.cpp", "CSourceAPI")));
}

TEST_F(ConnectionTest, FirstGetMakesTheEndpointAndItsSubscription) {
    CSourceAPI::Get();
    const SourceTCServer *const endpoint = CSourceAPI::dBusHandler;
    ASSERT_NE(endpoint, nullptr);
    EXPECT_EQ(endpoint->m_ServerName, "source_api");
    EXPECT_EQ(endpoint->m_ServerType, 2);
    EXPECT_NE(endpoint->m_Connection, nullptr);
    EXPECT_TRUE(CSourceAPI::m_bIntializedSourceDataMap);
    EXPECT_TRUE(CSourceAPI::m_bHasSubscribedForEvent);
    ASSERT_EQ(endpoint->m_SignalControls.count("source_api"), 1U);
    const auto *const control = endpoint->m_SignalControls.at("source_api");
    EXPECT_EQ(control->callback, CSourceAPI::m_OnFunctionCallBack);
    EXPECT_EQ(control->userData, nullptr);
}

TEST_F(ConnectionTest, FirstGetSendsNothingToTheService) {
    CSourceAPI::Get();
    EXPECT_THAT(service.calls(), IsEmpty());
    EXPECT_THAT(platform.waits(), IsEmpty());
}

TEST_F(ConnectionTest, ChangeSignalReachesTheClient) {
    CSourceAPI::Get();
    EXPECT_EQ(handledOfOneSignal(service), 1);
}

// Connecting.

TEST_F(ConnectionTest, EndpointIsPublishedOnceItIsOpen) {
    std::vector<bool> published;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "CreateDBusServer" ||
            line.text == "Created source API dbus connection!") {
            published.push_back(CSourceAPI::dBusHandler != nullptr);
        }
    });
    CSourceAPI::Get();
    EXPECT_THAT(published, ElementsAre(false, false, true));
}

TEST_F(ConnectionTest, ExistingConnectionIsReusedAsItIs) {
    CSourceAPI::Get();
    const SourceTCServer *const endpoint = CSourceAPI::dBusHandler;
    platform.clearLog();
    EXPECT_TRUE(CSourceAPI::m_CreateDbusConnection());
    EXPECT_EQ(CSourceAPI::dBusHandler, endpoint);
    EXPECT_THAT(platform.log(), ElementsAre(Info("Subscribe for signal :: [1]")));
}

TEST_F(ConnectionTest, StaleNamesAreReadAgainWithTheConnectionInPlace) {
    CSourceAPI::Get();
    CSourceAPI::m_bIntializedSourceDataMap = false;
    platform.clearLog();
    EXPECT_TRUE(CSourceAPI::m_CreateDbusConnection());
    EXPECT_THAT(platform.logOf("m_CreateDbusConnection"),
                ElementsAre(Info("Initialize Source Map"), Info("Subscribe for signal :: [1]")));
    EXPECT_TRUE(CSourceAPI::m_bIntializedSourceDataMap);
}

TEST_F(ConnectionTest, UnreadableNamesDoNotMakeTheConnectionFail) {
    platform.setSourceNames(std::nullopt);
    EXPECT_TRUE(CSourceAPI::m_CreateDbusConnection());
    EXPECT_FALSE(CSourceAPI::m_bIntializedSourceDataMap);
    EXPECT_TRUE(CSourceAPI::m_bHasSubscribedForEvent);
}

TEST_F(ConnectionTest, EndpointThatCannotBeAllocatedIsAFailedConnection) {
    allocationsFail = true;
    EXPECT_FALSE(CSourceAPI::m_CreateDbusConnection());
    allocationsFail = false;
    EXPECT_EQ(CSourceAPI::dBusHandler, nullptr);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error("Fail to create SourceTCServer. dBusHandler is NULL")));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "m_CreateDbusConnection")));
}

TEST_F(ConnectionTest, RequestWhoseEndpointCannotBeAllocatedFails) {
    allocationsFail = true;
    EXPECT_FALSE(exchange());
    allocationsFail = false;
    EXPECT_THAT(clientLog(),
                ElementsAre(Error("m_SendMessageSync"), Error("Need to create Dbus Connection"),
                            Error("Fail to create SourceTCServer. dBusHandler is NULL"),
                            Error("Fail to create dbus connection. Can't send message")));
    EXPECT_TRUE(exchange());
}

TEST_F(ConnectionWithoutBusTest, FailedProxyLogsAndLeavesNoEndpoint) {
    EXPECT_FALSE(CSourceAPI::m_CreateDbusConnection());
    EXPECT_EQ(CSourceAPI::dBusHandler, nullptr);
    EXPECT_FALSE(CSourceAPI::m_bHasSubscribedForEvent);
    EXPECT_THAT(clientLog(),
                ElementsAre(Error("fail to create dbus proxy for source serivce daemon"),
                            Info("Has subscribed for event :: [0]")));
    EXPECT_THAT(platform.log(), Contains(Error("get dbus connection fail!")));
    EXPECT_THAT(platform.settingReads(), IsEmpty());
}

TEST_F(ConnectionWithoutBusTest, ObjectIsUsableAllTheSame) {
    ASSERT_NE(CSourceAPI::Get(), nullptr);
    EXPECT_EQ(CSourceAPI::dBusHandler, nullptr);
    platform.clearLog();
    EXPECT_FALSE(connectToThree());
    EXPECT_THAT(clientLog(),
                ElementsAre(Error("connecting source type = [3]"), Error("m_SendMessageSync"),
                            Error("Need to create Dbus Connection"),
                            Error("fail to create dbus proxy for source serivce daemon"),
                            Info("Has subscribed for event :: [0]"),
                            Error("Fail to create dbus connection. Can't send message")));
    EXPECT_THAT(platform.waits(), IsEmpty());
}

TEST_F(ConnectionWithoutBusTest, FirstRequestAfterTheBusCameConnectsAndSucceeds) {
    CSourceAPI::Get();
    startBus();
    platform.clearLog();
    EXPECT_TRUE(connectToThree());
    EXPECT_THAT(platform.logOf("m_SendMessageSync"),
                ElementsAre(Error("m_SendMessageSync"), Error("Need to create Dbus Connection")));
    EXPECT_THAT(platform.logOf("m_CreateDbusConnection"),
                ElementsAre(Error("Created source API dbus connection!"),
                            Info("Initialize Source Map"), Info("Subscribe for signal :: [0]")));
    EXPECT_EQ(handledOfOneSignal(*service), 1);
    EXPECT_TRUE(connectToThree());
    EXPECT_EQ(platform.count(errorPriority, "Need to create Dbus Connection"), 0);
}

TEST_F(ConnectionTest, MissingServiceAloneIsNoReasonToConnectAgain) {
    service.releaseName();
    CSourceAPI::Get();
    const SourceTCServer *const endpoint = CSourceAPI::dBusHandler;
    EXPECT_TRUE(CSourceAPI::m_bHasSubscribedForEvent);
    EXPECT_FALSE(connectToThree());
    service.ownName();
    EXPECT_TRUE(connectToThree());
    EXPECT_EQ(CSourceAPI::dBusHandler, endpoint);
    EXPECT_EQ(platform.count(errorPriority, "Need to create Dbus Connection"), 0);
}

// Subscribing.

TEST_F(ConnectionTest, SubscribingWithoutAnEndpointFailsWithALine) {
    EXPECT_FALSE(CSourceAPI::m_SubscribeSignal());
    EXPECT_THAT(platform.log(), ElementsAre(Info("m_SubscribeSignal"),
                                            Error("dBusHandler is NULL. Can't subscribe signal.")));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "m_SubscribeSignal")));
}

TEST_F(ConnectionTest, UnsubscribingWithoutAnEndpointLogsALine) {
    CSourceAPI::m_UnSubscribeSignal();
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("m_UnSubscribeSignal"),
                            Error("dBusHandler is NULL. Can't unsubscribe signal.")));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "m_UnSubscribeSignal")));
}

TEST_F(ConnectionTest, FailedSubscriptionDoesNotMakeTheConnectionFail) {
    failNextSubscription();
    EXPECT_TRUE(CSourceAPI::m_CreateDbusConnection());
    EXPECT_NE(CSourceAPI::dBusHandler, nullptr);
    EXPECT_FALSE(CSourceAPI::m_bHasSubscribedForEvent);
    EXPECT_THAT(
        platform.logOf("m_CreateDbusConnection"),
        ElementsAre(Error("Created source API dbus connection!"), Info("Initialize Source Map"),
                    Info("Subscribe for signal :: [0]"), Error("Fail to subscribe signal")));
}

TEST_F(ConnectionTest, FailedSubscriptionIsRetriedByTheNextRequestAndThenNoMore) {
    failNextSubscription();
    CSourceAPI::Get();
    EXPECT_EQ(handledOfOneSignal(service), 0);
    platform.clearLog();
    EXPECT_TRUE(exchange());
    EXPECT_TRUE(CSourceAPI::m_bHasSubscribedForEvent);
    EXPECT_THAT(clientLog(), ElementsAre(Error("m_SendMessageSync"), Error("Subscribe signal"),
                                         Info("m_SubscribeSignal")));
    EXPECT_EQ(handledOfOneSignal(service), 1);
    platform.clearLog();
    EXPECT_TRUE(exchange());
    EXPECT_THAT(clientLog(), ElementsAre(Error("m_SendMessageSync")));
}

TEST_F(ConnectionTest, RequestGoesOnWhenTheRetriedSubscriptionFailsToo) {
    failNextSubscription();
    CSourceAPI::Get();
    failNextSubscription();
    platform.clearLog();
    EXPECT_TRUE(exchange());
    EXPECT_THAT(clientLog(),
                ElementsAre(Error("m_SendMessageSync"), Error("Subscribe signal"),
                            Info("m_SubscribeSignal"), Error("Fail to subscribe signal")));
    EXPECT_FALSE(CSourceAPI::m_bHasSubscribedForEvent);
    EXPECT_THAT(service.calls(), SizeIs(1));
    platform.clearLog();
    EXPECT_TRUE(exchange());
    EXPECT_THAT(platform.logOf("m_SendMessageSync"), Contains(Error("Subscribe signal")));
    EXPECT_TRUE(CSourceAPI::m_bHasSubscribedForEvent);
}

TEST_F(ConnectionTest, RequestThatConnectsRetriesTheSubscriptionItself) {
    failNextSubscription();
    EXPECT_TRUE(exchange());
    EXPECT_THAT(platform.logOf("m_SendMessageSync"),
                ElementsAre(Error("m_SendMessageSync"), Error("Need to create Dbus Connection"),
                            Error("Subscribe signal")));
    EXPECT_TRUE(CSourceAPI::m_bHasSubscribedForEvent);
}

// Closing.

TEST_F(ConnectionTest, CloseUnsubscribesAndDeletesTheEndpoint) {
    CSourceAPI::Get();
    platform.clearLog();
    CSourceAPI::m_CloseDbusConnection();
    EXPECT_EQ(CSourceAPI::dBusHandler, nullptr);
    EXPECT_FALSE(CSourceAPI::m_bHasSubscribedForEvent);
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("Has subscribed for event :: [1]"),
                            Info("UNSubscribe signal callback"), Info("m_UnSubscribeSignal"),
                            InfoWith("UnSubscribeSignal source_api("), endpointDeleted));
    EXPECT_THAT(platform.logOf("m_CloseDbusConnection"),
                AllOf(SizeIs(2), Each(From("SourceAPI.cpp", "m_CloseDbusConnection"))));
    EXPECT_EQ(handledOfOneSignal(service), 0);
}

TEST_F(ConnectionTest, CloseLeavesTheCachesAndTheirFlags) {
    CSourceAPI::Get();
    CSourceAPI::m_SetSourceListCache(parsedJson("[1]"));
    CSourceAPI::m_bNotified = true;
    CSourceAPI::m_CloseDbusConnection();
    EXPECT_TRUE(CSourceAPI::m_bIntializedSourceDataMap);
    EXPECT_TRUE(CSourceAPI::m_bIntializedSourceItemArray);
    EXPECT_TRUE(CSourceAPI::m_bNotified);
    EXPECT_THAT(CSourceAPI::m_SourceDataMap, SizeIs(2));
    EXPECT_EQ(CSourceAPI::m_sourceItemArray, parsedJson("[1]"));
}

TEST_F(ConnectionTest, SecondCloseOnlyLogsThatNothingIsSubscribed) {
    CSourceAPI::Get();
    CSourceAPI::m_CloseDbusConnection();
    platform.clearLog();
    CSourceAPI::m_CloseDbusConnection();
    EXPECT_THAT(platform.log(), ElementsAre(Info("Has subscribed for event :: [0]")));
}

TEST_F(ConnectionTest, RequestAfterACloseConnectsAgain) {
    CSourceAPI::Get();
    CSourceAPI::m_CloseDbusConnection();
    platform.clearLog();
    EXPECT_TRUE(exchange());
    EXPECT_THAT(clientLog(),
                ElementsAre(Error("m_SendMessageSync"), Error("Need to create Dbus Connection"),
                            Error("Created source API dbus connection!"),
                            Info("Subscribe for signal :: [0]"), Info("m_SubscribeSignal")));
    EXPECT_EQ(handledOfOneSignal(service), 1);
}

TEST_F(ConnectionTest, CloseWaitsForNoCallAndLeavesTheEndpointToIt) {
    CSourceAPI::Get();
    service.hold();
    std::future<bool> call = std::async(std::launch::async, connectToThree);
    service.waitForCalls(1);
    platform.clearLog();
    std::future<bool> closed = std::async(std::launch::async, [] {
        CSourceAPI::m_CloseDbusConnection();
        return CSourceAPI::dBusHandler == nullptr;
    });
    const bool closedMeanwhile = ready(closed);
    EXPECT_TRUE(closedMeanwhile);
    EXPECT_NE(call.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    EXPECT_THAT(platform.log(), Not(Contains(endpointDeleted)));
    service.release();
    EXPECT_TRUE(call.get());
    EXPECT_TRUE(closed.get());
    EXPECT_THAT(platform.log(), Contains(endpointDeleted).Times(1));
    EXPECT_EQ(platform.count(infoPriority, "close source_api begin"), 0);
}

// A request.

TEST_F(ConnectionTest, RequestIsOneSynchronousCallToTheService) {
    SourceTCMessage reply;
    service.reply(R"({"return_data":[1]})");
    EXPECT_TRUE(exchange(reply));
    EXPECT_EQ(reply.m_JsonRoot["return_data"], parsedJson("[1]"));
    ASSERT_THAT(service.calls(), SizeIs(1));
    const ReceivedCall call = service.lastCall();
    EXPECT_EQ(call.destination, "source_service.message");
    EXPECT_EQ(call.path, "/source_service/message");
    EXPECT_EQ(call.interface, "source_service.message");
    EXPECT_EQ(call.member, "SendMessage");
    EXPECT_EQ(call.bodyType, "(suss)");
    EXPECT_EQ(call.sender, "source_api");
    EXPECT_EQ(call.number, 0U);
    EXPECT_EQ(call.auxText, "");
    EXPECT_THAT(platform.log(),
                Contains(ErrorWith("send message to source_service(source_service.message), "
                                   "sync : true, reply : 0x")));
}

TEST_F(ConnectionTest, RequestOnAGoodConnectionLogsItsEntryOnlyAtErrorLevel) {
    CSourceAPI::Get();
    platform.clearLog();
    EXPECT_TRUE(exchange());
    EXPECT_THAT(clientLog(), ElementsAre(Error("m_SendMessageSync")));
    EXPECT_THAT(clientLog(), Each(From("SourceAPI.cpp", "m_SendMessageSync")));
}

TEST_F(ConnectionTest, RequestFailsAtOnceWhileTheServiceIsAway) {
    CSourceAPI::Get();
    service.releaseName();
    platform.clearLog();
    EXPECT_FALSE(exchange());
    EXPECT_THAT(platform.log(),
                ElementsAre(Error("m_SendMessageSync"),
                            Error("source-service server is not available yet!!!")));
    EXPECT_THAT(platform.waits(), IsEmpty());
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(ConnectionTest, ServiceUnderAnotherNameIsNotTheService) {
    service.releaseName();
    const FakeService other(bus, "source_service.other");
    EXPECT_FALSE(exchange());
    EXPECT_THAT(other.calls(), IsEmpty());
    EXPECT_EQ(platform.count(errorPriority, "source-service server is not available yet!!!"), 1);
}

TEST_F(ConnectionTest, RefusedCallIsAFailedRequestWithoutAFurtherLine) {
    CSourceAPI::Get();
    service.replyWithError("test.Error.Refused", "not today");
    platform.clearLog();
    EXPECT_FALSE(exchange());
    EXPECT_THAT(clientLog(), ElementsAre(Error("m_SendMessageSync")));
    EXPECT_THAT(platform.log(), Contains(ErrorWith("not today")));
    EXPECT_THAT(service.calls(), SizeIs(1));
}

TEST_F(ConnectionTest, LostBusMakesEveryRequestFailAtOnceForGood) {
    CSourceAPI::Get();
    const SourceTCServer *const endpoint = CSourceAPI::dBusHandler;
    loseBus();
    bus.start();
    const FakeService again(bus);
    for (int request = 0; request < 2; ++request) {
        platform.clearLog();
        EXPECT_FALSE(exchange());
        EXPECT_THAT(platform.log(),
                    ElementsAre(Error("m_SendMessageSync"), Error("dbus connection is not open"),
                                Error("source-service server is not available yet!!!")));
    }
    EXPECT_EQ(CSourceAPI::dBusHandler, endpoint);
    EXPECT_THAT(again.calls(), IsEmpty());
}

TEST_F(ConnectionTest, LostBusDoesNotEndTheProcess) {
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            loseBus();
            std::cerr << "request: " << exchange() << std::endl;
            leave(7);
        },
        ExitedWithCode(7), HasSubstr("request: 0"));
}

TEST_F(ConnectionTest, NeitherLockIsHeldOverARequest) {
    CSourceAPI::Get();
    bool cachesFree = false;
    bool callbacksFree = false;
    service.replyWith([&](const ReceivedCall & /*call*/) {
        cachesFree = othersCanLock(m_sourceUtilMutex);
        callbacksFree = othersCanLock(m_sourceAPICallbackDataMutex);
        return plainBody(R"({"return_data":true})");
    });
    EXPECT_TRUE(connectToThree());
    EXPECT_TRUE(cachesFree);
    EXPECT_TRUE(callbacksFree);
}

// Several threads.

TEST_F(ConnectionWithoutBusTest, ThreadsThatConnectAtOnceEndWithOneEndpointAndOneSubscription) {
    CSourceAPI::Get();
    startBus();
    platform.clearLog();
    Rendezvous opened(2);
    Rendezvous subscribing(2);
    platform.onLog([&](const LogLine &line) {
        if (line.text.rfind("Get dbus connection success", 0) == 0) {
            opened.arrive();
        } else if (line.text == "Subscribe for signal :: [0]") {
            subscribing.arrive();
        }
    });
    std::future<bool> first = std::async(std::launch::async, connectToThree);
    std::future<bool> second = std::async(std::launch::async, connectToThree);
    EXPECT_TRUE(first.get());
    EXPECT_TRUE(second.get());
    platform.onLog(nullptr);
    EXPECT_EQ(platform.count(errorPriority, "Need to create Dbus Connection"), 2);
    EXPECT_EQ(platform.count(errorPriority, "Created source API dbus connection!"), 1);
    EXPECT_EQ(platform.count(infoPriority, "close source_api begin"), 1);
    EXPECT_EQ(platform.count(infoPriority, "close connection and all close motion finished"), 1);
    EXPECT_THAT(platform.log(), Contains(endpointDeleted).Times(1));
    EXPECT_EQ(platform.count(infoPriority, "m_SubscribeSignal"), 1);
    EXPECT_EQ(platform.count(infoPriority, "SubscribeSignal source_api success"), 1);
    EXPECT_EQ(handledOfOneSignal(*service), 1);
}

// Two threads that find no subscription at once must make one. Many rounds, as nothing shows when
// a thread is about to take a lock.
class SubscriptionRaceTest : public ConnectionTest {
 protected:
    // Both threads do `work`, and meet where it logs `line`.
    void race(const std::function<bool()> &work, const std::string &line) {
        CSourceAPI::Get();
        constexpr int rounds = 50;
        for (int round = 0; round < rounds && !HasFailure(); ++round) {
            CSourceAPI::m_UnSubscribeSignal();
            CSourceAPI::m_bHasSubscribedForEvent = false;
            platform.clearLog();
            Rendezvous meeting(2);
            platform.onLog([&](const LogLine &logged) {
                if (logged.text == line) {
                    meeting.arrive();
                }
            });
            std::future<bool> first = std::async(std::launch::async, work);
            std::future<bool> second = std::async(std::launch::async, work);
            EXPECT_TRUE(first.get());
            EXPECT_TRUE(second.get());
            platform.onLog(nullptr);
            EXPECT_EQ(platform.count(infoPriority, "SubscribeSignal source_api success"), 1);
        }
        EXPECT_EQ(handledOfOneSignal(service), 1);
    }
};

TEST_F(SubscriptionRaceTest, ThreadsThatConnectAtOnceSubscribeOnce) {
    race([] { return CSourceAPI::m_CreateDbusConnection(); }, "Subscribe for signal :: [0]");
}

TEST_F(SubscriptionRaceTest, RequestsAtOnceSubscribeOnce) {
    race([this] { return exchange(); }, "m_SendMessageSync");
}

TEST_F(ConnectionTest, SlowSettingsStoreHoldsUpNoOtherThread) {
    Rendezvous reading(2);
    Rendezvous goOn(2);
    platform.onSettingRead([&] {
        platform.onSettingRead(nullptr);
        reading.arrive();
        goOn.arrive();
    });
    std::future<bool> slow =
        std::async(std::launch::async, [] { return CSourceAPI::m_CreateDbusConnection(); });
    reading.arrive();
    std::future<bool> request = std::async(std::launch::async, [this] { return exchange(); });
    EXPECT_TRUE(ready(request));
    EXPECT_TRUE(CSourceAPI::m_bHasSubscribedForEvent);
    goOn.arrive();
    EXPECT_TRUE(request.get());
    EXPECT_TRUE(slow.get());
    EXPECT_EQ(platform.count(infoPriority, "SubscribeSignal source_api success"), 1);
}

// A bus address where connections are taken and nobody ever answers.
class SilentBus {
 public:
    SilentBus() : m_directory(g_dir_make_tmp("silent-bus-XXXXXX", nullptr), g_free) {
        m_path = std::string(m_directory.get()) + "/bus";
        GSocketAddress *const address = g_unix_socket_address_new(m_path.c_str());
        m_socket.reset(g_socket_new(G_SOCKET_FAMILY_UNIX, G_SOCKET_TYPE_STREAM,
                                    G_SOCKET_PROTOCOL_DEFAULT, nullptr));
        EXPECT_TRUE(g_socket_bind(socket(), address, FALSE, nullptr));
        EXPECT_TRUE(g_socket_listen(socket(), nullptr));
        g_object_unref(address);
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + m_path).c_str(), TRUE);
    }
    ~SilentBus() {
        std::remove(m_path.c_str());
        std::remove(m_directory.get());
    }
    SilentBus(const SilentBus &) = delete;
    SilentBus &operator=(const SilentBus &) = delete;

    bool waitForClient() {
        return g_socket_condition_timed_wait(socket(), G_IO_IN, waitLimit * gint64{1000}, nullptr,
                                             nullptr) != FALSE;
    }
    void hangUp() { g_socket_close(socket(), nullptr); }

 private:
    GSocket *socket() const { return static_cast<GSocket *>(m_socket.get()); }

    std::unique_ptr<char, decltype(&g_free)> m_directory;
    std::string m_path;
    std::unique_ptr<GSocket, GObjectRelease> m_socket;
};

TEST_F(ConnectionWithoutBusTest, BusThatNeverAnswersHoldsUpNoOtherThread) {
    SilentBus silent;
    std::future<bool> opening =
        std::async(std::launch::async, [] { return CSourceAPI::m_CreateDbusConnection(); });
    EXPECT_TRUE(silent.waitForClient());
    std::future<bool> closed = std::async(std::launch::async, [] {
        CSourceAPI::m_CloseDbusConnection();
        return true;
    });
    EXPECT_TRUE(ready(closed));
    EXPECT_NE(opening.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    silent.hangUp();
    EXPECT_FALSE(opening.get());
    EXPECT_TRUE(closed.get());
}

// The end of the process.

TEST_F(ConnectionTest, ExitUnsubscribesAndDeletesTheEndpoint) {
    const std::string expected =
        R"({4 SourceAPI.cpp ~CSourceAPI "CSourceAPI destructor"}
{4 SourceAPI.cpp m_CloseDbusConnection "Has subscribed for event :: [1]"}
{4 SourceAPI.cpp m_CloseDbusConnection "UNSubscribe signal callback"}
{4 SourceAPI.cpp m_UnSubscribeSignal "m_UnSubscribeSignal"}
{4 SourceTCServer.cpp UnSubscribeSignal "UnSubscribeSignal source_api()";
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            showLog();
            leave(0);
        },
        ExitedWithCode(0),
        AllOf(HasSubstr(expected), HasSubstr("{6 SourceTCHandler.cpp Destroy"),
              Not(HasSubstr("close source_api begin"))));
}

TEST_F(ConnectionTest, ExitWithoutAnObjectLogsNothing) {
    EXPECT_EXIT(
        {
            showLog();
            leave(0);
        },
        ExitedWithCode(0), Not(HasSubstr("SourceAPI.cpp")));
}

TEST_F(ConnectionTest, ExitDuringACallDoesNotWaitForIt) {
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            service.hold();
            std::thread(connectToThree).detach();
            service.waitForCalls(1);
            showLog();
            leave(7);
        },
        ExitedWithCode(7),
        AllOf(HasSubstr("CSourceAPI destructor"), Not(HasSubstr("send ")),
              Not(HasSubstr("Destroy"))));
}

TEST_F(ConnectionTest, CallThatOutlivesTheObjectAtExitStillEndsWell) {
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            service.hold();
            std::future<bool> call = std::async(std::launch::async, connectToThree);
            service.waitForCalls(1);
            showLog();
            leave(7, [&] {
                service.release();
                const bool done = call.get();
                std::cerr << "call ended: " << done << std::endl;
            });
        },
        ExitedWithCode(7),
        ContainsRegex("CSourceAPI destructor(.|\n)*Destroy(.|\n)*call ended: 1"));
}

// Commands.

TEST_F(ConnectionTest, CommandCarriesItsMethodAndItsData) {
    Json::Value data;
    data["a"] = 1;
    EXPECT_TRUE(CSourceAPI::Get()->m_MakeAPICall("Anything", data));
    EXPECT_EQ(service.lastCall().json, parsedJson(R"({"method":"Anything","data":{"a":1}})"));
    EXPECT_THAT(service.calls(), SizeIs(1));
}

TEST_F(ConnectionTest, CommandReturnsTheReturnDataReadAsABool) {
    CSourceAPI *const api = CSourceAPI::Get();
    const std::vector<std::pair<std::string, bool>> table = {
        {"true", true}, {"1", true},    {"-1", true},    {"0.5", true},   {"4294967296", true},
        {"0", false},   {"0.0", false}, {"null", false}, {"false", false}};
    for (const auto &[value, expected] : table) {
        SCOPED_TRACE(value);
        service.reply(R"({"other":1,"return_data":)" + value + "}");
        platform.clearLog();
        EXPECT_EQ(api->m_MakeAPICall("Anything", Json::objectValue), expected);
        EXPECT_THAT(platform.logOf("m_MakeAPICall"),
                    ElementsAre(InfoWith("ret_data {"),
                                Info(expected ? " Return data = 1" : " Return data = 0")));
    }
}

TEST_F(ConnectionTest, CommandLogsTheReplyInItsStyledForm) {
    EXPECT_TRUE(CSourceAPI::Get()->m_MakeAPICall("Anything", Json::objectValue));
    EXPECT_THAT(platform.logOf("m_MakeAPICall"),
                ElementsAre(Info("ret_data {\n\t\"dbus_result\" : null,\n\t\"return_data\" : "
                                 "true\n}\n"),
                            Info(" Return data = 1")));
    EXPECT_THAT(platform.logOf("m_MakeAPICall"), Each(From("SourceAPI.cpp", "m_MakeAPICall")));
}

TEST_F(ConnectionTest, ReplyWithoutReturnDataIsRefused) {
    CSourceAPI *const api = CSourceAPI::Get();
    for (const char *reply : {R"({"done":true})", "{}", "null", "no JSON", ""}) {
        SCOPED_TRACE(reply);
        service.reply(reply);
        platform.clearLog();
        EXPECT_FALSE(api->m_MakeAPICall("Anything", Json::objectValue));
        EXPECT_THAT(
            platform.logOf("m_MakeAPICall"),
            ElementsAre(InfoWith("ret_data "), Error("Error: no response or return_data!")));
    }
}

TEST_F(ConnectionTest, ReplyWithoutABodyIsRefused) {
    service.replyWith([](const ReceivedCall & /*call*/) -> GVariant * { return nullptr; });
    EXPECT_FALSE(connectToThree());
    EXPECT_THAT(platform.logOf("m_MakeAPICall"),
                ElementsAre(Info("ret_data null\n"), Error("Error: no response or return_data!")));
}

TEST_F(ConnectionTest, ReturnDataThatIsNoBoolIsRefusedWithTheExceptionsText) {
    CSourceAPI *const api = CSourceAPI::Get();
    for (const char *value : {R"("true")", "[]", R"({"a":1})"}) {
        SCOPED_TRACE(value);
        service.reply(R"({"return_data":)" + std::string(value) + "}");
        platform.clearLog();
        EXPECT_FALSE(api->m_MakeAPICall("Anything", Json::objectValue));
        EXPECT_THAT(platform.logOf("m_MakeAPICall"),
                    ElementsAre(InfoWith("ret_data {"),
                                Error("Exception occured! [Value is not convertible to bool.]"),
                                Error("Error: no response or return_data!")));
    }
}

TEST_F(ConnectionTest, ReplyThatIsNoObjectIsRefusedWithTheExceptionsText) {
    CSourceAPI *const api = CSourceAPI::Get();
    for (const char *reply : {"[true]", "5", R"({"dbus_result":[],"return_data":true})"}) {
        SCOPED_TRACE(reply);
        service.reply(reply);
        platform.clearLog();
        EXPECT_FALSE(api->m_MakeAPICall("Anything", Json::objectValue));
        EXPECT_THAT(platform.logOf("m_MakeAPICall"),
                    ElementsAre(AllOf(ErrorWith("Exception occured! ["), Not(ErrorWith("[]"))),
                                Error("Error: no response or return_data!")));
    }
}

TEST_F(ConnectionTest, FailedRequestFailsTheCommandWithoutALineOfItsOwn) {
    CSourceAPI *const api = CSourceAPI::Get();
    service.replyWithError("test.Error.Refused", "not today");
    EXPECT_FALSE(api->m_MakeAPICall("Anything", Json::objectValue));
    service.reply(R"({"dbus_result":"fail","return_data":true})");
    EXPECT_FALSE(api->m_MakeAPICall("Anything", Json::objectValue));
    EXPECT_THAT(service.calls(), SizeIs(2));
    service.releaseName();
    EXPECT_FALSE(api->m_MakeAPICall("Anything", Json::objectValue));
    EXPECT_THAT(platform.logOf("m_MakeAPICall"), IsEmpty());
}

TEST_F(ConnectionTest, ExceptionsThatAreNotTheJsonLibrarysPass) {
    CSourceAPI *const api = CSourceAPI::Get();
    platform.onLog([](const LogLine &line) {
        if (line.text.rfind("ret_data", 0) == 0) {
            throw std::runtime_error("foreign");
        }
    });
    EXPECT_THROW(api->m_MakeAPICall("Anything", Json::objectValue), std::runtime_error);
}

TEST_F(ConnectionTest, ConnectSendsExactlyTheMethodAndItsData) {
    EXPECT_TRUE(CSourceAPI::Get()->Connect(3));
    EXPECT_EQ(service.lastCall().json,
              parsedJson(R"({"method":"SourceConnect","data":{"SourceType":3}})"));
    EXPECT_THAT(platform.logOf("Connect"), ElementsAre(Error("connecting source type = [3]")));
    EXPECT_THAT(platform.logOf("Connect"), Each(From("SourceAPI.cpp", "Connect")));
}

TEST_F(ConnectionTest, RunAppSendsExactlyTheMethodAndItsData) {
    EXPECT_TRUE(CSourceAPI::Get()->RunApp(3, "key"));
    EXPECT_EQ(service.lastCall().json, parsedJson(R"({"method":"RunApp",)"
                                                  R"("data":{"SourceType":3,)"
                                                  R"("SourceUniqueKey":"key"}})"));
    EXPECT_THAT(platform.logOf("RunApp"), ElementsAre(Error("connecting source type = [3],[key]")));
    EXPECT_THAT(platform.logOf("RunApp"), Each(From("SourceAPI.cpp", "RunApp")));
}

TEST_F(ConnectionTest, ConnectAndRunAppReturnTheServicesAnswer) {
    CSourceAPI *const api = CSourceAPI::Get();
    service.reply(R"({"return_data":false})");
    EXPECT_FALSE(api->Connect(-3));
    EXPECT_EQ(service.lastCall().json["data"]["SourceType"], -3);
    EXPECT_FALSE(api->RunApp(-3, ""));
    EXPECT_EQ(service.lastCall().json["data"]["SourceUniqueKey"], "");
}

TEST_F(ConnectionTest, ConnectGoesThroughTheOneObject) {
    CSourceAPI other;
    EXPECT_TRUE(other.Connect(3));
    EXPECT_EQ(platform.count(infoPriority, "CSourceAPI constructor"), 2);
}

TEST_F(ConnectionTest, RunAppGoesThroughTheOneObject) {
    CSourceAPI other;
    EXPECT_TRUE(other.RunApp(3, "key"));
    EXPECT_EQ(platform.count(infoPriority, "CSourceAPI constructor"), 2);
}

}  // namespace
