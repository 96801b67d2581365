// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <optional>

#include "TransportTest.h"

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::SizeIs;

namespace {

constexpr const char *signalName = "source_api";
constexpr const char *path = "/source_service/message";
constexpr const char *interface = "source_service.message";

// What a callback was called with.
struct Delivery {
    std::optional<std::string> sender;
    std::string signal;
    std::string text;
    Json::Value json;
    unsigned int number = 0;
    std::string auxText;
    std::vector<unsigned char> buffer;
    std::thread::id thread;
};

using Deliveries = std::vector<Delivery>;

// Notes the delivery in `deliveries`, the user data.
void note(const char *sender, const char *signal, SourceTCMessage *message, void *deliveries) {
    Delivery delivery;
    if (sender != nullptr) {
        delivery.sender = sender;
    }
    delivery.signal = signal;
    delivery.text = message->m_Message;
    delivery.json = message->m_JsonRoot;
    delivery.number = message->m_AuxNumber;
    delivery.auxText = message->m_AuxText;
    delivery.buffer.assign(message->m_Buffer, message->m_Buffer + message->m_BufferSize);
    delivery.thread = std::this_thread::get_id();
    static_cast<Deliveries *>(deliveries)->push_back(delivery);
}

template <class Exception>
void throwIt(const char * /*sender*/, const char * /*signal*/, SourceTCMessage * /*message*/,
             void *deliveries) {
    static_cast<Deliveries *>(deliveries)->emplace_back();
    throw Exception("from the callback");
}

class SignalTest : public TransportTest {
 protected:
    // Opens the endpoint and subscribes the change signal; the log is left empty.
    void subscribe(SourceTCServer::SignalCallback callback = note) {
        open();
        ASSERT_EQ(endpoint.SubscribeSignal(signalName, callback, &deliveries), 1);
        platform.clearLog();
    }

    // Delivers what the service has emitted so far.
    void deliver() { ASSERT_TRUE(deliverSignalsOf(service.connection())); }

    void emit(const char *member, GVariant *body, const char *objectPath = path,
              const char *interfaceName = interface) {
        letTheBusCatchUp();
        service.emit(objectPath, interfaceName, member, body);
    }

    void emitAndDeliver(GVariant *body) {
        emit(signalName, body);
        deliver();
    }

    // Emits the change signal and waits until it is in this process, but not yet delivered: the
    // reply to a call cannot overtake it.
    void emitAndLeaveQueued() {
        emit(signalName, plainBody("{}"));
        SourceTCMessage reply;
        ASSERT_EQ(endpoint.SendMessage("source_service", nullptr, true, &reply), 1);
        platform.clearLog();
    }

    // Has the handler run as GLib runs it.
    static void handle(GVariant *body, void *server, const char *name = signalName,
                       const char *interfaceName = interface) {
        const std::unique_ptr<GVariant, void (*)(GVariant *)> owned(
            body != nullptr ? g_variant_ref_sink(body) : nullptr, [](GVariant *value) {
                if (value != nullptr) {
                    g_variant_unref(value);
                }
            });
        SourceTCServer::m_DSignalHandler(nullptr, ":1.7", path, interfaceName, name, owned.get(),
                                         server);
    }

    std::string entryLine() const {
        return std::string(" sender(") + g_dbus_connection_get_unique_name(service.connection()) +
               ") object(/source_service/message) interface(source_service.message) "
               "signal(source_api)";
    }

    static constexpr const char *directEntryLine =
        " sender(:1.7) object(/source_service/message) interface(source_service.message) "
        "signal(source_api)";

