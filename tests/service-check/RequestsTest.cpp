// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// service-check sends the same messages as the client library.
#include <gmock/gmock.h>

#include <set>

#include "ConformingService.h"
#include "EmulatorFixture.h"
#include "ServiceCheckProgram.h"

namespace {

using ::testing::IsSupersetOf;

// Every field of a call except the process id of the caller.
std::string textOf(ReceivedCall call) {
    const Json::Value pidOfCaller = Json::Path(".data.Pid").resolve(call.json);
    if (!pidOfCaller.isNull()) {
        const std::string pid = jsonText(pidOfCaller);
        call.text.replace(call.text.find(pid), pid.size(), "PID");
    }
    return call.destination + call.path + " " + call.interface + "." + call.member + call.bodyType +
           call.sender + " " + std::to_string(call.number) + " " + call.auxText + call.text;
}

std::set<std::string> callsOf(const FakeService &service) {
    std::set<std::string> calls;
    for (const ReceivedCall &call : service.calls()) {
        calls.insert(textOf(call));
    }
    return calls;
}

// The nine commands with the same arguments as service-check sends.
std::set<std::string> callsOfTheLibrary() {
    const TestBus bus;
    ConformingService service(bus);
    const PlatformFixture platform;
    for (Arguments arguments :
         std::vector<Arguments>{{"list"},
                                {"connect", "8"},
                                {"run", "8", "usb"},
                                {"rename", "2", "Bär & Söhne"},
                                {"device-type", "2", "3"},
                                {"detected", "2", "", "3"},
                                {"icon", "4"},
                                {"icon", "4", "--source", "", "--focused", "", "--unfocused", ""},
                                {"usb", "usb"}}) {
        arguments.insert(arguments.begin(), SOURCECTL);
        const ProgramResult result = runProgram(arguments, platform.environment());
        EXPECT_EQ(result.exitCode, 0) << arguments[1] << ": " << result.errors;
    }
    return callsOf(service.endpoint());
}

std::set<std::string> callsOfTheCheck() {
    const TestBus bus;
    ConformingService service(bus);
    EXPECT_EQ(serviceCheck(
                  {"--timeout", "20000", "--shown", "usb", "--source", "av", "--device-type", "3"})
                  .exitCode,
              0);
    return callsOf(service.endpoint());
}

TEST(RequestsTest, AreTheSameAsTheLibrarys) {
    const std::set<std::string> ofTheLibrary = callsOfTheLibrary();
    EXPECT_EQ(ofTheLibrary.size(), 9U);
    EXPECT_THAT(callsOfTheCheck(), IsSupersetOf(ofTheLibrary));
}

}  // namespace
