// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The bus, and on it the service as an application meets it. One thread, which hears of signals
// only while it is in here.
#ifndef SERVICE_CHECK_SERVICE_BUS_H
#define SERVICE_CHECK_SERVICE_BUS_H

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Body.h"

struct Unreference {
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(GVariant *value) const { g_variant_unref(value); }
};
using Variant = std::unique_ptr<GVariant, Unreference>;

// There is no bus, or no service on it.
class Unreachable : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// A method call to the service's object and interface.
struct MethodCall {
    std::string method;
    Variant body;
};

// The two bodies that requests have.
MethodCall plainCall(const std::string &text);
MethodCall callWithBuffer(const std::string &text, const std::vector<unsigned char> &buffer);

class ServiceBus {
 public:
    static constexpr auto serviceName = "source_service.message";

    // Every wait ends after `timeout` milliseconds. Throws Unreachable.
    explicit ServiceBus(int timeout);
    ~ServiceBus();
    ServiceBus(const ServiceBus &) = delete;
    ServiceBus &operator=(const ServiceBus &) = delete;

    Answer call(const MethodCall &call);
    // All at once, each with its own answer.
    std::vector<Answer> callTogether(const std::vector<MethodCall> &calls);

    // The change signals so far.
    const std::vector<Body> &signals() const { return m_signals; }
    // Who owned the name after each change of its owner so far, empty for nobody.
    const std::vector<std::string> &owners() const { return m_owners; }

    // Hears everything that the bus had for this program when it was called. Throws Unreachable.
    void catchUp();
    // Listens until `done`; false when the time ran out.
    bool listenUntil(const std::function<bool()> &done) const;

 private:
    Variant askDaemon(const char *method, const char *argument);
    guint listenTo(const char *sender, const char *member, const char *firstArgument,
                   GDBusSignalCallback heard);
    static void noteChange(GDBusConnection *connection, const char *sender, const char *path,
                           const char *interface, const char *member, GVariant *body,
                           gpointer self);
    static void noteOwner(GDBusConnection *connection, const char *sender, const char *path,
                          const char *interface, const char *member, GVariant *body, gpointer self);

    int m_timeout;
    std::unique_ptr<GDBusConnection, Unreference> m_connection;
    std::vector<guint> m_subscriptions;
    std::vector<Body> m_signals;
    std::vector<std::string> m_owners;
};

#endif
