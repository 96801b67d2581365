// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ServiceBus.h"

#include <algorithm>

namespace {

constexpr auto ownName = "source_api";
constexpr auto objectPath = "/source_service/message";
constexpr auto changeSignal = "source_api";
constexpr auto daemonName = "org.freedesktop.DBus";
constexpr auto daemonPath = "/org/freedesktop/DBus";

using Message = std::unique_ptr<GDBusMessage, Unreference>;

// Set when its time has come, which also wakes the main context.
class Timer {
 public:
    explicit Timer(int milliseconds)
        : m_source(g_timeout_source_new(static_cast<guint>(milliseconds))) {
        g_source_set_callback(
            m_source,
            [](gpointer isOver) -> gboolean {
                *static_cast<bool *>(isOver) = true;
                return G_SOURCE_REMOVE;
            },
            &m_isOver, nullptr);
        g_source_attach(m_source, nullptr);
    }
    ~Timer() {
        g_source_destroy(m_source);
        g_source_unref(m_source);
    }
    Timer(const Timer &) = delete;
    Timer &operator=(const Timer &) = delete;

    bool isOver() const { return m_isOver; }

 private:
    GSource *m_source;
    bool m_isOver = false;
};

void takeResult(GObject *, GAsyncResult *result, gpointer to) {
    *static_cast<GAsyncResult **>(to) = static_cast<GAsyncResult *>(g_object_ref(result));
}

std::unique_ptr<GDBusConnection, Unreference> connectWithin(int timeout) {
    g_autoptr(GCancellable) cancellable = g_cancellable_new();
    g_autoptr(GAsyncResult) result = nullptr;
    const Timer timer(timeout);
    g_bus_get(G_BUS_TYPE_SYSTEM, cancellable, takeResult, &result);
    while (result == nullptr) {
        g_main_context_iteration(nullptr, TRUE);
        if (timer.isOver()) {
            g_cancellable_cancel(cancellable);
        }
    }
    g_autoptr(GError) error = nullptr;
    std::unique_ptr<GDBusConnection, Unreference> connection(g_bus_get_finish(result, &error));
    if (!connection) {
        throw Unreachable(std::string("the system bus cannot be reached: ") + error->message);
    }
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
    return connection;
}

// A call that is on its way, until its answer is in.
class PendingCall {
 public:
    PendingCall(GDBusConnection *connection, const MethodCall &call, int timeout)
        : m_connection(connection) {
        const Message message(g_dbus_message_new_method_call(
            ServiceBus::serviceName, objectPath, ServiceBus::serviceName, call.method.c_str()));
        g_dbus_message_set_body(message.get(), call.body.get());
        g_dbus_connection_send_message_with_reply(connection, message.get(),
                                                  G_DBUS_SEND_MESSAGE_FLAGS_NONE, timeout, nullptr,
                                                  nullptr, takeResult, &m_result);
    }
    ~PendingCall() { g_clear_object(&m_result); }
    PendingCall(const PendingCall &) = delete;
    PendingCall &operator=(const PendingCall &) = delete;

    // GDBus sees to it that it ends in time.
    Answer wait() {
        while (m_result == nullptr) {
            g_main_context_iteration(nullptr, TRUE);
        }
        g_autoptr(GError) error = nullptr;
        const Message reply(
            g_dbus_connection_send_message_with_reply_finish(m_connection, m_result, &error));
        return reply ? answerIn(reply.get()) : Answer{Answer::Kind::None, {}, error->message};
    }

 private:
    static Answer answerIn(GDBusMessage *reply) {
        g_autoptr(GError) error = nullptr;
        if (g_dbus_message_to_gerror(reply, &error) == FALSE) {
            return {Answer::Kind::Returned, readBody(g_dbus_message_get_body(reply)), ""};
        }
        // The daemon speaks for a service that is gone.
        const bool isFromDaemon = g_strcmp0(g_dbus_message_get_sender(reply), daemonName) == 0;
        g_dbus_error_strip_remote_error(error);
        return {isFromDaemon ? Answer::Kind::None : Answer::Kind::Error, {}, error->message};
    }

    GDBusConnection *m_connection;
    GAsyncResult *m_result = nullptr;
};

}  // namespace

