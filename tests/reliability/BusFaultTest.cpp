// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What an application gets when the bus itself goes away. A lost connection is not reopened.

#include <memory>
#include <optional>

#include "ClientTest.h"

namespace {

class BusFaultTest : public testing::Test {
 protected:
    BusFaultTest() { platform.setSourceNames("[]"); }

    void loseBus() {
        service.reset();
        bus.lose();
    }

    TestBus bus;
    std::optional<FakeService> service{std::in_place, bus};
    FakePlatform &platform = FakePlatform::get();
};

TEST_F(BusFaultTest, EveryRequestFailsAtOnceAfterTheBusWasLost) {
    CSourceAPI *const api = CSourceAPI::Get();
    loseBus();
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_FALSE(api->Connect(3));
    }
}

TEST_F(BusFaultTest, ALostConnectionIsNotReopenedWhenTheBusReturns) {
    CSourceAPI *const api = CSourceAPI::Get();
    loseBus();
    bus.start();
    service.emplace(bus);
    EXPECT_FALSE(api->Connect(3));
    EXPECT_TRUE(service->calls().empty());
}

TEST_F(BusFaultTest, TheProcessAndItsCachesSurviveTheLossOfTheBus) {
    service->reply(R"({"return_data":[{"sourceType":3}]})");
    CSourceAPI *const api = CSourceAPI::Get();
    std::free(api->GetSourceList());
    loseBus();
    const std::unique_ptr<char, decltype(&std::free)> list(api->GetSourceList(), std::free);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(parsedJson(list.get()), parsedJson(R"([{"sourceType":3}])"));
}

TEST_F(BusFaultTest, ABusThatStartsLaterIsUsedByTheNextRequest) {
    service.reset();
    bus.stop();
    CSourceAPI *const api = CSourceAPI::Get();
    EXPECT_FALSE(api->Connect(3));
    bus.start();
    service.emplace(bus);
    EXPECT_TRUE(api->Connect(4));
    EXPECT_TRUE(ClientPeer::isSubscribed());
}

}  // namespace
