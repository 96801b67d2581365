// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_TV_ON_BUS_TEST_H
#define TESTS_TV_ON_BUS_TEST_H

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "BusConnection.h"
#include "Control.h"
#include "EmulatedTv.h"
#include "JsonText.h"
#include "MainLoop.h"
#include "TemporaryFolder.h"

namespace emulated_tv {

using support::Connection;
using support::connectTo;
using support::Variant;

constexpr auto busName = "source_service.message";
constexpr auto objectPath = "/source_service/message";

inline Variant parsed(const char *text) {
    return Variant(g_variant_ref_sink(g_variant_new_parsed(text)));
}

inline std::string textOf(GVariant *value) {
    g_autofree char *text = g_variant_print(value, TRUE);
    return text;
}

// The TV on a private bus, with a client's connection.
class TvOnBusTest : public testing::Test {
 protected:
    TvOnBusTest() : m_bus(g_test_dbus_new(G_TEST_DBUS_NONE)) {
        g_test_dbus_up(m_bus.get());
        m_controlConnection = connectTo(g_test_dbus_get_bus_address(m_bus.get()));
        m_client = connectTo(g_test_dbus_get_bus_address(m_bus.get()));
        m_tv.emplace(g_test_dbus_get_bus_address(m_bus.get()), m_root.path());
        m_control.emplace(m_controlConnection.get(), *m_tv);
        g_dbus_connection_signal_subscribe(m_client.get(), nullptr, nullptr, "source_api", nullptr,
                                           nullptr, G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this,
                                           nullptr);
    }
    ~TvOnBusTest() override {
        m_control.reset();
        m_tv.reset();
        m_client.reset();
        m_controlConnection.reset();
        g_test_dbus_down(m_bus.get());
    }

    // Iterates the main loop until the condition holds. False at the limit.
    static bool serveUntil(const std::function<bool()> &condition) {
        return support::iterateUntil(condition, std::chrono::seconds(60));
    }

    // A pending call.
    class Call {
     public:
        Call(GDBusConnection *client, const char *name, const char *path, const char *interface,
             const char *method, const Variant &body)
            : m_client(client) {
            g_dbus_connection_call(
                client, name, path, interface, method, body.get(), nullptr, G_DBUS_CALL_FLAGS_NONE,
                -1, nullptr,
                [](GObject *, GAsyncResult *arrived, gpointer call) {
                    static_cast<Call *>(call)->m_result.reset(
                        static_cast<GAsyncResult *>(g_object_ref(arrived)));
                },
                this);
        }
        Call(const Call &) = delete;
        Call &operator=(const Call &) = delete;

        bool isAnswered() const { return m_result != nullptr; }
        // The reply's body, or null and the error.
        Variant finish(std::string &message) const {
            g_autoptr(GError) error = nullptr;
            Variant reply(g_dbus_connection_call_finish(m_client, m_result.get(), &error));
            message = error != nullptr ? error->message : "";
            return reply;
        }

     private:
        GDBusConnection *m_client;
        support::Owner<GAsyncResult> m_result;
    };

    // The reply's body, or null and m_error.
    Variant finish(const Call &call) {
        EXPECT_TRUE(serveUntil([&] { return call.isAnswered(); }));
        return call.finish(m_error);
    }
    Variant call(const char *name, const char *path, const char *interface, const char *method,
                 const Variant &body) {
        return finish(Call(m_client.get(), name, path, interface, method, body));
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
        auto *self = static_cast<TvOnBusTest *>(test);
        self->m_signals.push_back({path, interface, Variant(g_variant_ref(body))});
    }

    struct Signal {
        std::string path;
        std::string interface;
        Variant body;

        Json::Value message() const {
            const char *text = nullptr;
            g_variant_get_child(body.get(), 3, "&s", &text);
            return support::parseJson(text).value_or("not JSON");
        }
    };

    TemporaryFolder m_root;
    support::Owner<GTestDBus> m_bus;
    Connection m_controlConnection;
    Connection m_client;
    std::optional<EmulatedTv> m_tv;
    std::optional<Control> m_control;
    std::vector<Signal> m_signals;
    std::string m_error;
};

}  // namespace emulated_tv

#endif