    Deliveries deliveries;
};

// Subscribing

TEST_F(SignalTest, SubscribingIsLoggedAndRemembered) {
    open();
    EXPECT_EQ(endpoint.SubscribeSignal(signalName, note, &deliveries), 1);
    EXPECT_THAT(platform.log(), ElementsAre(Info("Begin subscribe signal"),
                                            Info("SubscribeSignal source_api success")));
    EXPECT_THAT(platform.log(), Each(From("SourceTCServer.cpp", "SubscribeSignal")));
    ASSERT_THAT(endpoint.m_SignalControls, ElementsAre(Key(signalName)));
    const SourceTCServer::STSignalControl &control = *endpoint.m_SignalControls.at(signalName);
    EXPECT_EQ(control.signalName, signalName);
    EXPECT_EQ(control.callback, &note);
    EXPECT_EQ(control.userData, &deliveries);
    EXPECT_NE(control.subscriptionId, 0U);
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(SignalTest, SubscribingOnAClosedEndpointFailsAndStoresNothing) {
    EXPECT_EQ(endpoint.SubscribeSignal(signalName, note, nullptr), 0);
    EXPECT_THAT(platform.log(), ElementsAre(AllOf(Error("dbus connection is not open"),
                                                  From("SourceTCServer.cpp", "SubscribeSignal"))));
    EXPECT_THAT(endpoint.m_SignalControls, IsEmpty());
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(SignalTest, SubscribingOnALostBusFailsAndStoresNothing) {
    openOnALostBus();
    EXPECT_EQ(endpoint.SubscribeSignal(signalName, note, nullptr), 0);
    EXPECT_THAT(platform.log(), ElementsAre(Error("dbus connection is not open")));
    EXPECT_THAT(endpoint.m_SignalControls, IsEmpty());
}

TEST_F(SignalTest, ANameThatNoSignalCanHaveFailsAndStoresNothing) {
    open();
    {
        const ExpectedCritical refused;
        EXPECT_EQ(endpoint.SubscribeSignal("no-member", note, nullptr), 0);
    }
    EXPECT_THAT(platform.log(), ElementsAre(Info("Begin subscribe signal"),
                                            AllOf(Error("fail to subscribe signal"),
                                                  From("SourceTCServer.cpp", "SubscribeSignal"))));
    EXPECT_THAT(endpoint.m_SignalControls, IsEmpty());
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(SignalTest, SubscribingWaitsForTheLock) {
    open();
    HeldElsewhere held(endpoint.m_Mutex);
    auto subscribing =
        onThread([&] { return endpoint.SubscribeSignal(signalName, note, &deliveries); });
    EXPECT_TRUE(staysBlocked(subscribing));
    EXPECT_THAT(platform.log(), IsEmpty());
    held.release();
    EXPECT_EQ(subscribing.get(), 1);
}

TEST_F(SignalTest, AnExceptionWhileSubscribingReleasesTheLock) {
    open();
    throwAtLine("Begin subscribe signal");
    EXPECT_THROW(endpoint.SubscribeSignal(signalName, note, nullptr), std::runtime_error);
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

// Unsubscribing

TEST_F(SignalTest, UnsubscribingEndsTheDeliveryAndIsLoggedWithTheId) {
    subscribe();
    const unsigned int id = endpoint.m_SignalControls.at(signalName)->subscriptionId;
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 1);
    EXPECT_THAT(platform.log(),
                ElementsAre(AllOf(Info("UnSubscribeSignal source_api(" + std::to_string(id) + ")"),
                                  From("SourceTCServer.cpp", "UnSubscribeSignal"))));
    EXPECT_THAT(endpoint.m_SignalControls, IsEmpty());
    platform.clearLog();
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, IsEmpty());
    EXPECT_THAT(platform.log(), IsEmpty()) << "GLib does not even call the handler";
}

TEST_F(SignalTest, UnsubscribingLeavesOtherNamesSubscribed) {
    subscribe();
    ASSERT_EQ(endpoint.SubscribeSignal("other", note, &deliveries), 1);
    EXPECT_EQ(endpoint.UnSubscribeSignal("other"), 1);
    EXPECT_THAT(endpoint.m_SignalControls, ElementsAre(Key(signalName)));
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, SizeIs(1));
}

TEST_F(SignalTest, UnsubscribingANameNeverSubscribedIsASilentSuccess) {
    subscribe();
    EXPECT_EQ(endpoint.UnSubscribeSignal("never"), 1);
    EXPECT_THAT(platform.log(), IsEmpty());
    EXPECT_THAT(endpoint.m_SignalControls, SizeIs(1));
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(SignalTest, UnsubscribingTwiceIsASilentSuccessTheSecondTime) {
    subscribe();
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 1);
    platform.clearLog();
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 1);
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(SignalTest, UnsubscribingOnAClosedEndpointFails) {
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 0);
    EXPECT_THAT(platform.log(),
                ElementsAre(AllOf(Error("dbus connection is not open"),
                                  From("SourceTCServer.cpp", "UnSubscribeSignal"))));
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(SignalTest, UnsubscribingOnALostBusFailsAndKeepsTheRecordUntilTheClose) {
    subscribe();
    GDBusConnection *const connection = endpoint.m_Connection;
    bus.stop();
    ASSERT_TRUE(iterateUntil([=] { return g_dbus_connection_is_closed(connection) != FALSE; }));
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 0);
    EXPECT_THAT(platform.log(), ElementsAre(Error("dbus connection is not open")));
    EXPECT_THAT(endpoint.m_SignalControls, SizeIs(1));
    endpoint.CloseDBusProxy();
    EXPECT_THAT(endpoint.m_SignalControls, IsEmpty());
}

TEST_F(SignalTest, UnsubscribingWaitsForTheLock) {
    subscribe();
    HeldElsewhere held(endpoint.m_Mutex);
    auto unsubscribing = onThread([&] { return endpoint.UnSubscribeSignal(signalName); });
    EXPECT_TRUE(staysBlocked(unsubscribing));
    EXPECT_THAT(endpoint.m_SignalControls, SizeIs(1));
    held.release();
    EXPECT_EQ(unsubscribing.get(), 1);
}

TEST_F(SignalTest, AnExceptionWhileUnsubscribingReleasesTheLock) {
    subscribe();
    throwAtLine("UnSubscribeSignal source_api");
    EXPECT_THROW(endpoint.UnSubscribeSignal(signalName), std::runtime_error);
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

// Delivery

TEST_F(SignalTest, ASignalReachesItsCallbackAndIsLoggedInOrder) {
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
    EXPECT_THAT(
        platform.log(),
        ElementsAre(AllOf(Error(entryLine()), From("SourceTCServer.cpp", "m_DSignalHandler")),
                    AllOf(Info("begin to analyze signal of source_api"),
                          From("SourceTCServer.cpp", "m_DSignalHandler")),
                    AllOf(Info("(suss)"), From("SourceTCServer.cpp", "m_AnalyseMsg"))));
}

TEST_F(SignalTest, AnySenderObjectInterfaceAndFirstArgumentWillDo) {
    subscribe();
    const FakeService stranger(bus, "a.stranger");
    emit(signalName, plainBody("{}"), "/", "test.One");
    emit(signalName, g_variant_new("(suss)", "anybody", 0U, "", "{}"), "/test/two", "test.Two");
    deliver();
    ASSERT_TRUE(g_dbus_connection_emit_signal(stranger.connection(), nullptr, "/test/three",
                                              "test.Three", signalName, plainBody("{}"), nullptr));
    ASSERT_TRUE(deliverSignalsOf(stranger.connection()));
    ASSERT_THAT(deliveries, SizeIs(3));
    EXPECT_EQ(deliveries[1].sender, "anybody");
}

TEST_F(SignalTest, ASignalOfAnotherMemberIsNotDelivered) {
    subscribe();
    emit("source_apiX", plainBody("{}"));
    emit("other", plainBody("{}"));
    deliver();
    EXPECT_THAT(deliveries, IsEmpty());
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(SignalTest, EveryNameHasACallbackOfItsOwn) {
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

TEST_F(SignalTest, ABufferIsDelivered) {
    subscribe();
    emitAndDeliver(bufferBody("{}", {1, 0, 255}, 7, "auxiliary"));
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_THAT(deliveries[0].buffer, ElementsAre(1, 0, 255));
    EXPECT_EQ(deliveries[0].number, 7U);
    EXPECT_EQ(deliveries[0].auxText, "auxiliary");
    EXPECT_EQ(deliveries[0].text, "{}");
}

TEST_F(SignalTest, ASingleZeroByteIsNoBuffer) {
    subscribe([](const char * /*sender*/, const char * /*signal*/, SourceTCMessage *message,
                 void *noted) {
        EXPECT_EQ(message->m_Buffer, nullptr);
        EXPECT_EQ(message->m_BufferSize, 0U);
        static_cast<Deliveries *>(noted)->emplace_back();
    });
    emitAndDeliver(bufferBody("{}", {0}));
    EXPECT_THAT(deliveries, SizeIs(1));
}

TEST_F(SignalTest, TextThatIsNotJsonIsDeliveredAsText) {
    subscribe();
    emitAndDeliver(plainBody("two words"));
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_EQ(deliveries[0].text, "two words");
    EXPECT_TRUE(deliveries[0].json.isNull());
    EXPECT_THAT(platform.log(), Contains(Info(" NOT JSON TYPE MESSAGE!")));
}

TEST_F(SignalTest, JsonNestedTooDeeplyIsDeliveredAsText) {
    const std::string deep = std::string(2000, '[') + std::string(2000, ']');
    subscribe();
    emitAndDeliver(plainBody(deep));
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_EQ(deliveries[0].text, deep);
    EXPECT_TRUE(deliveries[0].json.isNull());
    EXPECT_THAT(platform.log(), Not(Contains(ErrorWith("Exception occured"))));
}

TEST_F(SignalTest, ABodyOfAnotherTypeIsDeliveredEmptyAndWithoutASender) {
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
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("begin to analyze signal of source_api"),
                            Info("(i)")));
}

TEST_F(SignalTest, WithoutACallbackTheSignalIsDroppedAfterItsLines) {
    subscribe(nullptr);
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("begin to analyze signal of source_api"),
                            Info("(suss)"),
                            AllOf(Info("no registered callback of source_api"),
                                  From("SourceTCServer.cpp", "m_DSignalHandler"))));
}

