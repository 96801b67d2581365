// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gio/gio.h>
#include <gmock/gmock.h>

#include <functional>
#include <optional>

#include "Bus.h"
#include "Control.h"
#include "JsonText.h"
#include "SourceService.h"
#include "SourceState.h"
#include "TemporaryFolder.h"

namespace {

constexpr auto busName = "source_service.message";
constexpr auto objectPath = "/source_service/message";

Variant parsed(const char *text) {
    return Variant(g_variant_ref_sink(g_variant_new_parsed(text)));
}

std::string textOf(GVariant *value) {
    g_autofree char *text = g_variant_print(value, TRUE);
    return text;
}

}  // namespace

// The service on a bus of its own, spoken to as another process would, with bodies written out.
class ServiceOnBusTest : public testing::Test {
 protected:
    ServiceOnBusTest() : m_bus(g_test_dbus_new(G_TEST_DBUS_NONE)) {
        g_test_dbus_up(m_bus.get());
        m_serviceConnection = connectTo(g_test_dbus_get_bus_address(m_bus.get()));
        m_client = connectTo(g_test_dbus_get_bus_address(m_bus.get()));
        m_service.emplace(m_serviceConnection.get(), m_state);
        m_control.emplace(m_serviceConnection.get(), m_state, *m_service);
        g_dbus_connection_signal_subscribe(m_client.get(), nullptr, nullptr, "source_api", nullptr,
                                           nullptr, G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this,
                                           nullptr);
    }
    ~ServiceOnBusTest() override {
        m_control.reset();
        m_service.reset();
        m_client.reset();
        m_serviceConnection.reset();
        g_test_dbus_down(m_bus.get());
    }

    // Runs the service until the condition holds; false when that takes too long.
    bool serveUntil(const std::function<bool()> &condition) {
        bool isLate = false;
        const guint timer = g_timeout_add_seconds(
            20,
            [](gpointer late) -> gboolean {
                *static_cast<bool *>(late) = true;
                return G_SOURCE_CONTINUE;
            },
            &isLate);
        while (!condition() && !isLate) {
            g_main_context_iteration(nullptr, TRUE);
        }
        g_source_remove(timer);
        return !isLate;
    }

    // The reply's body, or null and m_error.
    Variant call(const char *name, const char *path, const char *interface, const char *method,
                 const Variant &body) {
        GAsyncResult *result = nullptr;
        g_dbus_connection_call(
            m_client.get(), name, path, interface, method, body.get(), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
            [](GObject *, GAsyncResult *arrived, gpointer to) {
                *static_cast<GAsyncResult **>(to) =
                    static_cast<GAsyncResult *>(g_object_ref(arrived));
            },
            &result);
        EXPECT_TRUE(serveUntil([&] { return result != nullptr; }));
        g_autoptr(GError) error = nullptr;
        Variant reply(g_dbus_connection_call_finish(m_client.get(), result, &error));
        g_object_unref(result);
        m_error = error != nullptr ? error->message : "";
        return reply;
    }
    Variant send(const char *method, const char *body) {
        return call(busName, objectPath, busName, method, parsed(body));
    }
    Variant control(const char *method, const char *body) {
        return call("tv_emulator.control", "/tv_emulator/control", "tv_emulator.control", method,
                    parsed(body));
    }

    static void onSignal(GDBusConnection *, const char *, const char *path, const char *interface,
                         const char *, GVariant *body, gpointer test) {
        auto *self = static_cast<ServiceOnBusTest *>(test);
        self->m_signals.push_back({path, interface, Variant(g_variant_ref(body))});
    }

    struct Signal {
        std::string path;
        std::string interface;
        Variant body;

        Json::Value message() const {
            const char *text = nullptr;
            g_variant_get_child(body.get(), 3, "&s", &text);
            return parseJson(text).value_or("not JSON");
        }
    };

    TemporaryFolder m_root;
    SourceState m_state{m_root.path()};
    std::unique_ptr<GTestDBus, Unreference> m_bus;
    Connection m_serviceConnection;
    Connection m_client;
    std::optional<SourceService> m_service;
    std::optional<Control> m_control;
    std::vector<Signal> m_signals;
    std::string m_error;
};

TEST_F(ServiceOnBusTest, PlainRequestIsAnsweredWithAPlainBody) {
    const Variant reply = send(
        "SendMessage",
        R"(('source_api', uint32 0, '', '{"method":"SourceConnect","data":{"SourceType":3}}'))");
    ASSERT_TRUE(reply) << m_error;
    EXPECT_EQ(textOf(reply.get()), R"(('source_service', uint32 0, '', '{"return_data":true}'))");
    EXPECT_EQ(m_state.model().selected(), "hdmi1");
}

TEST_F(ServiceOnBusTest, RequestWithABufferIsAnsweredWithTheZeroByteThatMeansNone) {
    const Variant reply = send("SendMessageWithBuffer",
                               R"(('source_api', uint32 7, 'aside',
                                   '{"method":"SourceConnect","data":{"SourceType":3}}',
                                   [(byte 0x01,), (byte 0x02,), (byte 0x03,)]))");
    ASSERT_TRUE(reply) << m_error;
    EXPECT_EQ(textOf(reply.get()),
              R"(('source_service', uint32 0, '', '{"return_data":true}', [(byte 0x00,)]))");
}

