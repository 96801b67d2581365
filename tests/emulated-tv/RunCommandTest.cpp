// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What `tv-emulator run` gives its command, and which exit code it returns.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <sstream>

#include "EmulatorTest.h"

namespace emulated_tv {

using testing::HasSubstr;

class RunCommandTest : public EmulatorTest {
 protected:
    // The output of a shell script that is run directly, then by the emulator. `setUp` is what the
    // shell does before it runs either.
    std::pair<std::string, std::string> outputsOf(const std::string &setUp,
                                                  const std::string &script) const {
        const std::vector<std::string> direct = {"sh", "-c", setUp + "exec sh -c '" + script + "'"};
        const std::vector<std::string> byEmulator = {
            "sh", "-c", setUp + "exec " TV_EMULATOR " run -- sh -c '" + script + "'"};
        Program plain(direct, environment());
        Program tv(byEmulator, environment());
        EXPECT_EQ(plain.exitCode(), 0) << plain.errors();
        EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
        EXPECT_NE(plain.output(), "");
        return {plain.output(), tv.output()};
    }
};

TEST_F(RunCommandTest, ExitCodeIsPassedOn) {
    for (const int code : {0, 1, 7, 255}) {
        Program tv(runScript("exit " + std::to_string(code)), environment());
        EXPECT_EQ(tv.exitCode(), code) << tv.errors();
        EXPECT_EQ(tv.output() + tv.errors(), "");
        EXPECT_TRUE(noRootIsLeft());
    }
}

TEST_F(RunCommandTest, SignalThatKillsItIsPassedOn) {
    for (const int signal : {SIGINT, SIGTERM, SIGKILL, SIGUSR1}) {
        Program tv(runScript("kill -" + std::to_string(signal) + " $$"), environment());
        EXPECT_EQ(tv.exitCode(), 128 + signal) << tv.errors();
        EXPECT_TRUE(noRootIsLeft());
    }
}

TEST_F(RunCommandTest, CommandThatDoesNotExistGives127) {
    for (const char *name : {"/no/such/command", "no-such-command"}) {
        Program tv(emulator({"run", "--", name}), environment());
        EXPECT_EQ(tv.exitCode(), 127);
        EXPECT_EQ(tv.errors(),
                  std::string("tv-emulator: cannot run ") + name + ": No such file or directory\n");
        EXPECT_TRUE(noRootIsLeft());
    }
}

TEST_F(RunCommandTest, CommandThatIsNoProgramGives126) {
    Program tv(emulator({"run", "--", scratch()}), environment());
    EXPECT_EQ(tv.exitCode(), 126);
    EXPECT_EQ(tv.errors(),
              "tv-emulator: cannot run " + scratch().string() + ": Permission denied\n");
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunCommandTest, ItIsRunWordByWord) {
    Program tv(emulator({"run", "--", "printf", "<%s>", "[a,b]", "", "--", "--root", "%%", "{}"}),
               environment());
    EXPECT_EQ(tv.exitCode(), 0);
    EXPECT_EQ(tv.output(), "<[a,b]><><--><--root><%%><{}>");
}

TEST_F(RunCommandTest, ItGetsTwoVariablesAndOtherwiseTheSameEnvironment) {
    const auto sortedLines = [](const std::string &text) {
        std::istringstream stream(text);
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        std::sort(lines.begin(), lines.end());
        return lines;
    };
    Program plain({"env"}, environment());
    Program tv(emulator({"run", "--", "env"}), environment());
    ASSERT_EQ(plain.exitCode(), 0);
    ASSERT_EQ(tv.exitCode(), 0);
    const auto before = sortedLines(plain.output());
    const auto after = sortedLines(tv.output());
    std::vector<std::string> added;
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(),
                        std::back_inserter(added));
    EXPECT_THAT(added, testing::ElementsAre(testing::StartsWith("DBUS_SYSTEM_BUS_ADDRESS=unix:"),
                                            testing::StartsWith("SOURCE_TV_ROOT=/")));
    EXPECT_EQ(after.size(), before.size() + 2);
}

TEST_F(RunCommandTest, ItHasTheSameSignalMaskAndDispositions) {
    // Signals above 31 belong to the C library or are not used here.
    const auto standardSignals = [](const std::string &mask) {
        return std::stoull(mask, nullptr, 16) & 0x7fffffffU;
    };
    for (const char *setUp : {"", "trap \"\" PIPE QUIT USR1; "}) {
        for (const char *field : {"SigBlk", "SigIgn"}) {
            const auto [direct, byEmulator] =
                outputsOf(setUp, std::string("grep ") + field + " /proc/self/status | cut -f 2");
            EXPECT_EQ(standardSignals(byEmulator), standardSignals(direct)) << setUp << field;
        }
    }
}

