// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A fixture for tests of opening, probing and closing an endpoint.
#ifndef TESTS_ENDPOINT_TEST_H
#define TESTS_ENDPOINT_TEST_H

#include <future>
#include <string>

#include "TransportTest.h"

inline void ignoreSignal(const char * /*sender*/, const char * /*signalName*/,
                         SourceTCMessage * /*message*/, void * /*userData*/) {}

// Global, so that it is constructed before GLib starts its threads.
inline std::promise<void> connectionGone;

// Ready once the connection is finalized.
inline std::future<void> endOf(GDBusConnection *connection) {
    g_object_weak_ref(
        G_OBJECT(connection),
        [](gpointer /*unused*/, GObject * /*gone*/) { connectionGone.set_value(); }, nullptr);
    return connectionGone.get_future();
}

class EndpointTest : public TransportTest {
 protected:
    static void expectClosed(SourceTCServer &server) {
        EXPECT_EQ(peerOf(server).connection, nullptr);
        EXPECT_EQ(peerOf(server).isOpen, 0);
        EXPECT_THAT(peerOf(server).subscriptions, testing::IsEmpty());
    }
};

#endif
