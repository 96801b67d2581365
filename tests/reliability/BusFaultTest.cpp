// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What an application gets when the bus itself goes away. A lost connection is not made again.

#include <memory>
#include <optional>

#include "ClientTest.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

class BusFaultTest : public testing::Test {
 protected:
    BusFaultTest() { platform.setSourceNames("[]"); }

    // Ends the daemon and returns once the library's connection has noticed.
    void loseBus() {
        const BusConnection connection = sharedConnection();
        service.reset();
        bus.stop();
        ASSERT_TRUE(
            iterateUntil([&] { return g_dbus_connection_is_closed(connection.get()) != FALSE; }));
        platform.clearLog();
    }

    TestBus bus;
    std::optional<FakeService> service{std::in_place, bus};
    FakePlatform &platform = FakePlatform::get();
};

TEST_F(BusFaultTest, EveryRequestFailsAtOnceAfterTheBusWasLost) {
    CSourceAPI *const api = CSourceAPI::Get();
    loseBus();
    for (int attempt = 0; attempt < 2; ++attempt) {
        platform.clearLog();
        EXPECT_FALSE(api->Connect(3));
        EXPECT_THAT(platform.log(),
                    ElementsAre(Error("connecting source type = [3]"), Error("m_SendMessageSync"),
                                Error("dbus connection is not open"),
                                Error("source-service server is not available yet!!!")));
    }
}

TEST_F(BusFaultTest, ALostConnectionIsNotMadeAgainWhenTheBusReturns) {
    CSourceAPI *const api = CSourceAPI::Get();
    loseBus();
    bus.start();
    service.emplace(bus);
    EXPECT_FALSE(api->Connect(3));
    EXPECT_TRUE(service->calls().empty());
    EXPECT_THAT(platform.log(), Contains(Error("dbus connection is not open")));
}

TEST_F(BusFaultTest, TheProcessOutlivesTheBusAndTheCacheIsServedOn) {
    service->reply(R"({"return_data":[{"sourceType":3}]})");
    CSourceAPI *const api = CSourceAPI::Get();
    std::free(api->GetSourceList());
    loseBus();
    const std::unique_ptr<char, decltype(&std::free)> list(api->GetSourceList(), std::free);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(parsedJson(list.get()), parsedJson(R"([{"sourceType":3}])"));
}

TEST_F(BusFaultTest, ABusThatComesLateIsFoundByTheNextRequest) {
    service.reset();
    bus.stop();
    CSourceAPI *const api = CSourceAPI::Get();
    EXPECT_FALSE(api->Connect(3));
    EXPECT_THAT(platform.log(), Contains(Error("get dbus connection fail!")).Times(2));
    bus.start();
    service.emplace(bus);
    EXPECT_TRUE(api->Connect(4));
    EXPECT_TRUE(ClientPeer::isSubscribed());
}

}  // namespace