MethodCall plainCall(const std::string &text) {
    return {"SendMessage",
            Variant(g_variant_ref_sink(g_variant_new("(suss)", ownName, 0U, "", text.c_str())))};
}

MethodCall callWithBuffer(const std::string &text, const std::vector<unsigned char> &buffer) {
    GVariantBuilder bytes;
    g_variant_builder_init(&bytes, G_VARIANT_TYPE("a(y)"));
    for (const unsigned char byte : buffer) {
        g_variant_builder_add(&bytes, "(y)", byte);
    }
    return {"SendMessageWithBuffer", Variant(g_variant_ref_sink(g_variant_new(
                                         "(sussa(y))", ownName, 0U, "", text.c_str(), &bytes)))};
}

ServiceBus::ServiceBus(int timeout) : m_timeout(timeout), m_connection(connectWithin(timeout)) {
    m_subscriptions = {listenTo(nullptr, changeSignal, nullptr, noteChange),
                       listenTo(daemonName, "NameOwnerChanged", serviceName, noteOwner)};
    gboolean hasOwner = FALSE;
    g_variant_get(askDaemon("NameHasOwner", serviceName).get(), "(b)", &hasOwner);
    if (hasOwner == FALSE) {
        throw Unreachable("the source service is not running on the system bus");
    }
}

ServiceBus::~ServiceBus() {
    for (const guint subscription : m_subscriptions) {
        g_dbus_connection_signal_unsubscribe(m_connection.get(), subscription);
    }
}

Answer ServiceBus::call(const MethodCall &call) {
    return PendingCall(m_connection.get(), call, m_timeout).wait();
}

std::vector<Answer> ServiceBus::callTogether(const std::vector<MethodCall> &calls) {
    std::vector<std::unique_ptr<PendingCall>> pending;
    pending.reserve(calls.size());
    for (const MethodCall &call : calls) {
        pending.push_back(std::make_unique<PendingCall>(m_connection.get(), call, m_timeout));
    }
    std::vector<Answer> answers(calls.size());
    std::transform(pending.begin(), pending.end(), answers.begin(),
                   [](const auto &each) { return each->wait(); });
    return answers;
}

void ServiceBus::catchUp() {
    askDaemon("GetId", nullptr);
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

bool ServiceBus::listenUntil(const std::function<bool()> &done) const {
    const Timer timer(m_timeout);
    while (!done()) {
        if (timer.isOver()) {
            return false;
        }
        g_main_context_iteration(nullptr, TRUE);
    }
    return true;
}

Variant ServiceBus::askDaemon(const char *method, const char *argument) {
    g_autoptr(GError) error = nullptr;
    GVariant *arguments = argument != nullptr ? g_variant_new("(s)", argument) : nullptr;
    Variant answer(g_dbus_connection_call_sync(m_connection.get(), daemonName, daemonPath,
                                               daemonName, method, arguments, nullptr,
                                               G_DBUS_CALL_FLAGS_NONE, m_timeout, nullptr, &error));
    if (!answer) {
        throw Unreachable(g_dbus_connection_is_closed(m_connection.get()) != FALSE
                              ? "the system bus went away"
                              : std::string("the system bus does not answer: ") + error->message);
    }
    return answer;
}

guint ServiceBus::listenTo(const char *sender, const char *member, const char *firstArgument,
                           GDBusSignalCallback heard) {
    return g_dbus_connection_signal_subscribe(m_connection.get(), sender, nullptr, member, nullptr,
                                              firstArgument, G_DBUS_SIGNAL_FLAGS_NONE, heard, this,
                                              nullptr);
}

void ServiceBus::noteChange(GDBusConnection * /*connection*/, const char * /*sender*/,
                            const char * /*path*/, const char * /*interface*/,
                            const char * /*member*/, GVariant *body, gpointer self) {
    static_cast<ServiceBus *>(self)->m_signals.push_back(readBody(body));
}

void ServiceBus::noteOwner(GDBusConnection * /*connection*/, const char * /*sender*/,
                           const char * /*path*/, const char * /*interface*/,
                           const char * /*member*/, GVariant *body, gpointer self) {
    const char *newOwner = nullptr;
    g_variant_get(body, "(&s&s&s)", nullptr, nullptr, &newOwner);
    static_cast<ServiceBus *>(self)->m_owners.emplace_back(newOwner);
}
