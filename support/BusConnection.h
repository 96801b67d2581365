// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// GDBus with RAII. Calls and signals are delivered on the thread-default main context of the
// thread that made the object. Failures throw std::runtime_error.
#ifndef SUPPORT_BUS_CONNECTION_H
#define SUPPORT_BUS_CONNECTION_H

#include <functional>
#include <string>

#include "GLibOwners.h"

namespace support {

// A private connection to the bus at the address. Losing it does not end the process.
Connection connectTo(const std::string &address);

// The connection to the system bus that GLib shares within the process. Losing it does not end
// the process.
Connection sharedSystemBus();

// The address of the system bus, DBUS_SYSTEM_BUS_ADDRESS included.
std::string systemBusAddress();

// Calls a method of the bus driver, org.freedesktop.DBus, and waits for the reply. Takes floating
// arguments.
Variant callBusDriver(GDBusConnection *connection, const char *method, GVariant *arguments);

// True if a well-known or unique name has an owner now.
bool hasOwner(GDBusConnection *connection, const std::string &name);

// An object registered on a connection for the lifetime of this one.
class ExportedObject {
 public:
    // The handler takes ownership of the invocation.
    using Handler = std::function<void(const std::string &method, GVariant *arguments,
                                       GDBusMethodInvocation *invocation)>;

    // The introspection data must describe one interface. The connection must outlive the object.
    ExportedObject(GDBusConnection *connection, const char *path, const char *introspection,
                   Handler handler);
    ~ExportedObject();
    ExportedObject(const ExportedObject &) = delete;
    ExportedObject &operator=(const ExportedObject &) = delete;

 private:
    GDBusConnection *m_connection;
    Handler m_handler;
    guint m_id = 0;
};

// A well-known name owned for the lifetime of this object.
class OwnedName {
 public:
    // The name and the connection must outlive the object.
    OwnedName(GDBusConnection *connection, const char *name);
    ~OwnedName();
    OwnedName(const OwnedName &) = delete;
    OwnedName &operator=(const OwnedName &) = delete;

 private:
    GDBusConnection *m_connection;
    const char *m_name;
};

}  // namespace support

#endif
