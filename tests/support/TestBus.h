// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A message bus of the test's own, in place of the system bus.
#ifndef TESTS_TEST_BUS_H
#define TESTS_TEST_BUS_H

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

struct GObjectRelease {
    void operator()(void *object) const { g_object_unref(object); }
};
using BusConnection = std::unique_ptr<GDBusConnection, GObjectRelease>;

// Every wait of the tests ends after this, in milliseconds, at the latest.
constexpr int waitLimit = 60000;

class TestBus {
 public:
    // Starts a dbus-daemon and points the process's system bus at it.
    TestBus();
    ~TestBus();
    TestBus(const TestBus &) = delete;
    TestBus &operator=(const TestBus &) = delete;

    std::string address() const;
    // Ends the daemon; every connection to it is lost.
    void stop();
    // Starts a daemon again, under a new address.
    void start();
    // A connection of the caller's own, not shared with the library.
    BusConnection connect() const;

 private:
    std::unique_ptr<GTestDBus, GObjectRelease> m_daemon;
    bool m_running = false;
};

// A connection of the caller's own to the bus at `address`.
BusConnection connectTo(const std::string &address);

// The connection that the library shares with everybody in the process.
BusConnection sharedConnection();

// Iterates the default main context until `done` holds. False when the limit passed first.
bool iterateUntil(const std::function<bool()> &done);

// Returns once the daemon knows what the client has subscribed to: GLib does not wait for that, and
// a signal that is emitted earlier is lost.
void letTheBusCatchUp();

// Iterates the default main context until everything that `from` has sent so far on the bus was
// delivered to this process's shared connection. False when the limit passed first.
bool deliverSignalsOf(GDBusConnection *from);

#endif
