// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The emulated TV's service passes every check.
#include <gmock/gmock.h>

#include <filesystem>

#include "FakeService.h"
#include "ServiceCheckProgram.h"
#include "TestBus.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(EmulatedTvCheckTest, PassesEveryCheck) {
    const ProgramResult result =
        runProgram({TV_EMULATOR, "run", "--", SERVICE_CHECK, "--json", "--timeout", "20000",
                    "--shown", "tuner", "--source", "av", "--device-type", "3"});
    EXPECT_EQ(result.exitCode, 0);
    auto ids = idsByOutcome(parsedJson(result.output));
    EXPECT_THAT(ids["failed"], IsEmpty());
    EXPECT_THAT(ids["skipped"], ElementsAre("restart-name", "restart-list", "restart-signal"));
}

// The source that is shown is the second of its type, so that connecting by type would change it.
TEST(EmulatedTvCheckTest, IsLeftUnchanged) {
    const ProgramResult result =
        runProgram({TV_EMULATOR, "run", "--", "sh", "-c",
                    "\"$2\" run 8 usb-camera && before=$(\"$1\" list) && "
                    "\"$0\" --timeout 20000 --shown usb-camera --source av "
                    "--device-type 3 && test \"$before\" = \"$(\"$1\" list)\"",
                    SERVICE_CHECK, TV_EMULATOR, SOURCECTL});
    EXPECT_EQ(result.exitCode, 0) << result.output << result.errors;
    EXPECT_THAT(result.output, HasSubstr("\nskipped connect-answer "));
    EXPECT_THAT(result.output, HasSubstr("\npassed  run-answer "));
}

// Restarts the service whenever it exits.
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
        // Writes the pid before the service owns its well-known name.
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

bool appears(const std::string &busName) {
    bool hasOwner = false;
    const guint watch = g_bus_watch_name_on_connection(
        sharedConnection().get(), busName.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE,
        [](GDBusConnection *, const char *, const char *, gpointer data) {
            *static_cast<bool *>(data) = true;
        },
        nullptr, &hasOwner, nullptr);
    const bool appeared = iterateUntil([&] { return hasOwner; });
    g_bus_unwatch_name(watch);
    return appeared;
}

TEST(EmulatedTvCheckTest, PassesTheChecksOfARestart) {
    const TestBus bus;
    const SupervisedService service;
    ASSERT_TRUE(appears("source_service.message"));
    const ProgramResult result =
        serviceCheck({"--json", "--timeout", "20000", "--restart", service.restartCommand()});
    EXPECT_EQ(result.exitCode, 0) << result.output << result.errors;
    EXPECT_THAT(
        idsByOutcome(parsedJson(result.output))["skipped"],
        ElementsAre("connect-answer", "run-answer", "device-type-answer", "detected-answer"));
}

}  // namespace
