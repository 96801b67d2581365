// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The ground that tests of the client stand on: a bus, a source service on it, and a settings
// store that holds the names of two sources.
#ifndef TESTS_CLIENT_TEST_H
#define TESTS_CLIENT_TEST_H

#include <gtest/gtest.h>

#include "FakePlatform.h"
#include "FakeService.h"
#include "SourceApiPeer.h"
#include "TestBus.h"

class ClientTest : public testing::Test {
 protected:
    ClientTest() { platform.setSourceNames(names); }
    // The library logs once more at exit, when what the observers refer to is gone.
    ~ClientTest() override {
        platform.onLog(nullptr);
        platform.onSettingRead(nullptr);
    }

    // One entry of the source type 7 with index 0, "Game" / "Console" / device type 3, and one
    // with index 1 that has a detected name only.
    static constexpr const char *names =
        R"([{"SourceType":7,"EditName":"Game","DetectedName":"Console","DeviceType":3,)"
        R"("MbrActivityIndex":0,"EditState":1,"SettingMethod":0},)"
        R"({"SourceType":7,"EditName":"","DetectedName":"Player","DeviceType":4,)"
        R"("MbrActivityIndex":1,"EditState":0,"SettingMethod":2}])";

    TestBus bus;
    FakeService service{bus};
    FakePlatform &platform = FakePlatform::get();
};

#endif