TEST_F(RunCommandTest, ItHasTheSameOpenFiles) {
    const auto [direct, byEmulator] = outputsOf("exec 5</dev/null; ", "cd /proc/$$/fd && echo *");
    EXPECT_THAT(direct, HasSubstr("5"));
    EXPECT_EQ(byEmulator, direct);
}

TEST_F(RunCommandTest, ItStaysInTheEmulatorsProcessGroup) {
    Program tv(runScript("echo $$ > $SCRATCH/command; ready; exec sleep 1000"), environment());
    ASSERT_TRUE(isReady());
    EXPECT_EQ(getpgid(noted("command")), tv.pid());
    for (const pid_t child : childrenOf(tv.pid())) {
        EXPECT_EQ(getsid(child) == tv.pid(), child == noted("command"))
            << "the bus has a session of its own";
    }
}

TEST_F(RunCommandTest, ServiceIsReadyWhenItStarts) {
    Program tv(runScript("test -e $SOURCE_TV_ROOT/events/%2Ftmp%2Fsource_service_ready"),
               environment());
    EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
}

TEST_F(RunCommandTest, NamedRootIsKeptAndFreeAgainAfterwards) {
    const std::string root = scratch() / "made/for it";
    for (int round = 0; round < 2; ++round) {
        Program tv(emulator({"run", "--root", root, "--", "true"}), environment());
        EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
    }
    EXPECT_TRUE(std::filesystem::exists(root + "/state.json"));
    EXPECT_FALSE(std::filesystem::exists(root + "/bus"));
    EXPECT_FALSE(std::filesystem::exists(root + "/bus-address"));
}

TEST_F(RunCommandTest, SecondTvInOneRootIsRefused) {
    const std::string root = scratch() / "root";
    Program tv(emulator({"run", "--root=" + root, "--", TV_EMULATOR, "run", "--root=" + root, "--",
                         "true"}),
               environment());
    EXPECT_EQ(tv.exitCode(), 1);
    EXPECT_THAT(tv.errors(), HasSubstr("is running in " + root + " already"));
}

TEST_F(RunCommandTest, RootTooDeepForASocketWorksAndLeavesNothing) {
    const std::string root = scratch() / std::string(120, 'd');
    const std::string home = environment().at("XDG_RUNTIME_DIR");
    Program tv(emulator({"run", "--root=" + root, "--", "sh", "-c",
                         std::string(TV_EMULATOR) + " list > $SCRATCH/list && "
                                                    "echo $DBUS_SYSTEM_BUS_ADDRESS"}),
               environment());
    EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
    EXPECT_THAT(tv.output(), testing::StartsWith("unix:path=" + home + "/tv-emulator-"));
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunCommandTest, TemporaryRootIsWhereASocketFits) {
    Environment changes = environment();
    changes["TMPDIR"] = changes["XDG_RUNTIME_DIR"];
    changes["XDG_RUNTIME_DIR"] = scratch() / std::string(120, 'd');
    std::filesystem::create_directories(changes["XDG_RUNTIME_DIR"]);
    Program tv(
        emulator({"run", "--", "sh", "-c", "echo $SOURCE_TV_ROOT; test -e $SOURCE_TV_ROOT/bus"}),
        changes);
    EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
    EXPECT_THAT(tv.output(), testing::StartsWith(changes["TMPDIR"] + "/tv-emulator-"));
}

TEST_F(RunCommandTest, StateThatCannotBeReadIsReported) {
    std::filesystem::create_directories(scratch() / "root");
    replaceFile(scratch() / "root/state.json", "broken");
    Program tv(emulator({"run", "--root", scratch() / "root", "--", "echo", "started"}),
               environment());
    EXPECT_EQ(tv.exitCode(), 1);
    EXPECT_EQ(tv.output(), "");
    EXPECT_THAT(tv.errors(), HasSubstr("the source service did not start: cannot read"));
}

TEST_F(RunCommandTest, BusThatCannotBeStartedIsReported) {
    // A program of that name that fails, then none at all.
    const std::filesystem::path daemon = scratch() / "bin" / "dbus-daemon";
    std::filesystem::create_directories(daemon.parent_path());
    replaceFile(daemon, "#!/bin/sh\nexit 1\n");
    chmod(daemon.c_str(), 0700);
    Environment changes = environment();
    changes["PATH"] = daemon.parent_path();
    Program failing(emulator({"run", "--", "echo", "started"}), changes);
    EXPECT_EQ(failing.exitCode(), 1);
    EXPECT_EQ(failing.output() + failing.errors(), "tv-emulator: the bus did not start\n");
    std::filesystem::remove(daemon);
    Program missing(emulator({"run", "--", "echo", "started"}), changes);
    EXPECT_EQ(missing.exitCode(), 1);
    EXPECT_EQ(missing.output() + missing.errors(),
              "tv-emulator: cannot run dbus-daemon: No such file or directory\n");
    EXPECT_TRUE(noRootIsLeft());
}

}  // namespace emulated_tv
