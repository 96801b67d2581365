// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the emulator needs of GDBus, with the right lifetimes. Everything is used on one thread,
// whose thread-default main context delivers the calls, and what can fail throws
// std::runtime_error.
#ifndef EMULATED_TV_BUS_H
#define EMULATED_TV_BUS_H

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

struct Unreference {
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(GVariant *value) const { g_variant_unref(value); }
    void operator()(GDBusNodeInfo *info) const { g_dbus_node_info_unref(info); }
};
using Connection = std::unique_ptr<GDBusConnection, Unreference>;
using Variant = std::unique_ptr<GVariant, Unreference>;

// A connection of its own to the bus at the address. The process outlives the bus.
Connection connectTo(const std::string &address);

// Whether somebody has the name, which may be a connection's own, on the bus now.
bool isOnBus(GDBusConnection *connection, const std::string &name);

// The address that this process finds the system bus at.
std::string systemBusAddress();

// An object on the bus for as long as this lives.
class ExportedObject {
 public:
    // The handler must use up the invocation.
    using Handler = std::function<void(const std::string &method, GVariant *arguments,
                                       GDBusMethodInvocation *invocation)>;

    // The introspection data must describe one interface.
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

// A name on the bus for as long as this lives.
class OwnedName {
 public:
    OwnedName(GDBusConnection *connection, const char *name);
    ~OwnedName();
    OwnedName(const OwnedName &) = delete;
    OwnedName &operator=(const OwnedName &) = delete;

 private:
    GDBusConnection *m_connection;
    const char *m_name;
};

#endif
