// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Service.h"

#include <dlfcn.h>

#include <cstring>

#include "Fuzzing.h"
#include "SourceAPI.h"
#include "SourceTCServer.h"
#include "Surroundings.h"
#include "TestBus.h"

namespace {

constexpr const char *busName = "source_service.message";

bool same(const char *left, const char *right) {
    return std::strcmp(left, right) == 0;
}

// The question whether the service is there, which goes to the bus itself.
bool asksForOwner(const char *method, GVariant *body) {
    if (!same(method, "NameHasOwner")) {
        return false;
    }
    const char *name = nullptr;
    g_variant_get(body, "(&s)", &name);
    return same(name, busName);
}

}  // namespace

Service &Service::get() {
    // Outlives the client, which closes its connection when the process ends.
    static const TestBus bus;
    static Service service;
    return service;
}

Service::Service() {
    CSourceAPI::Get();
    require(CSourceAPI::m_bHasSubscribedForEvent, "the client subscribes when it is made");
}

void Service::forget() {
    CSourceAPI::m_sourceItemArray = Json::Value();
    CSourceAPI::m_SourceDataMap.clear();
    CSourceAPI::m_bIntializedSourceItemArray = false;
    CSourceAPI::m_bIntializedSourceDataMap = false;
    CSourceAPI::m_bNotified = false;
    storedNames.reset();
    present = true;
    makeReply = nullptr;
    requests.clear();
    releaseKeptBodies();
}

void Service::emitChange(GVariant *body) {
    SourceTCServer::m_DSignalHandler(nullptr, ":1.7", "/source_service/message", busName,
                                     "source_api", body, CSourceAPI::dBusHandler);
}

GVariant *Service::answer(const char *path, const char *interface, const char *method,
                          GVariant *body, GError **error) {
    require(same(path, "/source_service/message"), "calls go to the service's object");
    require(same(interface, busName), "calls go to the service's interface");
    require(same(method, "SendMessage"), "a request without buffer is a plain message");
    require(same(g_variant_get_type_string(body), "(suss)"), "a plain message has four fields");
    const char *sender = nullptr;
    const char *text = nullptr;
    const char *auxText = nullptr;
    guint32 number = 0;
    g_variant_get(body, "(&su&s&s)", &sender, &number, &auxText, &text);
    require(same(sender, "source_api"), "the client says who it is");
    require(number == 0 && same(auxText, ""), "the client sends no number and no second text");
    requests.emplace_back(text);
    GVariant *const reply = makeReply();
    if (reply == nullptr) {
        g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT, "no answer");
        return nullptr;
    }
    g_variant_ref_sink(reply);
    GVariant *const handedOut = handOut(reply);
    g_variant_unref(reply);
    return handedOut;
}

// A body of the same content as it comes from the wire, which tells when it is released.
GVariant *Service::handOut(GVariant *body) {
    const gsize size = g_variant_get_size(body);
    void *const bytes = g_malloc(size + 1);
    g_variant_store(body, bytes);
    const auto released = [](gpointer memory) {
        Service::get().m_keptBodies.erase(memory);
        g_free(memory);
    };
    return m_keptBodies[bytes] = g_variant_take_ref(g_variant_new_from_data(
               g_variant_get_type(body), bytes, size, TRUE, released, bytes));
}

void Service::releaseKeptBodies() {
    const std::map<void *, GVariant *> kept = m_keptBodies;
    for (const auto &entry : kept) {
        g_variant_unref(entry.second);
    }
    require(m_keptBodies.empty(), "a call keeps one reference of a body at most");
}

// This definition is the one that the library calls. The bus library itself comes here too while
// it opens the connection.
extern "C" GVariant *g_dbus_connection_call_sync(GDBusConnection *connection, const gchar *name,
                                                 const gchar *path, const gchar *interface,
                                                 const gchar *method, GVariant *body,
                                                 const GVariantType *replyType,
                                                 GDBusCallFlags flags, gint timeout,
                                                 GCancellable *cancellable, GError **error) {
    const bool toService = name != nullptr && same(name, busName);
    if (!toService && !asksForOwner(method, body)) {
        static const auto real = reinterpret_cast<decltype(&g_dbus_connection_call_sync)>(
            dlsym(RTLD_NEXT, "g_dbus_connection_call_sync"));
        return real(connection, name, path, interface, method, body, replyType, flags, timeout,
                    cancellable, error);
    }
    require(flags == G_DBUS_CALL_FLAGS_NONE && timeout == -1 && cancellable == nullptr,
            "calls have the bus's own time-out and no flags");
    GVariant *const owned = g_variant_ref_sink(body);
    GVariant *reply = nullptr;
    if (toService) {
        require(replyType == nullptr, "any type of reply is taken");
        reply = Service::get().answer(path, interface, method, owned, error);
    } else {
        reply = g_variant_ref_sink(g_variant_new("(b)", Service::get().present));
    }
    g_variant_unref(owned);
    return reply;
}

// The bus's watcher is a process forked from this one. Were it forked while an input is fed, the
// engine would take its end for the fuzzer's.
extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    Service::get();
    return 0;
}
