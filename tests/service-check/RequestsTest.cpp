// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The check asks the service exactly as the library does.
#include <gmock/gmock.h>

#include <filesystem>
#include <set>

#include "FaithfulService.h"
#include "Program.h"
#include "ReadinessEvent.h"
#include "SettingsStore.h"

namespace {

using ::testing::IsSupersetOf;

// Everything that the bus carried of a call, but for who the caller is.
std::string inWords(ReceivedCall call) {
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
        calls.insert(inWords(call));
    }
    return calls;
}

// A TV's folder in which there are no names, and the service counts as started.
class ReadyRoot {
 public:
    ReadyRoot() {
        g_autofree char *root = g_dir_make_tmp("service-check-XXXXXX", nullptr);
        EXPECT_NE(root, nullptr);
        m_path = root;
        SettingsStore(m_path).set("db/source-list/source-name", "[]");
        ReadinessEvent(m_path, "/tmp/source_service_ready").set();
    }
    ~ReadyRoot() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ReadyRoot(const ReadyRoot &) = delete;
    ReadyRoot &operator=(const ReadyRoot &) = delete;

    const std::string &path() const { return m_path; }

 private:
    std::string m_path;
};

// Each of the nine commands with what the check is to send, too.
std::set<std::string> callsOfTheLibrary() {
    const TestBus bus;
    FaithfulService service(bus);
    const ReadyRoot root;
    for (Words arguments :
         std::vector<Words>{{"list"},
                            {"connect", "8"},
                            {"run", "8", "usb"},
                            {"rename", "2", "Bär & Söhne"},
                            {"device-type", "2", "3"},
                            {"detected", "2", "", "3"},
                            {"icon", "4"},
                            {"icon", "4", "--source", "", "--focused", "", "--unfocused", ""},
                            {"usb", "usb"}}) {
        arguments.insert(arguments.begin(), SOURCECTL);
        ChildProgram program(arguments, {{"SOURCE_TV_ROOT", root.path()}});
        const Ended ended = finish(program);
        EXPECT_EQ(ended.exitCode, 0) << arguments[1] << ": " << ended.errors;
    }
    return callsOf(service.onTheBus());
}

std::set<std::string> callsOfTheCheck() {
    const TestBus bus;
    FaithfulService service(bus);
    EXPECT_EQ(serviceCheck(
                  {"--timeout", "20000", "--shown", "usb", "--source", "av", "--device-type", "3"})
                  .exitCode,
              0);
    return callsOf(service.onTheBus());
}

TEST(RequestsTest, AreThoseOfTheLibrary) {
    const std::set<std::string> ofTheLibrary = callsOfTheLibrary();
    EXPECT_EQ(ofTheLibrary.size(), 9U);
    EXPECT_THAT(callsOfTheCheck(), IsSupersetOf(ofTheLibrary));
}

}  // namespace
