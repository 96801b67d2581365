// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Delivering a signal to its callback, until the endpoint is closed.
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "SignalTest.h"
#include "Threads.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class SignalDeliveryTest : public SignalTest {};

TEST_F(SignalDeliveryTest, ASignalReachesItsCallback) {
    subscribe();
    emitAndDeliver(plainBody(R"({"a":1})", 4294967295U, "auxiliary"));
    ASSERT_THAT(deliveries, SizeIs(1));
    const Delivery &delivery = deliveries[0];
    EXPECT_EQ(delivery.sender, "source_service") << "the name in the body";
    EXPECT_EQ(delivery.signal, signalName);
    EXPECT_EQ(delivery.text, R"({"a":1})");
    EXPECT_EQ(delivery.json, parsedJson(R"({"a":1})"));
    EXPECT_EQ(delivery.number, 4294967295U);
    EXPECT_EQ(delivery.auxText, "auxiliary");
    EXPECT_THAT(delivery.buffer, IsEmpty());
}

TEST_F(SignalDeliveryTest, AnySenderObjectInterfaceAndFirstArgumentAreAccepted) {
    subscribe();
    const FakeService other(bus, "another.service");
    emit(signalName, plainBody("{}"), "/", "test.One");
    emit(signalName, g_variant_new("(suss)", "any sender", 0U, "", "{}"), "/test/two", "test.Two");
    deliver();
    ASSERT_TRUE(g_dbus_connection_emit_signal(other.connection(), nullptr, "/test/three",
                                              "test.Three", signalName, plainBody("{}"), nullptr));
    ASSERT_TRUE(deliverSignalsOf(other.connection()));
    ASSERT_THAT(deliveries, SizeIs(3));
    EXPECT_EQ(deliveries[1].sender, "any sender");
}

TEST_F(SignalDeliveryTest, ASignalOfAnotherMemberIsNotDelivered) {
    subscribe();
    emit("source_apiX", plainBody("{}"));
    emit("other", plainBody("{}"));
    deliver();
    EXPECT_THAT(deliveries, IsEmpty());
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(SignalDeliveryTest, EverySignalNameHasItsOwnCallback) {
    subscribe();
    Deliveries others;
    ASSERT_EQ(endpoint.SubscribeSignal("other", note, &others), 1);
    emit("other", plainBody(R"({"to":"other"})"));
    emit(signalName, plainBody(R"({"to":"source_api"})"));
    deliver();
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_EQ(deliveries[0].json["to"], "source_api");
    ASSERT_THAT(others, SizeIs(1));
    EXPECT_EQ(others[0].signal, "other");
    EXPECT_EQ(others[0].json["to"], "other");
}

TEST_F(SignalDeliveryTest, ABufferIsDelivered) {
    subscribe();
    emitAndDeliver(bufferBody("{}", {1, 0, 255}, 7, "auxiliary"));
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_THAT(deliveries[0].buffer, ElementsAre(1, 0, 255));
    EXPECT_EQ(deliveries[0].number, 7U);
    EXPECT_EQ(deliveries[0].auxText, "auxiliary");
    EXPECT_EQ(deliveries[0].text, "{}");
}

TEST_F(SignalDeliveryTest, ASingleZeroByteIsNoBuffer) {
    subscribe([](const char * /*sender*/, const char * /*signal*/, SourceTCMessage *message,
                 void *noted) {
        EXPECT_EQ(message->m_Buffer, nullptr);
        EXPECT_EQ(message->m_BufferSize, 0U);
        static_cast<Deliveries *>(noted)->emplace_back();
    });
    emitAndDeliver(bufferBody("{}", {0}));
    EXPECT_THAT(deliveries, SizeIs(1));
}

TEST_F(SignalDeliveryTest, TextThatIsNotJsonIsDeliveredAsText) {
    subscribe();
    emitAndDeliver(plainBody("two words"));
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_EQ(deliveries[0].text, "two words");
    EXPECT_TRUE(deliveries[0].json.isNull());
}

TEST_F(SignalDeliveryTest, JsonNestedTooDeeplyIsDeliveredAsText) {
    const std::string deep = std::string(2000, '[') + std::string(2000, ']');
    subscribe();
    emitAndDeliver(plainBody(deep));
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_EQ(deliveries[0].text, deep);
    EXPECT_TRUE(deliveries[0].json.isNull());
}

TEST_F(SignalDeliveryTest, ABodyOfAnotherTypeIsDeliveredEmptyAndWithoutASender) {
    subscribe();
    emitAndDeliver(g_variant_new("(i)", 3));
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_EQ(deliveries[0].sender, std::nullopt);
    EXPECT_EQ(deliveries[0].signal, signalName);
    EXPECT_EQ(deliveries[0].text, "");
    EXPECT_TRUE(deliveries[0].json.isNull());
    EXPECT_EQ(deliveries[0].number, 0U);
    EXPECT_EQ(deliveries[0].auxText, "");
    EXPECT_THAT(deliveries[0].buffer, IsEmpty());
}

TEST_F(SignalDeliveryTest, WithoutACallbackTheSignalIsDropped) {
    subscribe(nullptr);
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalDeliveryTest, EveryDeliveryHasItsOwnMessage) {
    subscribe();
    emit(signalName, bufferBody(R"({"a":1})", {1, 2}, 7, "auxiliary"));
    emit(signalName, g_variant_new("(i)", 3));
    deliver();
    ASSERT_THAT(deliveries, SizeIs(2));
    EXPECT_EQ(deliveries[1].text, "");
    EXPECT_EQ(deliveries[1].number, 0U);
    EXPECT_THAT(deliveries[1].buffer, IsEmpty());
}

TEST_F(SignalDeliveryTest, DeliveryDoesNotWaitForTheLock) {
    subscribe();
    const LockHolder held(peer.mutex);
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, SizeIs(1));
}

