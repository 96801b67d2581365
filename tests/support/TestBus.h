// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A private message bus that replaces the system bus of the test process.
#ifndef TESTS_TEST_BUS_H
#define TESTS_TEST_BUS_H

#include <functional>
#include <string>

#include "GLibOwners.h"

using BusConnection = support::Connection;

// The limit of every wait in the tests, in milliseconds.
constexpr int waitLimit = 60000;

class TestBus {
 public:
    // Starts a dbus-daemon and makes it the process's system bus.
    TestBus();
    ~TestBus();
    TestBus(const TestBus &) = delete;
    TestBus &operator=(const TestBus &) = delete;

    std::string address() const;
    // Stops the daemon, which closes every connection to it.
    void stop();
    // The same, and returns once the connection that the library shares is closed. The main context
    // is iterated meanwhile.
    void lose();
    // Starts a new daemon with another address.
    void start();
    // A private connection, not shared with the library.
    BusConnection connect() const;

 private:
    support::Owner<GTestDBus> m_daemon;
    bool m_running = false;
};

// A private connection to the bus at `address`.
BusConnection connectTo(const std::string &address);

// The connection of the process to the system bus, which the library uses as well.
BusConnection sharedConnection();

// Iterates the default main context until `done` returns true. False at the limit.
bool iterateUntil(const std::function<bool()> &done);

// Returns when the daemon has processed the process's subscriptions. GLib does not wait for that,
// and a signal that is emitted before is lost.
void letTheBusCatchUp();

// Iterates the default main context until every signal that `from` has emitted so far was delivered
// on the shared connection. False at the limit.
bool deliverSignalsOf(GDBusConnection *from);

#endif
