// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Fixtures for tests of the client's connection to the service: one with the bus and the service
// running, one without a bus.
#ifndef TESTS_CONNECTION_TEST_H
#define TESTS_CONNECTION_TEST_H

#include <optional>
#include <utility>
#include <vector>

#include "ClientTest.h"

inline bool connectToThree() {
    return CSourceAPI::Get()->Connect(3);
}

// The number of deleted endpoints, each of which logs one line.
inline std::size_t endpointsDeleted() {
    return FakePlatform::get().logOf("Destroy").size();
}

// The number of change signals that the client handles when the service emits one. For each of them
// the client fetches the list.
inline int handledOfOneSignal(FakeService &service) {
    // The client's subscriptions are active once a signal of the test has arrived.
    EXPECT_TRUE(deliverSignalsOf(service.connection()));
    const int before = service.countOf("UtilGetSourceList");
    service.emitChange(R"({"return_data":""})");
    EXPECT_TRUE(deliverSignalsOf(service.connection()));
    return service.countOf("UtilGetSourceList") - before;
}

class ConnectionTest : public ClientTest {
 protected:
    // The next attempt to subscribe finds the endpoint without a bus connection.
    void failNextSubscription() {
        platform.onLog([this](const LogLine &line) {
            if (line.function == "m_SubscribeSignal") {
                m_connection = std::exchange(peerOf(*ClientPeer::endpoint()).connection, nullptr);
            } else if (line.function == "SubscribeSignal") {
                peerOf(*ClientPeer::endpoint()).connection = m_connection;
                platform.onLog(nullptr);
            }
        });
    }

    bool exchange(SourceTCMessage &reply) {
        SourceTCMessage request;
        request.m_JsonRoot["method"] = "Hello";
        return ClientPeer::send(request, reply);
    }
    bool exchange() {
        SourceTCMessage reply;
        return exchange(reply);
    }

 private:
    GDBusConnection *m_connection = nullptr;
};

class ConnectionWithoutBusTest : public testing::Test {
 protected:
    ConnectionWithoutBusTest() {
        bus.stop();
        platform.setSourceNames("[]");
    }
    ~ConnectionWithoutBusTest() override { platform.onLog(nullptr); }

    void startBus() {
        bus.start();
        service.emplace(bus);
    }

    TestBus bus;
    std::optional<FakeService> service;
    FakePlatform &platform = FakePlatform::get();
};

#endif