TEST_F(SignalTest, EveryDeliveryHasAMessageOfItsOwn) {
    subscribe();
    emit(signalName, bufferBody(R"({"a":1})", {1, 2}, 7, "auxiliary"));
    emit(signalName, g_variant_new("(i)", 3));
    deliver();
    ASSERT_THAT(deliveries, SizeIs(2));
    EXPECT_EQ(deliveries[1].text, "");
    EXPECT_EQ(deliveries[1].number, 0U);
    EXPECT_THAT(deliveries[1].buffer, IsEmpty());
}

TEST_F(SignalTest, DeliveryDoesNotWaitForTheLock) {
    subscribe();
    const HeldElsewhere held(endpoint.m_Mutex);
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, SizeIs(1));
}

TEST_F(SignalTest, ArrivesOnTheMainContextOfTheThreadThatSubscribed) {
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

TEST_F(SignalTest, WaitsUntilTheMainContextIsIterated) {
    subscribe();
    emitAndLeaveQueued();
    EXPECT_THAT(deliveries, IsEmpty());
    deliver();
    EXPECT_THAT(deliveries, SizeIs(1));
}

TEST_F(SignalTest, ACallbackMayUnsubscribeItself) {
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

// The handler itself

TEST_F(SignalTest, TheHandlerNeedsInterfaceAndSignalName) {
    subscribe();
    handle(plainBody("{}"), &endpoint, signalName, nullptr);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(" sender(:1.7) object(/source_service/message) interface((null)) "
                                  "signal(source_api)")));
    platform.clearLog();
    handle(plainBody("{}"), &endpoint, nullptr);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(" sender(:1.7) object(/source_service/message) "
                                  "interface(source_service.message) signal((null))")));
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalTest, TheHandlerNeedsTheEndpoint) {
    handle(plainBody("{}"), nullptr);
    EXPECT_THAT(platform.log(), ElementsAre(Error(directEntryLine),
                                            AllOf(Error("pThis is NULL"),
                                                  From("SourceTCServer.cpp", "m_DSignalHandler"))));
}

