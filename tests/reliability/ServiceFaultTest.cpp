// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Faults of the service: the result of each call, and that the next valid reply is used.

#include <future>
#include <memory>
#include <optional>

#include "ClientTest.h"

namespace {

class ServiceFaultTest : public testing::Test {
 protected:
    ServiceFaultTest() {
        service.emplace(bus);
        platform.setSourceNames("[]");
        api = CSourceAPI::Get();
    }

    std::future<bool> connectInBackground() {
        return std::async(std::launch::async, [this] { return api->Connect(3); });
    }

    void expectNextCallSucceeds() {
        EXPECT_TRUE(api->Connect(5));
        EXPECT_EQ(service->lastCall().json["data"]["SourceType"], 5);
    }

    TestBus bus;
    std::optional<FakeService> service;
    FakePlatform &platform = FakePlatform::get();
    CSourceAPI *api = nullptr;
};

TEST_F(ServiceFaultTest, ACallWithoutAServiceFailsAtOnce) {
    service.reset();
    EXPECT_FALSE(api->Connect(3));
    service.emplace(bus);
    expectNextCallSucceeds();
}

TEST_F(ServiceFaultTest, ACallFailsWhenTheServiceDies) {
    service->hold();
    std::future<bool> done = connectInBackground();
    service->waitForCalls(1);
    g_dbus_connection_close_sync(service->connection(), nullptr, nullptr);
    EXPECT_FALSE(done.get());
    service.emplace(bus);
    expectNextCallSucceeds();
}

TEST_F(ServiceFaultTest, ACallFailsAfterTheServiceHasExited) {
    EXPECT_TRUE(api->Connect(3));
    service.reset();
    EXPECT_FALSE(api->Connect(3));
    service.emplace(bus);
    expectNextCallSucceeds();
}

TEST_F(ServiceFaultTest, ALateReplyIsAccepted) {
    service->hold();
    std::future<bool> done = connectInBackground();
    service->waitForCalls(1);
    EXPECT_EQ(done.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    service->release();
    EXPECT_TRUE(done.get());
    expectNextCallSucceeds();
}

// The bus's default time-out is 25 seconds, which this test takes.
TEST_F(ServiceFaultTest, ACallWithoutAReplyEndsAfterTheDefaultTimeOut) {
    service->hold();
    EXPECT_FALSE(api->Connect(3));
    service->release();  // too late, and ignored
    expectNextCallSucceeds();
}

TEST_F(ServiceFaultTest, AnErrorReplyFailsTheCall) {
    service->replyWithError("test.Refused", "not today");
    EXPECT_FALSE(api->Connect(3));
    service->reply(R"({"return_data":true})");
    expectNextCallSucceeds();
}

TEST_F(ServiceFaultTest, TheReplyIsThatOfTheOwnerAtTheTimeOfTheCall) {
    service->hold();
    std::future<bool> done = connectInBackground();
    service->waitForCalls(1);
    service->releaseName();
    FakeService successor(bus);
    service->release();
    EXPECT_TRUE(done.get());
    EXPECT_TRUE(successor.calls().empty());
    EXPECT_TRUE(api->Connect(6));
    EXPECT_EQ(successor.lastCall().json["data"]["SourceType"], 6);
}

struct WrongShape {
    const char *name;
    const char *body;  // GVariant's text format; null for a reply without a body
};

std::ostream &operator<<(std::ostream &out, const WrongShape &shape) {
    return out << shape.name;
}

class WrongShapeTest : public ServiceFaultTest, public testing::WithParamInterface<WrongShape> {
 protected:
    WrongShapeTest() {
        const char *const body = GetParam().body;
        service->replyWith([body](const ReceivedCall &) {
            return body != nullptr ? g_variant_new_parsed(body) : nullptr;
        });
    }
};

TEST_P(WrongShapeTest, FailsACommand) {
    EXPECT_FALSE(api->Connect(3));
    service->reply(R"({"return_data":true})");
    expectNextCallSucceeds();
}

TEST_P(WrongShapeTest, IsAnEmptyList) {
    const std::unique_ptr<char, decltype(&std::free)> list(api->GetSourceList(), std::free);
    ASSERT_NE(list, nullptr);
    EXPECT_STREQ(list.get(), "null");
}

TEST_P(WrongShapeTest, IsAReplyWithEmptyIcons) {
    std::string icon = "old";
    std::pair<std::string, std::string> launcher{"old", "old"};
    EXPECT_TRUE(api->GetCustomIconPath(3, icon, launcher, 0));
    EXPECT_EQ(icon + launcher.first + launcher.second, "");
}

INSTANTIATE_TEST_SUITE_P(
    AnyReply, WrongShapeTest,
    testing::Values(WrongShape{"NoBody", nullptr}, WrongShape{"OneText", "('text',)"},
                    WrongShape{"FourTexts", "('a', 'b', 'c', '{\"return_data\":true}')"},
                    WrongShape{"FieldMissing", "('a', uint32 1, '{\"return_data\":true}')"},
                    WrongShape{"FieldTooMany", "('a', uint32 1, '', '{}', '{}')"},
                    WrongShape{"PlainBytes", "('a', uint32 1, '', '{}', [byte 1])"},
                    WrongShape{"Variants", "(<'a'>, <uint32 1>, <''>, <'{}'>)"},
                    WrongShape{"Nested", "(('a', uint32 1, '', '{\"return_data\":true}'),)"}),
    [](const testing::TestParamInfo<WrongShape> &shape) { return shape.param.name; });

std::string listOfSize(std::size_t size) {
    return R"({"return_data":[{"sourceType":3,"uniqueKey":")" + std::string(size, 'x') + R"("}]})";
}

// The daemon's own limit for a message, 32 MiB unless it is configured otherwise.
TEST_F(ServiceFaultTest, AReplyOf64MiBIsRejectedByTheBusAndFailsTheCall) {
    service->reply(listOfSize(64U << 20U));
    std::shared_ptr<std::multimap<int, CSourceItem>> list;
    EXPECT_FALSE(api->GetSourceList(&list));
    service.emplace(bus);
    expectNextCallSucceeds();
}

TEST_F(ServiceFaultTest, AReplyOf24MiBIsRead) {
    constexpr std::size_t size = 24U << 20U;
    service->reply(listOfSize(size));
    std::shared_ptr<std::multimap<int, CSourceItem>> list;
    ASSERT_TRUE(api->GetSourceList(&list));
    ASSERT_EQ(list->size(), 1U);
    EXPECT_EQ(list->begin()->second.uniqueKey.size(), size);
    service->reply(R"({"return_data":true})");
    expectNextCallSucceeds();
}

// Passed to the handler directly, as the test's bus would reject it.
TEST_F(ServiceFaultTest, ASignalOf64MiBIsRead) {
    constexpr std::size_t size = 64U << 20U;
    GVariant *const body = g_variant_ref_sink(plainBody(listOfSize(size)));
    EndpointPeer::handleSignal(":1.1", "/path", "interface", "source_api", body,
                               ClientPeer::endpoint());
    g_variant_unref(body);
    EXPECT_EQ(ClientPeer::list()[0]["uniqueKey"].asString().size(), size);
}

TEST_F(ServiceFaultTest, TooDeeplyNestedJsonFailsTheCall) {
    service->reply(R"({"return_data":)" + std::string(5000, '[') + std::string(5000, ']') + "}");
    EXPECT_FALSE(api->Connect(3));
    service->reply(R"({"return_data":true})");
    expectNextCallSucceeds();
}

struct WrongText {
    const char *name;
    const char *text;
    bool throws;  // whether reading the reply throws
};

std::ostream &operator<<(std::ostream &out, const WrongText &text) {
    return out << text.name;
}

class WrongTextTest : public ServiceFaultTest, public testing::WithParamInterface<WrongText> {
 protected:
    WrongTextTest() { service->reply(GetParam().text); }

    void expectEndOfCall() { EXPECT_EQ(peerOf(*ClientPeer::endpoint()).callsInFlight, 0U); }
};

TEST_P(WrongTextTest, FailsACommand) {
    EXPECT_FALSE(api->Connect(3));
    expectEndOfCall();
    service->reply(R"({"return_data":true})");
    expectNextCallSucceeds();
}

TEST_P(WrongTextTest, FailsOrEmptiesTheList) {
    const std::unique_ptr<char, decltype(&std::free)> list(api->GetSourceList(), std::free);
    expectEndOfCall();
    EXPECT_EQ(list == nullptr, GetParam().throws);
    // The list is fetched again only if the first fetch failed.
    service->reply(R"({"return_data":[]})");
    const std::unique_ptr<char, decltype(&std::free)> next(api->GetSourceList(), std::free);
    ASSERT_NE(next, nullptr);
    EXPECT_STREQ(next.get(), GetParam().throws ? "[]" : "null");
}

INSTANTIATE_TEST_SUITE_P(
    AnyReply, WrongTextTest,
    testing::Values(WrongText{"Empty", "", false}, WrongText{"NotJson", "{", false},
                    WrongText{"EmptyObject", "{}", false}, WrongText{"Null", "null", false},
                    WrongText{"Array", "[1,2]", true}, WrongText{"Number", "5", true},
                    WrongText{"Text", "\"return_data\"", true},
                    WrongText{"OutcomeIsAnObject", R"({"dbus_result":{}})", true},
                    WrongText{"OutcomeIsAnArray", R"({"dbus_result":[1]})", true}),
    [](const testing::TestParamInfo<WrongText> &text) { return text.param.name; });

}  // namespace
