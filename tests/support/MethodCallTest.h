// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A fixture for tests of method calls to the service.
#ifndef TESTS_METHOD_CALL_TEST_H
#define TESTS_METHOD_CALL_TEST_H

#include "LockState.h"
#include "TransportTest.h"

class MethodCallTest : public TransportTest {
 protected:
    int send(const SourceTCMessage *message = nullptr, bool sync = true) {
        return endpoint.SendMessage("source_service", message, sync, &reply);
    }

    unsigned int callsInFlight() { return __atomic_load_n(&peer.callsInFlight, __ATOMIC_SEQ_CST); }

    void expectNothingInFlight() {
        EXPECT_EQ(callsInFlight(), 0U);
        EXPECT_TRUE(isFree(peer.mutex));
    }

    SourceTCMessage reply;
};

#endif
