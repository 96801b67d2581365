// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The fixture of the endpoint's tests: a bus, a source service on it, and an endpoint of the
// client's name and kind that is not open yet.
#ifndef TESTS_TRANSPORT_TEST_H
#define TESTS_TRANSPORT_TEST_H

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "FakePlatform.h"
#include "FakeService.h"
#include "GLibSpy.h"
#include "SourceApiPeer.h"
#include "TestBus.h"
#include "Threads.h"

class TransportTest : public testing::Test {
 protected:
    ~TransportTest() override {
        endpoint.CloseDBusProxy();
        // The service releases its name over the bus.
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
        bus.lose();
    }

    // The log function throws at the `number`th line that `operation` logs from now on.
    void throwAtLine(const std::string &operation, int number = 1) {
        platform.onLog([operation, left = std::make_shared<int>(number)](const LogLine &line) {
            if (line.function == operation && --*left == 0) {
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
