// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "FakeService.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "JsonText.h"

namespace {

GVariant *byteArray(const std::vector<unsigned char> &bytes) {
    GBytes *const copy = g_bytes_new(bytes.data(), bytes.size());
    GVariant *const array = g_variant_new_from_bytes(G_VARIANT_TYPE("a(y)"), copy, TRUE);
    g_bytes_unref(copy);
    return array;
}

std::string orEmpty(const char *text) {
    return text != nullptr ? text : "";
}

ReceivedCall read(GDBusMessage *message) {
    ReceivedCall call;
    call.destination = orEmpty(g_dbus_message_get_destination(message));
    call.path = orEmpty(g_dbus_message_get_path(message));
    call.interface = orEmpty(g_dbus_message_get_interface(message));
    call.member = orEmpty(g_dbus_message_get_member(message));
    GVariant *const body = g_dbus_message_get_body(message);
    call.bodyType = body != nullptr ? g_variant_get_type_string(body) : "";
    if (call.bodyType.rfind("(suss", 0) != 0) {
        return call;
    }
    const char *sender = nullptr;
    const char *auxText = nullptr;
    const char *text = nullptr;
    g_variant_get_child(body, 0, "&s", &sender);
    g_variant_get_child(body, 1, "u", &call.number);
    g_variant_get_child(body, 2, "&s", &auxText);
    g_variant_get_child(body, 3, "&s", &text);
    call.sender = sender;
    call.auxText = auxText;
    call.text = text;
    if (g_variant_n_children(body) == 5) {
        GVariant *const array = g_variant_get_child_value(body, 4);
        const auto *const bytes = static_cast<const unsigned char *>(g_variant_get_data(array));
        call.buffer.assign(bytes, bytes + g_variant_get_size(array));
        g_variant_unref(array);
    }
    call.json = parsedJson(call.text);
    return call;
}

}  // namespace

GVariant *plainBody(const std::string &text, unsigned int number, const std::string &auxText) {
    return g_variant_new("(suss)", "source_service", number, auxText.c_str(), text.c_str());
}

GVariant *bufferBody(const std::string &text, const std::vector<unsigned char> &buffer,
                     unsigned int number, const std::string &auxText) {
    return g_variant_new("(suss@a(y))", "source_service", number, auxText.c_str(), text.c_str(),
                         byteArray(buffer));
}

std::string jsonText(const Json::Value &value) {
    return support::jsonLine(value);
}

Json::Value parsedJson(const std::string &text) {
    return support::parseJson(text).value_or(Json::Value());
}

FakeService::FakeService(const TestBus &bus, const std::string &busName)
    : FakeService(bus.connect(), busName) {}

FakeService::FakeService(BusConnection connection, const std::string &busName)
    : m_busName(busName), m_connection(std::move(connection)) {
    g_dbus_connection_set_exit_on_close(m_connection.get(), FALSE);
    reply(R"({"return_data":true})");
    m_filter = g_dbus_connection_add_filter(m_connection.get(), filter, this, nullptr);
    ownName();
}

FakeService::~FakeService() {
    release();
    // The name is free when this returns; the daemon learns of a closed connection only later.
    if (g_dbus_connection_is_closed(m_connection.get()) == FALSE) {
        callBusDriver("ReleaseName", g_variant_new("(s)", m_busName.c_str()));
    }
    // Closing ends the filter; nothing of this object is used afterwards.
    g_dbus_connection_remove_filter(m_connection.get(), m_filter);
    g_dbus_connection_close_sync(m_connection.get(), nullptr, nullptr);
}

void FakeService::reply(const std::string &text) {
    replyWith([text](const ReceivedCall &) { return plainBody(text); });
}

void FakeService::replyTo(const std::string &command, const std::string &text) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_commandReplies[command] = text;
}

void FakeService::replyWith(std::function<GVariant *(const ReceivedCall &)> makeBody) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_makeBody = std::move(makeBody);
    m_errorName.clear();
}

void FakeService::replyWithError(const std::string &name, const std::string &message) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_errorName = name;
    m_errorMessage = message;
}

void FakeService::replyWithMessage(MakeReply makeReply) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_makeReply = std::move(makeReply);
}

void FakeService::hold() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_held = true;
}

void FakeService::release() {
    std::vector<std::pair<GDBusMessage *, ReceivedCall>> withheld;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_held = false;
        withheld.swap(m_withheld);
    }
    for (const auto &[message, call] : withheld) {
        sendReply(message, call);
        g_object_unref(message);
    }
}

