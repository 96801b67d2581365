// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "StubService.h"

#include <dlfcn.h>

#include <cstring>

#include "Fuzzing.h"
#include "SourceAPI.h"
#include "SourceApiPeer.h"
#include "SourceTCServer.h"
#include "StubPlatform.h"
#include "TestBus.h"

namespace fuzz {

namespace {

constexpr const char *busName = "source_service.message";

bool same(const char *left, const char *right) {
    return std::strcmp(left, right) == 0;
}

// True for NameHasOwner of the service, a call of the bus driver.
bool asksForOwner(const char *method, GVariant *body) {
    if (!same(method, "NameHasOwner")) {
        return false;
    }
    const char *name = nullptr;
    g_variant_get(body, "(&s)", &name);
    return same(name, busName);
}

}  // namespace

StubService &StubService::get() {
    // Outlives the client, which closes its connection at exit.
    static const TestBus bus;
    static StubService service;
    return service;
}

StubService::StubService() {
    CSourceAPI::Get();
    require(ClientPeer::isSubscribed(), "the client subscribes when it is made");
}

void StubService::resetCaches() {
    ClientPeer::list() = Json::Value();
    ClientPeer::names().clear();
    ClientPeer::hasList() = false;
    ClientPeer::hasNames() = false;
}

void StubService::reset() {
    resetCaches();
    ClientPeer::hasAnnounced() = false;
    storedNames.reset();
    present = true;
    makeReply = nullptr;
    requests.clear();
    releaseLeakedBodies();
}

void StubService::emitChange(GVariant *body) {
    EndpointPeer::handleSignal(":1.7", "/source_service/message", busName, "source_api", body,
                               ClientPeer::endpoint());
}

GVariant *StubService::call(const char *path, const char *interface, const char *method,
                            GVariant *body, GError **error) {
    require(same(path, "/source_service/message"), "calls use the service's object path");
    require(same(interface, busName), "calls use the service's interface");
    require(same(method, "SendMessage"), "a request without buffer is a plain message");
    require(same(g_variant_get_type_string(body), "(suss)"), "a plain message has four fields");
    const char *sender = nullptr;
    const char *text = nullptr;
    const char *auxText = nullptr;
    guint32 number = 0;
    g_variant_get(body, "(&su&s&s)", &sender, &number, &auxText, &text);
    require(same(sender, "source_api"), "the first field of a request is the client's name");
    require(number == 0 && same(auxText, ""),
            "the number and the second text of a request are empty");
    requests.emplace_back(text);
    GVariant *const reply = makeReply();
    if (reply == nullptr) {
        g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT, "no reply");
        return nullptr;
    }
    g_variant_ref_sink(reply);
    GVariant *const tracked = track(reply);
    g_variant_unref(reply);
    return tracked;
}

// Returns a serialised copy of the body, as received from the bus, that is tracked until released.
GVariant *StubService::track(GVariant *body) {
    const gsize size = g_variant_get_size(body);
    void *const bytes = g_malloc(size + 1);
    g_variant_store(body, bytes);
    const auto released = [](gpointer memory) {
        StubService::get().m_unreleasedBodies.erase(memory);
        g_free(memory);
    };
    return m_unreleasedBodies[bytes] = g_variant_take_ref(g_variant_new_from_data(
               g_variant_get_type(body), bytes, size, TRUE, released, bytes));
}

void StubService::releaseLeakedBodies() {
    const std::map<void *, GVariant *> unreleased = m_unreleasedBodies;
    for (const auto &entry : unreleased) {
        g_variant_unref(entry.second);
    }
    require(m_unreleasedBodies.empty(), "a call leaks at most one reference of a body");
}

}  // namespace fuzz

using fuzz::require;
using fuzz::StubService;

// Replaces the function of GIO for the library. GIO itself calls it as well while it opens the
// connection.
extern "C" GVariant *g_dbus_connection_call_sync(GDBusConnection *connection, const gchar *name,
                                                 const gchar *path, const gchar *interface,
                                                 const gchar *method, GVariant *body,
                                                 const GVariantType *replyType,
                                                 GDBusCallFlags flags, gint timeout,
                                                 GCancellable *cancellable, GError **error) {
    const bool toService = name != nullptr && fuzz::same(name, fuzz::busName);
    if (!toService && !fuzz::asksForOwner(method, body)) {
        static const auto real = reinterpret_cast<decltype(&g_dbus_connection_call_sync)>(
            dlsym(RTLD_NEXT, "g_dbus_connection_call_sync"));
        return real(connection, name, path, interface, method, body, replyType, flags, timeout,
                    cancellable, error);
    }
    require(flags == G_DBUS_CALL_FLAGS_NONE && timeout == -1 && cancellable == nullptr,
            "calls have the default timeout and no flags");
    GVariant *const owned = g_variant_ref_sink(body);
    GVariant *reply = nullptr;
    if (toService) {
        require(replyType == nullptr, "any type of reply is accepted");
        reply = StubService::get().call(path, interface, method, owned, error);
    } else {
        reply = g_variant_ref_sink(g_variant_new("(b)", StubService::get().present));
    }
    g_variant_unref(owned);
    return reply;
}

// GTestDBus forks a watcher process. If that happened during an input, the engine would take the
// watcher's exit for a crash of the fuzzer.
extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    StubService::get();
    return 0;
}
