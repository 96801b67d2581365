// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The emulated TV's service keeps every promise.
#include <gmock/gmock.h>

#include <filesystem>

#include "FakeService.h"
#include "Program.h"
#include "TestBus.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(EmulatedTvCheckTest, KeepsEveryPromise) {
    const Ended ended = run({TV_EMULATOR, "run", "--", SERVICE_CHECK, "--json", "--timeout",
                             "20000", "--shown", "tuner", "--source", "av", "--device-type", "3"});
    EXPECT_EQ(ended.exitCode, 0);
    auto ids = idsByOutcome(parsedJson(ended.output));
    EXPECT_THAT(ids["broken"], IsEmpty());
    EXPECT_THAT(ids["skipped"], ElementsAre("restart-name", "restart-list", "restart-signal"));
}

// It shows one of two sources of a type, and a check that connects the other would not go unseen.
TEST(EmulatedTvCheckTest, IsLeftAsItWas) {
    const Ended ended = run({TV_EMULATOR, "run", "--", "sh", "-c",
                             "\"$2\" run 8 usb-camera && before=$(\"$1\" list) && "
                             "\"$0\" --timeout 20000 --shown usb-camera --source av "
                             "--device-type 3 && test \"$before\" = \"$(\"$1\" list)\"",
                             SERVICE_CHECK, TV_EMULATOR, SOURCECTL});
    EXPECT_EQ(ended.exitCode, 0) << ended.output << ended.errors;
    EXPECT_THAT(ended.output, HasSubstr("\nskipped connect-answer "));
    EXPECT_THAT(ended.output, HasSubstr("\nkept    run-answer "));
}

// A service that is started anew whenever it ends.
class SupervisedService {
 public:
    SupervisedService()
        : m_root(makeRoot()), m_supervisor({"/bin/sh", "-c", script, "sh", TV_EMULATOR, m_root}) {}
    ~SupervisedService() {
        m_supervisor.kill(SIGTERM);
        EXPECT_EQ(m_supervisor.waitForExit(), 0);
        std::error_code ignored;
        std::filesystem::remove_all(m_root, ignored);
    }
    SupervisedService(const SupervisedService &) = delete;
    SupervisedService &operator=(const SupervisedService &) = delete;

    std::string restartCommand() const { return "kill \"$(cat '" + m_root + "/pid')\""; }

 private:
    static constexpr auto script =
        "trap 'kill $!; wait; exit 0' TERM\n"
        "while :; do\n"
        // Its number is there before its name is on the bus.
        "sh -c 'echo $$ >\"$2/pid\"; exec \"$1\" serve --root \"$2\"' sh \"$1\" \"$2\" &\n"
        "wait $!; done";

    static std::string makeRoot() {
        g_autofree char *root = g_dir_make_tmp("service-check-XXXXXX", nullptr);
        EXPECT_NE(root, nullptr);
        return root;
    }

    std::string m_root;
    ChildProgram m_supervisor;
};

bool comesUp(const std::string &busName) {
    bool isUp = false;
    const guint watch = g_bus_watch_name_on_connection(
        sharedConnection().get(), busName.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE,
        [](GDBusConnection *, const char *, const char *, gpointer up) {
            *static_cast<bool *>(up) = true;
        },
        nullptr, &isUp, nullptr);
    const bool came = iterateUntil([&] { return isUp; });
    g_bus_unwatch_name(watch);
    return came;
}

TEST(EmulatedTvCheckTest, KeepsEveryPromiseWhenItIsStartedAnew) {
    const TestBus bus;
    const SupervisedService service;
    ASSERT_TRUE(comesUp("source_service.message"));
    const Ended ended =
        serviceCheck({"--json", "--timeout", "20000", "--restart", service.restartCommand()});
    EXPECT_EQ(ended.exitCode, 0) << ended.output << ended.errors;
    EXPECT_THAT(
        idsByOutcome(parsedJson(ended.output))["skipped"],
        ElementsAre("connect-answer", "run-answer", "device-type-answer", "detected-answer"));
}

}  // namespace
