// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The connection to the bus, and calls to the service as applications make them. For one thread;
// signals are received only inside these methods.
#ifndef SERVICE_CHECK_SERVICE_BUS_H
#define SERVICE_CHECK_SERVICE_BUS_H

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "GLibOwners.h"
#include "Reply.h"

namespace service_check {

// There is no bus or no service on it, or the connection was lost.
class Unreachable : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// A method call to the service's object and interface.
struct MethodCall {
    std::string method;
    support::Variant body;
};

// Requests with the signature (suss) and (sussa(y)).
MethodCall plainCall(const std::string &text);
MethodCall callWithBuffer(const std::string &text, const std::vector<unsigned char> &buffer);

class ServiceBus {
 public:
    static constexpr auto serviceName = "source_service.message";

    // `timeout`: limit of each wait, in milliseconds. Throws Unreachable.
    explicit ServiceBus(int timeout);
    ~ServiceBus();
    ServiceBus(const ServiceBus &) = delete;
    ServiceBus &operator=(const ServiceBus &) = delete;

    Reply call(const MethodCall &call);
    // The replies are in the order of the calls.
    std::vector<Reply> callConcurrently(const std::vector<MethodCall> &calls);

    // The change signals received so far.
    const std::vector<Body> &signals() const { return m_signals; }
    // The new owner at each change of the well-known name's owner so far; empty for none.
    const std::vector<std::string> &ownerChanges() const { return m_owners; }

    // Dispatches every signal that the daemon sent before this call. Throws Unreachable.
    void dispatchPending();
    // Iterates the main context until `done`; false on timeout.
    bool iterateUntil(const std::function<bool()> &done) const;

 private:
    support::Variant callDaemon(const char *method, const char *argument);
    guint subscribe(const char *sender, const char *member, const char *firstArgument,
                    GDBusSignalCallback callback);
    static void onChange(GDBusConnection *connection, const char *sender, const char *path,
                         const char *interface, const char *member, GVariant *body, gpointer self);
    static void onOwnerChanged(GDBusConnection *connection, const char *sender, const char *path,
                               const char *interface, const char *member, GVariant *body,
                               gpointer self);

    int m_timeout;
    support::Connection m_connection;
    std::vector<guint> m_subscriptions;
    std::vector<Body> m_signals;
    std::vector<std::string> m_owners;
};

}  // namespace service_check

#endif