TEST_F(SignalDeliveryTest, ArrivesOnTheMainContextOfTheThreadThatSubscribed) {
    open();
    const gint64 limit = g_get_monotonic_time() + waitLimit * 1000;
    std::promise<void> subscribed;
    auto receiving = onThread([&] {
        GMainContext *const context = g_main_context_new();
        g_main_context_push_thread_default(context);
        EXPECT_EQ(endpoint.SubscribeSignal(signalName, note, &deliveries), 1);
        subscribed.set_value();
        while (deliveries.empty() && g_get_monotonic_time() < limit) {
            g_main_context_iteration(context, FALSE);
        }
        EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 1);
        g_main_context_pop_thread_default(context);
        g_main_context_unref(context);
        return std::this_thread::get_id();
    });
    subscribed.get_future().wait();
    emitAndDeliver(plainBody("{}"));
    const std::thread::id receiver = receiving.get();
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_EQ(deliveries[0].thread, receiver);
}

TEST_F(SignalDeliveryTest, WaitsUntilTheMainContextIsIterated) {
    subscribe();
    emitAndLeaveQueued();
    EXPECT_THAT(deliveries, IsEmpty());
    deliver();
    EXPECT_THAT(deliveries, SizeIs(1));
}

TEST_F(SignalDeliveryTest, ACallbackMayUnsubscribeItself) {
    static SourceTCServer *server = nullptr;
    server = &endpoint;
    subscribe(
        [](const char * /*sender*/, const char *name, SourceTCMessage * /*message*/, void *noted) {
            static_cast<Deliveries *>(noted)->emplace_back();
            EXPECT_EQ(server->UnSubscribeSignal(name), 1);
        });
    emitAndDeliver(plainBody("{}"));
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, SizeIs(1));
}

TEST_F(SignalDeliveryTest, ClosingEndsTheDelivery) {
    subscribe();
    const BusConnection shared = sharedConnection();
    endpoint.CloseDBusProxy();
    EXPECT_THAT(peer.subscriptions, IsEmpty());
    platform.clearLog();
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, IsEmpty());
    EXPECT_THAT(platform.log(), IsEmpty()) << "GLib does not even call the handler";
}

TEST_F(SignalDeliveryTest, ASignalThatWaitsForTheMainContextIsLostWithTheClose) {
    subscribe();
    const BusConnection shared = sharedConnection();
    emitAndLeaveQueued();
    endpoint.CloseDBusProxy();
    deliver();
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalDeliveryTest, ASignalThatWaitsForTheMainContextIsLostWithTheSubscription) {
    subscribe();
    emitAndLeaveQueued();
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 1);
    deliver();
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalDeliveryTest, AnOlderSubscriptionDeliversNothingOnceTheEndpointIsClosed) {
    subscribe();
    ASSERT_EQ(endpoint.SubscribeSignal(signalName, note, &deliveries), 1);
    const BusConnection shared = sharedConnection();
    endpoint.CloseDBusProxy();
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalDeliveryTest, AnOlderSubscriptionDeliversNothingOnceTheEndpointIsDestroyed) {
    const BusConnection shared = sharedConnection();
    auto mortal = std::make_unique<SourceTCServer>("mortal", SourceTCServer::PROXY);
    ASSERT_EQ(mortal->CreateDBusProxy(), 1);
    for (int time = 0; time < 2; ++time) {
        ASSERT_EQ(mortal->SubscribeSignal(signalName, note, &deliveries), 1);
    }
    mortal->CloseDBusProxy();
    mortal.reset();
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalDeliveryTest, TheEndpointMayCloseOnAnotherThreadWhileSignalsArrive) {
    constexpr int rounds = 50;
    subscribe();
    const BusConnection shared = sharedConnection();
    const auto closing = onThread([&] {
        service.waitForCalls(1);
        endpoint.CloseDBusProxy();
    });
    letTheBusCatchUp();
    for (int round = 0; round < rounds; ++round) {
        service.emitChange("{}");
    }
    SourceTCMessage reply;
    EXPECT_EQ(endpoint.SendMessage("source_service", nullptr, true, &reply), 1);
    deliver();
    EXPECT_TRUE(ends(closing));
    const std::size_t before = deliveries.size();
    EXPECT_LE(before, static_cast<std::size_t>(rounds));
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, SizeIs(before)) << "none after the close";
}

}  // namespace
