// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ServiceBus.h"

#include <algorithm>
#include <chrono>
#include <memory>

#include "MainLoop.h"
#include "Timer.h"

namespace service_check {

namespace {

constexpr auto ownName = "source_api";
constexpr auto objectPath = "/source_service/message";
constexpr auto changeSignal = "source_api";
constexpr auto daemonName = "org.freedesktop.DBus";
constexpr auto daemonPath = "/org/freedesktop/DBus";

void storeResult(GObject *, GAsyncResult *result, gpointer target) {
    *static_cast<GAsyncResult **>(target) = static_cast<GAsyncResult *>(g_object_ref(result));
}

support::Connection connectWithin(int timeout) {
    g_autoptr(GCancellable) cancellable = g_cancellable_new();
    g_autoptr(GAsyncResult) result = nullptr;
    support::Timer limit;
    limit.start(std::chrono::milliseconds(timeout), [&] { g_cancellable_cancel(cancellable); });
    g_bus_get(G_BUS_TYPE_SYSTEM, cancellable, storeResult, &result);
    while (result == nullptr) {
        g_main_context_iteration(nullptr, TRUE);
    }
    g_autoptr(GError) error = nullptr;
    support::Connection connection(g_bus_get_finish(result, &error));
    if (!connection) {
        throw Unreachable(std::string("the system bus cannot be reached: ") + error->message);
    }
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
    return connection;
}

// A call that was sent and whose reply may not have arrived yet.
class PendingCall {
 public:
    PendingCall(GDBusConnection *connection, const MethodCall &call, int timeout)
        : m_connection(connection) {
        const support::Message message(g_dbus_message_new_method_call(
            ServiceBus::serviceName, objectPath, ServiceBus::serviceName, call.method.c_str()));
        g_dbus_message_set_body(message.get(), call.body.get());
        g_dbus_connection_send_message_with_reply(connection, message.get(),
                                                  G_DBUS_SEND_MESSAGE_FLAGS_NONE, timeout, nullptr,
                                                  nullptr, storeResult, &m_result);
    }
    ~PendingCall() { g_clear_object(&m_result); }
    PendingCall(const PendingCall &) = delete;
    PendingCall &operator=(const PendingCall &) = delete;

    // GDBus ends the call after the timeout.
    Reply wait() {
        while (m_result == nullptr) {
            g_main_context_iteration(nullptr, TRUE);
        }
        g_autoptr(GError) error = nullptr;
        const support::Message reply(
            g_dbus_connection_send_message_with_reply_finish(m_connection, m_result, &error));
        return reply ? replyIn(reply.get()) : Reply{Reply::Kind::None, {}, error->message};
    }

 private:
    static Reply replyIn(GDBusMessage *reply) {
        g_autoptr(GError) error = nullptr;
        if (g_dbus_message_to_gerror(reply, &error) == FALSE) {
            return {Reply::Kind::Returned, readBody(g_dbus_message_get_body(reply)), ""};
        }
        // The daemon replies in place of a service that has exited.
        const bool isFromDaemon = g_strcmp0(g_dbus_message_get_sender(reply), daemonName) == 0;
        g_dbus_error_strip_remote_error(error);
        return {isFromDaemon ? Reply::Kind::None : Reply::Kind::Error, {}, error->message};
    }

    GDBusConnection *m_connection;
    GAsyncResult *m_result = nullptr;
};

}  // namespace

MethodCall plainCall(const std::string &text) {
    return {"SendMessage", support::sink(g_variant_new("(suss)", ownName, 0U, "", text.c_str()))};
}

MethodCall callWithBuffer(const std::string &text, const std::vector<unsigned char> &buffer) {
    GVariantBuilder bytes;
    g_variant_builder_init(&bytes, G_VARIANT_TYPE("a(y)"));
    for (const unsigned char byte : buffer) {
        g_variant_builder_add(&bytes, "(y)", byte);
    }
    return {"SendMessageWithBuffer",
            support::sink(g_variant_new("(sussa(y))", ownName, 0U, "", text.c_str(), &bytes))};
}

ServiceBus::ServiceBus(int timeout) : m_timeout(timeout), m_connection(connectWithin(timeout)) {
    m_subscriptions = {subscribe(nullptr, changeSignal, nullptr, onChange),
                       subscribe(daemonName, "NameOwnerChanged", serviceName, onOwnerChanged)};
    gboolean hasOwner = FALSE;
    g_variant_get(callDaemon("NameHasOwner", serviceName).get(), "(b)", &hasOwner);
    if (hasOwner == FALSE) {
        throw Unreachable("the source service is not running on the system bus");
    }
}

ServiceBus::~ServiceBus() {
    for (const guint subscription : m_subscriptions) {
        g_dbus_connection_signal_unsubscribe(m_connection.get(), subscription);
    }
}

Reply ServiceBus::call(const MethodCall &call) {
    return PendingCall(m_connection.get(), call, m_timeout).wait();
}

std::vector<Reply> ServiceBus::callConcurrently(const std::vector<MethodCall> &calls) {
    std::vector<std::unique_ptr<PendingCall>> pending;
    pending.reserve(calls.size());
    for (const MethodCall &call : calls) {
        pending.push_back(std::make_unique<PendingCall>(m_connection.get(), call, m_timeout));
    }
    std::vector<Reply> replies(calls.size());
    std::transform(pending.begin(), pending.end(), replies.begin(),
                   [](const auto &each) { return each->wait(); });
    return replies;
}

void ServiceBus::dispatchPending() {
    callDaemon("GetId", nullptr);
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

bool ServiceBus::iterateUntil(const std::function<bool()> &done) const {
    return support::iterateUntil(done, std::chrono::milliseconds(m_timeout));
}

support::Variant ServiceBus::callDaemon(const char *method, const char *argument) {
    g_autoptr(GError) error = nullptr;
    GVariant *arguments = argument != nullptr ? g_variant_new("(s)", argument) : nullptr;
    support::Variant reply(g_dbus_connection_call_sync(
        m_connection.get(), daemonName, daemonPath, daemonName, method, arguments, nullptr,
        G_DBUS_CALL_FLAGS_NONE, m_timeout, nullptr, &error));
    if (!reply) {
        throw Unreachable(g_dbus_connection_is_closed(m_connection.get()) != FALSE
                              ? "the connection to the system bus was lost"
                              : std::string("the system bus does not reply: ") + error->message);
    }
    return reply;
}

guint ServiceBus::subscribe(const char *sender, const char *member, const char *firstArgument,
                            GDBusSignalCallback callback) {
    return g_dbus_connection_signal_subscribe(m_connection.get(), sender, nullptr, member, nullptr,
                                              firstArgument, G_DBUS_SIGNAL_FLAGS_NONE, callback,
                                              this, nullptr);
}

void ServiceBus::onChange(GDBusConnection * /*connection*/, const char * /*sender*/,
                          const char * /*path*/, const char * /*interface*/,
                          const char * /*member*/, GVariant *body, gpointer self) {
    static_cast<ServiceBus *>(self)->m_signals.push_back(readBody(body));
}

void ServiceBus::onOwnerChanged(GDBusConnection * /*connection*/, const char * /*sender*/,
                                const char * /*path*/, const char * /*interface*/,
                                const char * /*member*/, GVariant *body, gpointer self) {
    const char *newOwner = nullptr;
    g_variant_get(body, "(&s&s&s)", nullptr, nullptr, &newOwner);
    static_cast<ServiceBus *>(self)->m_owners.emplace_back(newOwner);
}

}  // namespace service_check
