// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The fixture of the client's tests: a bus, a source service on it, and a settings store that holds
// the names of two sources.
#ifndef TESTS_CLIENT_TEST_H
#define TESTS_CLIENT_TEST_H

#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "FakePlatform.h"
#include "FakeService.h"
#include "SourceApiPeer.h"
#include "TestBus.h"

class ClientTest : public testing::Test {
 protected:
    ClientTest() { platform.setSourceNames(names); }
    // The library logs at exit as well, after the test's variables are destroyed.
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

    // The source list as text; "no list" if it cannot be read.
    static std::string readText() {
        const std::unique_ptr<char, decltype(&std::free)> text(CSourceAPI::Get()->GetSourceList(),
                                                               std::free);
        return text ? text.get() : "no list";
    }
    // The number of client objects that were made; each constructor logs one line.
    std::size_t clientsMade() const { return platform.logOf("CSourceAPI").size(); }

    TestBus bus;
    FakeService service{bus};
    FakePlatform &platform = FakePlatform::get();
};

#endif