std::vector<ReceivedCall> FakeService::calls() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_calls;
}

std::vector<ReceivedCall> FakeService::waitForCalls(std::size_t count) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    EXPECT_TRUE(m_changed.wait_for(lock, std::chrono::milliseconds(waitLimit),
                                   [&] { return m_calls.size() >= count; }));
    return m_calls;
}

ReceivedCall FakeService::lastCall() const {
    const std::vector<ReceivedCall> all = calls();
    EXPECT_FALSE(all.empty());
    return all.empty() ? ReceivedCall() : all.back();
}

int FakeService::countOf(const std::string &command) const {
    int found = 0;
    for (const ReceivedCall &call : calls()) {
        if (call.json.isObject() && call.json["method"] == command) {
            ++found;
        }
    }
    return found;
}

guint FakeService::callBusDriver(const char *method, GVariant *arguments) {
    GVariant *const reply = g_dbus_connection_call_sync(
        m_connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        method, arguments, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, waitLimit, nullptr,
        nullptr);
    if (reply == nullptr) {
        return 0;
    }
    guint outcome = 0;
    g_variant_get(reply, "(u)", &outcome);
    g_variant_unref(reply);
    return outcome;
}

void FakeService::releaseName() {
    constexpr guint released = 1;
    ASSERT_EQ(callBusDriver("ReleaseName", g_variant_new("(s)", m_busName.c_str())), released);
}

void FakeService::ownName() {
    // Waits in the queue: the daemon may not have noticed yet that an earlier owner was killed.
    constexpr guint noFlags = 0;
    ASSERT_NE(callBusDriver("RequestName", g_variant_new("(su)", m_busName.c_str(), noFlags)), 0U);
    std::unique_lock<std::mutex> lock(m_mutex);
    ASSERT_TRUE(m_changed.wait_for(lock, std::chrono::milliseconds(waitLimit),
                                   [this] { return m_ownsName; }))
        << m_busName << " has another owner";
}

void FakeService::emitChange(const std::string &text) {
    emit("/source_service/message", "source_service.message", "source_api", plainBody(text));
}

void FakeService::emit(const std::string &path, const std::string &interface,
                       const std::string &member, GVariant *body) {
    ASSERT_TRUE(g_dbus_connection_emit_signal(m_connection.get(), nullptr, path.c_str(),
                                              interface.c_str(), member.c_str(), body, nullptr));
}

GDBusMessage *FakeService::filter(GDBusConnection * /*connection*/, GDBusMessage *message,
                                  gboolean incoming, gpointer self) {
    if (incoming == FALSE) {
        return message;
    }
    auto *const service = static_cast<FakeService *>(self);
    if (g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
        service->noteOwner(message);
        return message;
    }
    service->receive(message);
    g_object_unref(message);
    return nullptr;
}

void FakeService::noteOwner(GDBusMessage *message) {
    const std::string member = orEmpty(g_dbus_message_get_member(message));
    if ((member == "NameAcquired" || member == "NameLost") &&
        m_busName == orEmpty(g_dbus_message_get_arg0(message))) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_ownsName = member == "NameAcquired";
        }
        m_changed.notify_all();
    }
}

void FakeService::receive(GDBusMessage *message) {
    const ReceivedCall call = read(message);
    bool held = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.push_back(call);
        held = m_held;
        if (held) {
            m_withheld.emplace_back(G_DBUS_MESSAGE(g_object_ref(message)), call);
        }
    }
    m_changed.notify_all();
    if (!held) {
        sendReply(message, call);
    }
}

void FakeService::sendReply(GDBusMessage *message, const ReceivedCall &call) {
    GDBusMessage *response = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const std::string command =
            call.json.isObject() ? call.json["method"].asString() : std::string();
        const auto commandReply = m_commandReplies.find(command);
        if (m_makeReply) {
            response = m_makeReply(message, call);
        } else if (!m_errorName.empty()) {
            response = g_dbus_message_new_method_error_literal(message, m_errorName.c_str(),
                                                               m_errorMessage.c_str());
        } else {
            response = g_dbus_message_new_method_reply(message);
            GVariant *const body = commandReply != m_commandReplies.end()
                                       ? plainBody(commandReply->second)
                                       : m_makeBody(call);
            if (body != nullptr) {
                g_dbus_message_set_body(response, body);
            }
        }
    }
    if (response != nullptr) {
        g_dbus_connection_send_message(m_connection.get(), response, G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                       nullptr, nullptr);
        g_object_unref(response);
    }
}