TEST_F(SignalTest, TheHandlerLooksAtTheNamesBeforeTheEndpoint) {
    handle(plainBody("{}"), nullptr, nullptr);
    EXPECT_THAT(platform.log(), SizeIs(1));
}

TEST_F(SignalTest, TheHandlerDropsANameThatIsNotSubscribed) {
    handle(plainBody("{}"), &endpoint);
    EXPECT_THAT(platform.log(), ElementsAre(Error(directEntryLine),
                                            AllOf(Info("no register info of source_api"),
                                                  From("SourceTCServer.cpp", "m_DSignalHandler"))));
}

TEST_F(SignalTest, TheHandlerTakesAnEntryWithoutARecordForOneWithoutACallback) {
    endpoint.m_SignalControls[signalName] = nullptr;
    handle(plainBody("{}"), &endpoint);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(directEntryLine), Info("begin to analyze signal of source_api"),
                            Info("(suss)"), Info("no registered callback of source_api")));
}

TEST_F(SignalTest, TheHandlerDeliversASignalWithoutABodyEmpty) {
    subscribe();
    handle(nullptr, &endpoint);
    ASSERT_THAT(deliveries, SizeIs(1));
    EXPECT_EQ(deliveries[0].sender, std::nullopt);
    EXPECT_EQ(deliveries[0].text, "");
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(directEntryLine), Info("begin to analyze signal of source_api")));
}

