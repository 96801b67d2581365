// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the transport logs. Programs read these lines, so texts and levels are part of the
// interface, spelling included.
#include <memory>
#include <new>
#include <string>

#include "LogTable.h"
#include "Threads.h"
#include "TransportTest.h"

namespace {

class TransportLogTest : public TransportTest,
                         public testing::WithParamInterface<LogRow<TransportLogTest>> {
 public:
    using TransportTest::bus;
    using TransportTest::endpoint;
    using TransportTest::glib;
    using TransportTest::open;
    using TransportTest::openOnALostBus;
    using TransportTest::peer;
    using TransportTest::service;

    void send() { endpoint.SendMessage("source_service", nullptr, true, &reply); }
    void answer(const std::string &text) {
        open();
        service.reply(text);
        try {
            send();
        } catch (const Json::Exception &) {
            // The lines up to the exception count.
        }
    }
    void subscribe(SourceTCServer::SignalCallback callback) {
        open();
        endpoint.SubscribeSignal("source_api", callback, nullptr);
        FakePlatform::get().clearLog();
    }
    // Passes a signal to the endpoint, as GLib does.
    void handle(void *target, const char *interface = "interface", GVariant *floating = nullptr) {
        GVariant *const body = g_variant_ref_sink(floating != nullptr ? floating : plainBody("{}"));
        EndpointPeer::handleSignal(":1.7", "/path", interface, "source_api", body, target);
        g_variant_unref(body);
    }

    SourceTCMessage reply;
};

void ignore(const char *, const char *, SourceTCMessage *, void *) {}

void throwBadAlloc(const char *, const char *, SourceTCMessage *, void *) {
    throw std::bad_alloc();
}

void throwJson(const char *, const char *, SourceTCMessage *, void *) {
    throw Json::RuntimeError("from the callback");
}

GVariant *failCall(GError **error) {
    g_set_error_literal(error, G_IO_ERROR, 24, "it took too long");
    return nullptr;
}

using Row = LogRow<TransportLogTest>;

constexpr const char *sent =
    "send message to source_service(source_service.message), sync : true, reply : <pointer> ";
constexpr const char *notOpen = "dbus connection is not open";
constexpr const char *arrived =
    " sender(:1.7) object(/path) interface(interface) signal(source_api)";

const Row endpointRows[] = {
    {"CreateDBusServer",
     "when the bus answers",
     [](auto &test) { test.endpoint.CreateDBusProxy(); },
     {info("m_CreateDBus type: 2"), info("Get dbus connection success : <pointer>")}},
    {"CreateDBusServer",
     "of another kind of endpoint",
     [](auto & /*test*/) {
         SourceTCServer other("other", static_cast<SourceTCServer::SourceTCServerType>(-7));
         other.CreateDBusServer();
         other.CloseDBusServer();
     },
     {info("m_CreateDBus type: -7"), info("Get dbus connection success : <pointer>")}},
    {"CreateDBusServer",
     "when it is open",
     [](auto &test) {
         test.open();
         test.endpoint.CreateDBusServer();
     },
     {info("m_CreateDBus type: 2")}},
    {"CreateDBusServer",
     "when there is no bus",
     [](auto &test) {
         g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", TRUE);
         test.endpoint.CreateDBusProxy();
     },
     {info("m_CreateDBus type: 2"), error("get dbus connection fail!"),
      error("(<text>No such file or directory <number>)")}},
    {"CreateDBusServer",
     "when it fails without an error",
     [](auto &test) {
         test.glib.refuseConnections();
         test.endpoint.CreateDBusProxy();
     },
     {info("m_CreateDBus type: 2"), error("get dbus connection fail!")}},
    {"IsServiceAvailable",
     "without a name, of a service and of a missing one",
     [](auto &test) {
         test.open();
         test.endpoint.IsServiceAvailable(nullptr);
         test.endpoint.IsServiceAvailable("source_service");
         test.endpoint.IsServiceAvailable("missing");
     },
     {}},
    {"IsServiceAvailable",
     "while closed",
     [](auto &test) { test.endpoint.IsServiceAvailable("source_service"); },
     {error(notOpen)}},
    {"IsServiceAvailable",
     "on a lost bus",
     [](auto &test) {
         test.openOnALostBus();
         test.endpoint.IsServiceAvailable("source_service");
     },
     {error(notOpen)}},
    {"IsServiceAvailable",
     "when the question fails",
     [](auto &test) {
         test.open();
         test.glib.answerCalls(failCall);
         test.endpoint.IsServiceAvailable("source_service");
     },
     {error("sync call fail (it took too long, 24)")}},
    {"CloseDBusServer",
     "while open",
     [](auto &test) {
         test.open();
         test.endpoint.CloseDBusProxy();
     },
     {info("close source_api begin"), info("waiting all send message/signal finished 0d"),
      info("all send message/signal finished"),
      info("close connection and all close motion finished")}},
    {"CloseDBusServer",
     "while closed",
     [](auto &test) { test.endpoint.CloseDBusProxy(); },
     {info("close source_api begin"), info("source_api has closed.")}},
    {"CloseDBusServer",
     "during a call",
     [](auto &test) {
         test.open();
         test.service.hold();
         const auto sending = onThread([&] { test.send(); });
         test.service.waitForCalls(1);
         const LogLineWaiter waiting("CloseDBusServer", 2);
         const auto closing = onThread([&] { test.endpoint.CloseDBusProxy(); });
         EXPECT_TRUE(waiting.wait());
         SourceTCMessage late;
         test.endpoint.SendMessage("source_service", nullptr, true, &late);
         test.service.release();
         closing.wait();
     },
     {error(sent, "SendMessage"), info("close source_api begin"),
      info("waiting all send message/signal finished 1d"),
      error("Server is going to be closed!", "SendMessage"), error("send success!", "SendMessage"),
      info("all send message/signal finished"),
      info("close connection and all close motion finished")}},
};

const Row callRows[] = {
    {"SendMessage",
     "when it succeeds",
     [](auto &test) { test.answer("{}"); },
     {error(sent), info("(suss)", "m_AnalyseMsg"), error("send success!")}},
    {"SendMessage",
     "to another peer and not synchronously",
     [](auto &test) {
         test.open();
         test.endpoint.SendMessage("an-odd.peer", nullptr, false, &test.reply);
     },
     {error("send message to an-odd.peer(an_odd.peer.message), sync : false, reply : <pointer> "),
      error("Fail to invoking sync message call(GDBus.Error:org.freedesktop.DBus.Error."
            "ServiceUnknown: <text> <number>)"),
      error("send fail!")}},
    {"SendMessage",
     "without a peer's name",
     [](auto &test) {
         test.open();
         test.endpoint.SendMessage(nullptr, nullptr, true, &test.reply);
         test.endpoint.SendMessage("", nullptr, true, &test.reply);
     },
     {error("No dest information"), error("No dest information")}},
    {"SendMessage",
     "while the lock is held, without a peer's name and with one",
     [](auto &test) {
         const LockHolder holder(test.peer.mutex);
         test.endpoint.SendMessage("", nullptr, true, &test.reply);
         test.send();
     },
     {error("No dest information"), error("Server is going to be closed!")}},
    {"SendMessage", "while closed", [](auto &test) { test.send(); }, {error(notOpen)}},
    {"SendMessage",
     "on a lost bus",
     [](auto &test) {
         test.openOnALostBus();
         test.send();
     },
     {error(notOpen)}},
    {"SendMessage",
     "when the peer answers with an error",
     [](auto &test) {
         test.open();
         test.service.replyWithError("test.Error.Broken", "it broke");
         test.send();
     },
     {error(sent),
      error("Fail to invoking sync message call(GDBus.Error:test.Error.Broken: it broke " +
            std::to_string(G_IO_ERROR_DBUS_ERROR) + ")"),
      error("send fail!")}},
    {"SendMessage",
     "when it fails without an error",
     [](auto &test) {
         test.open();
         test.glib.answerCalls([](GError ** /*error*/) -> GVariant * { return nullptr; });
         test.send();
     },
     {error(sent), error("send fail!")}},
    {"SendMessage",
     "when the reply says that it failed",
     [](auto &test) { test.answer(R"({"dbus_result":"fail"})"); },
     {error(sent), info("(suss)", "m_AnalyseMsg"),
      error(R"(send sync message fail: {"dbus_result":"fail"})"), error("send fail!")}},
    {"SendMessage",
     "when the reply is no object",
     [](auto &test) { test.answer("[1]"); },
     {error(sent), info("(suss)", "m_AnalyseMsg")}},
    {"m_AnalyseMsg",
     "of a reply with a buffer, of another type and of an empty one",
     [](auto &test) {
         test.open();
         test.service.replyWith([](const ReceivedCall &) { return bufferBody("{}", {1}); });
         test.send();
         test.service.replyWith([](const ReceivedCall &) { return g_variant_new("(i)", 3); });
         test.send();
         test.service.replyWith([](const ReceivedCall &) -> GVariant * { return nullptr; });
         test.send();
         EndpointPeer::decode(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
     },
     {info("(sussa(y))"), info("(i)"), info("()")}},
};

const Row signalRows[] = {
    {"SubscribeSignal",
     "while open",
     [](auto &test) {
         test.open();
         test.endpoint.SubscribeSignal("source_api", ignore, nullptr);
     },
     {info("Begin subscribe signal"), info("SubscribeSignal source_api success")}},
    {"SubscribeSignal",
     "while closed",
     [](auto &test) { test.endpoint.SubscribeSignal("source_api", ignore, nullptr); },
     {error(notOpen)}},
    {"SubscribeSignal",
     "of a name that no signal can have",
     [](auto &test) {
         test.open();
         const ExpectedCritical refused;
         test.endpoint.SubscribeSignal("no-member", ignore, nullptr);
     },
     {info("Begin subscribe signal"), error("fail to subscribe signal")}},
    {"UnSubscribeSignal",
     "of a subscribed name, then of one that is not",
     [](auto &test) {
         test.subscribe(ignore);
         test.endpoint.UnSubscribeSignal("source_api");
         test.endpoint.UnSubscribeSignal("source_api");
     },
     {info("UnSubscribeSignal source_api(<number>)")}},
    {"UnSubscribeSignal",
     "while closed",
     [](auto &test) { test.endpoint.UnSubscribeSignal("source_api"); },
     {error(notOpen)}},
    {"m_DSignalHandler",
     "with a callback",
     [](auto &test) {
         test.subscribe(ignore);
         test.handle(&test.endpoint);
     },
     {error(arrived), info("begin to analyze signal of source_api"),
      info("(suss)", "m_AnalyseMsg")}},
    {"m_DSignalHandler",
     "without a callback",
     [](auto &test) {
         test.subscribe(nullptr);
         test.handle(&test.endpoint);
     },
     {error(arrived), info("begin to analyze signal of source_api"), info("(suss)", "m_AnalyseMsg"),
      info("no registered callback of source_api")}},
    {"m_DSignalHandler",
     "of a name that is not subscribed",
     [](auto &test) { test.handle(&test.endpoint); },
     {error(arrived), info("no register info of source_api")}},
    {"m_DSignalHandler",
     "of a destroyed endpoint",
     [](auto &test) {
         auto mortal = std::make_unique<SourceTCServer>("mortal", SourceTCServer::PROXY);
         peerOf(*mortal).subscriptions["source_api"] = nullptr;
         void *const address = mortal.get();
         mortal.reset();
         test.handle(address);
     },
     {error(arrived), info("no register info of source_api")}},
    {"m_DSignalHandler",
     "of a name without a record",
     [](auto &test) {
         test.peer.subscriptions["source_api"] = nullptr;
         test.handle(&test.endpoint);
     },
     {error(arrived), info("begin to analyze signal of source_api"), info("(suss)", "m_AnalyseMsg"),
      info("no registered callback of source_api")}},
    {"m_DSignalHandler",
     "without an interface",
     [](auto &test) { test.handle(&test.endpoint, nullptr); },
     {error(" sender(:1.7) object(/path) interface((null)) signal(source_api)")}},
    {"m_DSignalHandler",
     "without an endpoint",
     [](auto &test) { test.handle(nullptr); },
     {error(arrived), error("pThis is NULL")}},
    {"m_DSignalHandler",
     "when the callback throws an exception of the JSON library",
     [](auto &test) {
         test.subscribe(throwJson);
         test.handle(&test.endpoint);
     },
     {error(arrived), info("begin to analyze signal of source_api"),
      error("Exception occured! [from the callback]")}},
    {"m_DSignalHandler",
     "when memory runs out",
     [](auto &test) {
         test.subscribe(throwBadAlloc);
         test.handle(&test.endpoint);
     },
     {error(arrived), info("begin to analyze signal of source_api"),
      error("Exception occured! [std::bad_alloc]")}},
};

TEST_P(TransportLogTest, WritesTheseLines) {
    expectLinesOf(GetParam(), *this, "SourceTCServer.cpp");
}

INSTANTIATE_TEST_SUITE_P(Endpoint, TransportLogTest, testing::ValuesIn(endpointRows),
                         nameOfRow<TransportLogTest>);
INSTANTIATE_TEST_SUITE_P(Calls, TransportLogTest, testing::ValuesIn(callRows),
                         nameOfRow<TransportLogTest>);
INSTANTIATE_TEST_SUITE_P(Signals, TransportLogTest, testing::ValuesIn(signalRows),
                         nameOfRow<TransportLogTest>);

}  // namespace