TEST_F(ServiceOnBusTest, ListIsInTheReply) {
    const Variant reply =
        send("SendMessage",
             R"(('source_api', uint32 0, '', '{"method":"UtilGetSourceList","data":null}'))");
    ASSERT_TRUE(reply) << m_error;
    const char *text = nullptr;
    g_variant_get_child(reply.get(), 3, "&s", &text);
    EXPECT_EQ(parseJson(text).value_or("")["return_data"], m_state.model().list());
}

TEST_F(ServiceOnBusTest, TextThatIsNotUnderstoodIsAnsweredNotDropped) {
    const Variant reply = send("SendMessage", "('', uint32 0, '', '')");
    ASSERT_TRUE(reply) << m_error;
    EXPECT_THAT(textOf(reply.get()), testing::HasSubstr(R"("dbus_result":"fail")"));
}

TEST_F(ServiceOnBusTest, BodyOfAnotherShapeIsRefusedByTheBus) {
    EXPECT_FALSE(send("SendMessage", "('source_api',)"));
    EXPECT_NE(m_error, "");
    EXPECT_FALSE(send("SendMessageWithBuffer", "('source_api', uint32 0, '', '{}')"));
    EXPECT_NE(m_error, "");
    EXPECT_FALSE(send("NoSuchMethod", "('source_api', uint32 0, '', '{}')"));
    EXPECT_NE(m_error, "");
}

TEST_F(ServiceOnBusTest, IntrospectionShowsTheInterface) {
    const Variant reply = call(busName, objectPath, "org.freedesktop.DBus.Introspectable",
                               "Introspect", parsed("()"));
    ASSERT_TRUE(reply) << m_error;
    EXPECT_THAT(textOf(reply.get()), testing::HasSubstr("SendMessageWithBuffer"));
}

TEST_F(ServiceOnBusTest, SecondServiceOnOneBusIsRefused) {
    const Connection another = connectTo(g_test_dbus_get_bus_address(m_bus.get()));
    EXPECT_THROW(SourceService(another.get(), m_state), std::runtime_error);
}

TEST_F(ServiceOnBusTest, NameIsFreeAgainWhenTheServiceHasGone) {
    m_control.reset();
    m_service.reset();
    EXPECT_NO_THROW(SourceService(m_client.get(), m_state));
}

TEST_F(ServiceOnBusTest, ChangeSignalCarriesTheCompleteList) {
    ASSERT_TRUE(send("SendMessage", R"(('source_api', uint32 0, '',
        '{"method":"UtilSetSourceEditName",
          "data":{"SourceType":4,"EditName":"Neuer Name","MBRActivityIndex":0}}'))"));
    ASSERT_TRUE(serveUntil([&] { return !m_signals.empty(); }));
    const Signal &signal = m_signals.front();
    EXPECT_EQ(signal.path, objectPath);
    EXPECT_EQ(signal.interface, busName);
    EXPECT_STREQ(g_variant_get_type_string(signal.body.get()), "(suss)");
    EXPECT_THAT(textOf(signal.body.get()),
                testing::StartsWith("('source_service', uint32 0, '', "));
    EXPECT_EQ(signal.message()["method"], "SourceListChanged");
    EXPECT_EQ(signal.message()["data"], *parseJson(R"({"result":3})"));
    EXPECT_EQ(signal.message()["return_data"], m_state.model().list());
    EXPECT_EQ(signal.message()["return_data"][2]["editName"], "Neuer%20Name");
}

TEST_F(ServiceOnBusTest, EachKindOfChangeHasItsOwnResult) {
    struct {
        const char *method;
        const char *body;
        int result;
    } const changes[] = {
        {"Plug", "('hdmi3', {'name': <'Laptop'>, 'device_type': <uint32 4>})", 1},
        {"Plug", "('usb-stick', @a{sv} {})", 1},
        {"Unplug", "('usb-stick',)", 2},
        {"Rename", "('av', 'Björns Ecke')", 3},
        {"SetPower", "('hdmi2', true)", 4},
    };
    for (const auto &change : changes) {
        m_signals.clear();
        ASSERT_TRUE(control(change.method, change.body)) << m_error;
        ASSERT_TRUE(serveUntil([&] { return !m_signals.empty(); })) << change.body;
        EXPECT_EQ(m_signals.front().message()["data"]["result"], change.result);
        EXPECT_EQ(m_signals.front().message()["return_data"], m_state.model().list());
    }
    EXPECT_EQ(m_state.model().source("hdmi3").deviceType, 4U);
}

TEST_F(ServiceOnBusTest, WhatLeavesTheListAsItWasIsNotAnnounced) {
    ASSERT_TRUE(control("Plug", "('hdmi2', @a{sv} {})")) << m_error;
    ASSERT_TRUE(send(
        "SendMessage",
        R"(('source_api', uint32 0, '', '{"method":"SourceConnect","data":{"SourceType":3}}'))"));
    // A signal that was sent before this one would arrive before it.
    ASSERT_TRUE(control("SetPower", "('hdmi2', true)")) << m_error;
    ASSERT_TRUE(serveUntil([&] { return !m_signals.empty(); }));
    EXPECT_EQ(m_signals.size(), 1U);
    EXPECT_EQ(m_signals.front().message()["data"]["result"], 4);
}

TEST_F(ServiceOnBusTest, RefusalReachesTheOneWhoAsked) {
    EXPECT_FALSE(control("Unplug", "('hdmi9',)"));
    EXPECT_THAT(m_error, testing::HasSubstr("there is no source \"hdmi9\"; the TV has tuner"));
    EXPECT_FALSE(control("SetPower", "('hdmi3', true)"));
    EXPECT_THAT(m_error, testing::HasSubstr("nothing is plugged into \"hdmi3\""));
}