// A second subscription of a name

TEST_F(SignalTest, ASecondSubscriptionDoublesTheDeliveryToTheNewerCallback) {
    subscribe();
    const unsigned int firstId = endpoint.m_SignalControls.at(signalName)->subscriptionId;
    Deliveries newer;
    ASSERT_EQ(endpoint.SubscribeSignal(signalName, note, &newer), 1);
    ASSERT_THAT(endpoint.m_SignalControls, SizeIs(1));
    EXPECT_NE(endpoint.m_SignalControls.at(signalName)->subscriptionId, firstId);
    EXPECT_EQ(endpoint.m_SignalControls.at(signalName)->userData, &newer);
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(newer, SizeIs(2));
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalTest, UnsubscribingANameSubscribedTwiceEndsTheNewerSubscriptionOnly) {
    subscribe();
    ASSERT_EQ(endpoint.SubscribeSignal(signalName, note, &deliveries), 1);
    const unsigned int newerId = endpoint.m_SignalControls.at(signalName)->subscriptionId;
    platform.clearLog();
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 1);
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("UnSubscribeSignal source_api(" + std::to_string(newerId) + ")")));
    platform.clearLog();
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("no register info of source_api")))
        << "the older one still arrives";
    EXPECT_THAT(deliveries, IsEmpty());
}

// The end

TEST_F(SignalTest, ClosingEndsTheDelivery) {
    subscribe();
    const BusConnection shared = sharedConnection();
    endpoint.CloseDBusProxy();
    EXPECT_THAT(endpoint.m_SignalControls, IsEmpty());
    platform.clearLog();
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, IsEmpty());
    EXPECT_THAT(platform.log(), IsEmpty()) << "GLib does not even call the handler";
}

