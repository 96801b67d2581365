// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The ground that tests of the endpoint stand on: a bus, a source service on it, and an endpoint
// of the client's name and kind that is not open yet.
#ifndef TESTS_TRANSPORT_TEST_H
#define TESTS_TRANSPORT_TEST_H

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "FakePlatform.h"
#include "FakeService.h"
#include "GLibSpy.h"
#include "SourceApiPeer.h"
#include "TestBus.h"
#include "Threads.h"

// A pointer as the log shows it.
inline std::string pointerText(const void *pointer) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%p", pointer);
    return text.data();
}

class TransportTest : public testing::Test {
 protected:
    ~TransportTest() override {
        endpoint.CloseDBusProxy();
        // The service takes its leave over the bus.
        glib.answerCalls(nullptr);
    }

    // Opens the endpoint, and leaves the log empty.
    void open() {
        ASSERT_EQ(endpoint.CreateDBusProxy(), 1);
        platform.clearLog();
    }

    // Opens the endpoint, ends the bus and waits until the endpoint's connection has noticed.
    void openOnALostBus() {
        open();
        GDBusConnection *const connection = peer.connection;
        bus.stop();
        ASSERT_TRUE(iterateUntil([=] { return g_dbus_connection_is_closed(connection) != FALSE; }));
    }

    // From now on, an exception leaves the library's line of that text.
    void throwAtLine(const std::string &text) {
        platform.onLog([text](const LogLine &line) {
            if (line.text.find(text) == 0) {
                FakePlatform::get().onLog(nullptr);
                throw std::runtime_error("from the log");
            }
        });
    }

    TestBus bus;
    FakeService service{bus};
    FakePlatform &platform = FakePlatform::get();
    GLibSpy &glib = GLibSpy::get();
    SourceTCServer endpoint{"source_api", SourceTCServer::PROXY};
    EndpointPeer peer = peerOf(endpoint);
};

#endif