TEST_F(SignalTest, ASignalThatWaitsForTheMainContextIsLostWithTheClose) {
    subscribe();
    const BusConnection shared = sharedConnection();
    emitAndLeaveQueued();
    endpoint.CloseDBusProxy();
    deliver();
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalTest, ASignalThatWaitsForTheMainContextIsLostWithTheSubscription) {
    subscribe();
    emitAndLeaveQueued();
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 1);
    deliver();
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalTest, ASubscriptionLeftBehindCallsNobodyOnceTheEndpointIsClosed) {
    subscribe();
    ASSERT_EQ(endpoint.SubscribeSignal(signalName, note, &deliveries), 1);
    const BusConnection shared = sharedConnection();
    endpoint.CloseDBusProxy();
    platform.clearLog();
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, IsEmpty());
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("no register info of source_api")));
}

TEST_F(SignalTest, ASubscriptionLeftBehindCallsNobodyOnceTheEndpointIsDead) {
    const BusConnection shared = sharedConnection();
    auto mortal = std::make_unique<SourceTCServer>("mortal", SourceTCServer::PROXY);
    ASSERT_EQ(mortal->CreateDBusProxy(), 1);
    for (int time = 0; time < 2; ++time) {
        ASSERT_EQ(mortal->SubscribeSignal(signalName, note, &deliveries), 1);
    }
    mortal->CloseDBusProxy();
    mortal.reset();
    platform.clearLog();
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, IsEmpty());
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("no register info of source_api")));
}

TEST_F(SignalTest, TheHandlerNeverTouchesADeadEndpoint) {
    std::optional<SourceTCServer> mortal;
    mortal.emplace("mortal", SourceTCServer::PROXY);
    mortal->m_SignalControls[signalName] = nullptr;
    void *const dead = &*mortal;
    mortal.reset();
    platform.clearLog();
    handle(plainBody("{}"), dead);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(directEntryLine), Info("no register info of source_api")));
}

// Exceptions out of a callback

TEST_F(SignalTest, AJsonExceptionIsLoggedAndTheApplicationGoesOn) {
    subscribe(throwIt<Json::LogicError>);
    emitAndDeliver(bufferBody("{}", {1, 2}, 7, "auxiliary"));
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("begin to analyze signal of source_api"),
                            Info("(sussa(y))"),
                            AllOf(Error("Exception occured! [from the callback]"),
                                  From("SourceTCServer.cpp", "m_DSignalHandler"))));
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, SizeIs(2)) << "the next one arrives all the same";
}

TEST_F(SignalTest, EveryKindOfJsonExceptionIsCaught) {
    subscribe(throwIt<Json::RuntimeError>);
    EXPECT_NO_THROW(handle(plainBody("{}"), &endpoint));
    EXPECT_THAT(platform.log(), Contains(Error("Exception occured! [from the callback]")));
}

TEST_F(SignalTest, AnyOtherExceptionPasses) {
    subscribe(throwIt<std::runtime_error>);
    EXPECT_THROW(handle(bufferBody("{}", {1, 2}, 7, "auxiliary"), &endpoint), std::runtime_error);
    EXPECT_THAT(platform.log(), Not(Contains(ErrorWith("Exception occured"))));
}

// Threads

TEST_F(SignalTest, SubscriptionsMayChangeOnAnotherThreadWhileSignalsArrive) {
    constexpr int rounds = 200;
    subscribe();
    Deliveries others;
    auto changing = onThread([&] {
        for (int round = 0; round < rounds; ++round) {
            EXPECT_EQ(endpoint.SubscribeSignal("other", nullptr, nullptr), 1);
            EXPECT_EQ(endpoint.UnSubscribeSignal("other"), 1);
        }
    });
    letTheBusCatchUp();
    for (int round = 0; round < rounds; ++round) {
        service.emitChange("{}");
        if (round % 20 == 0) {
            deliver();
        }
    }
    deliver();
    changing.get();
    EXPECT_THAT(deliveries, SizeIs(rounds));
    EXPECT_THAT(endpoint.m_SignalControls, ElementsAre(Key(signalName)));
}

TEST_F(SignalTest, TheEndpointMayCloseOnAnotherThreadWhileSignalsArrive) {
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
