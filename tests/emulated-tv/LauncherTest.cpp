// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <future>
#include <sstream>
#include <thread>

#include "EmulatorTest.h"

namespace emulated_tv {

using testing::HasSubstr;

class LauncherTest : public EmulatorTest {
 protected:
    // Every process of a TV whose script is ready and has noted the number of one it started.
    std::vector<ProcessWatch> watchesOf(const Program &tv) const {
        std::vector<ProcessWatch> watches;
        for (const pid_t child : childrenOf(tv.pid())) {
            watches.emplace_back(child);
        }
        EXPECT_EQ(watches.size(), 3U) << "the bus, the service and the command";
        watches.emplace_back(noted("background"));
        return watches;
    }

    void expectNothingIsLeft(const Program &tv, const std::vector<ProcessWatch> &watches) const {
        for (const ProcessWatch &watch : watches) {
            EXPECT_TRUE(watch.waitForEnd()) << tv.errors();
        }
        EXPECT_TRUE(noRootIsLeft()) << tv.errors();
    }
};

constexpr auto busyScript = "sleep 1000 & echo $! > $SCRATCH/background; ready; wait";

TEST_F(LauncherTest, ExitCodeOfTheCommandIsPassedOn) {
    for (const int code : {0, 1, 7, 255}) {
        Program tv(runScript("exit " + std::to_string(code)), environment());
        EXPECT_EQ(tv.exitCode(), code) << tv.errors();
        EXPECT_EQ(tv.output() + tv.errors(), "");
        EXPECT_TRUE(noRootIsLeft());
    }
}

TEST_F(LauncherTest, CommandIsRunWordByWord) {
    Program tv(emulator({"run", "--", "printf", "<%s>", "[a,b]", "", "--", "--root", "%%", "{}"}),
               environment());
    EXPECT_EQ(tv.exitCode(), 0);
    EXPECT_EQ(tv.output(), "<[a,b]><><--><--root><%%><{}>");
}

TEST_F(LauncherTest, CommandGetsTwoVariablesAndOtherwiseTheSameEnvironment) {
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

TEST_F(LauncherTest, ServiceIsReadyWhenTheCommandStarts) {
    Program tv(runScript("test -e $SOURCE_TV_ROOT/events/%2Ftmp%2Fsource_service_ready"),
               environment());
    EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
}

TEST_F(LauncherTest, CommandThatIsNotThereGives127) {
    Program tv(emulator({"run", "--", "/no/such/command"}), environment());
    EXPECT_EQ(tv.exitCode(), 127);
    EXPECT_THAT(tv.errors(), HasSubstr("cannot run /no/such/command"));
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(LauncherTest, CommandThatIsNoProgramGives126) {
    Program tv(emulator({"run", "--", scratch()}), environment());
    EXPECT_EQ(tv.exitCode(), 126);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(LauncherTest, WhatTheCommandLeavesBehindEndsWithIt) {
    const std::filesystem::path fifo = scratch() / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    // Deaf to polite requests, and out of the command's process group.
    Program tv(runScript("setsid sh -c 'trap \"\" HUP TERM; echo $$ > $SCRATCH/background;"
                         "                  : > $SCRATCH/noted; sleep 1000; sleep 1000' &\n"
                         "while ! test -e $SCRATCH/noted; do :; done\n"
                         "ready; read line < $SCRATCH/fifo; exit 3"),
               environment());
    ASSERT_TRUE(isReady());
    const ProcessWatch background(noted("background"));
    support::FileDescriptor(open(fifo.c_str(), O_WRONLY)).reset();
    EXPECT_EQ(tv.exitCode(), 3);
    EXPECT_TRUE(background.waitForEnd());
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(LauncherTest, KilledCommandTakesTheTvWithIt) {
    Program tv(runScript(std::string("echo $$ > $SCRATCH/command; ") + busyScript), environment());
    ASSERT_TRUE(isReady());
    const auto watches = watchesOf(tv);
    kill(noted("command"), SIGKILL);
    EXPECT_EQ(tv.exitCode(), 128 + SIGKILL);
    expectNothingIsLeft(tv, watches);
}

TEST_F(LauncherTest, KilledEmulatorLeavesNothing) {
    Program tv(runScript(busyScript), environment());
    ASSERT_TRUE(isReady());
    const auto watches = watchesOf(tv);
    kill(tv.pid(), SIGKILL);
    EXPECT_EQ(tv.exitCode(), 128 + SIGKILL);
    expectNothingIsLeft(tv, watches);
}

TEST_F(LauncherTest, KilledEmulatorLeavesNothingOfACommandThatIsDeafToRequests) {
    Program tv(runScript(std::string("trap '' HUP TERM INT; ") + busyScript), environment());
    ASSERT_TRUE(isReady());
    const auto watches = watchesOf(tv);
    kill(tv.pid(), SIGKILL);
    EXPECT_EQ(tv.exitCode(), 128 + SIGKILL);
    expectNothingIsLeft(tv, watches);
}

// Waits for the end of every child, those included that became one when their parent died. Each is
// taken in at once, as one that has ended is still there for those who wait for its group.
void takeEveryChildIn() {
    const auto taking = std::async(std::launch::async, [] {
        while (wait(nullptr) > 0) {
        }
    });
    EXPECT_EQ(taking.wait_for(patience), std::future_status::ready);
}

TEST_F(LauncherTest, EmulatorThatIsKilledAtAnyMomentOfItsStartLeavesNothing) {
    // What the emulator leaves behind becomes a child of this process, which can wait for it.
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    for (int moment = 0; moment < 20; ++moment) {
        Program tv(runScript("sleep 1000 & wait"), environment());
        std::this_thread::sleep_for(std::chrono::milliseconds(3) * moment);
        kill(tv.pid(), SIGKILL);
        EXPECT_EQ(tv.exitCode(), 128 + SIGKILL);
        takeEveryChildIn();
        EXPECT_TRUE(noRootIsLeft());
    }
}

TEST_F(LauncherTest, TvGoesOnForItsCommandWhenTheServiceHasDied) {
    Program tv(runScript("ready; while test -e $SCRATCH/events; do sleep 0.02; done; exit 4"),
               environment());
    ASSERT_TRUE(isReady());
    for (const pid_t child : childrenOf(tv.pid())) {
        const auto words = readFile("/proc/" + std::to_string(child) + "/cmdline").value_or("");
        if (words.find(std::string("serve\0", 6)) != std::string::npos) {
            const ProcessWatch service(child);
            kill(child, SIGKILL);
            EXPECT_TRUE(service.waitForEnd());
        }
    }
    std::filesystem::remove_all(scratch() / "events");
    EXPECT_EQ(tv.exitCode(), 4);
    EXPECT_THAT(tv.errors(), HasSubstr("the source service has ended"));
    EXPECT_TRUE(noRootIsLeft());
}

class LauncherSignalTest : public LauncherTest, public testing::WithParamInterface<int> {};

TEST_P(LauncherSignalTest, EndsTheTvAndItsCommand) {
    Program tv(runScript(busyScript), environment());
    ASSERT_TRUE(isReady());
    const auto watches = watchesOf(tv);
    kill(tv.pid(), GetParam());
    EXPECT_EQ(tv.exitCode(), 128 + GetParam());
    expectNothingIsLeft(tv, watches);
}

TEST_P(LauncherSignalTest, EndsACommandThatIsDeafToIt) {
    Program tv(runScript(std::string("trap '' HUP TERM INT; ") + busyScript), environment());
    ASSERT_TRUE(isReady());
    const auto watches = watchesOf(tv);
    kill(tv.pid(), GetParam());
    EXPECT_EQ(tv.exitCode(), 128 + GetParam());
    expectNothingIsLeft(tv, watches);
}

INSTANTIATE_TEST_SUITE_P(EverySignal, LauncherSignalTest, testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto &tested) {
                             return std::string(sigabbrev_np(tested.param));
                         });

TEST_F(LauncherTest, NamedRootIsKeptAndFreeAgainAfterwards) {
    const std::string root = scratch() / "made/for it";
    for (int round = 0; round < 2; ++round) {
        Program tv(emulator({"run", "--root", root, "--", "true"}), environment());
        EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
    }
    EXPECT_TRUE(std::filesystem::exists(root + "/state.json"));
    EXPECT_FALSE(std::filesystem::exists(root + "/bus"));
    EXPECT_FALSE(std::filesystem::exists(root + "/bus-address"));
}

TEST_F(LauncherTest, SecondTvInOneRootIsRefused) {
    const std::string root = scratch() / "root";
    Program tv(emulator({"run", "--root=" + root, "--", TV_EMULATOR, "run", "--root=" + root, "--",
                         "true"}),
               environment());
    EXPECT_EQ(tv.exitCode(), 1);
    EXPECT_THAT(tv.errors(), HasSubstr("is running in " + root + " already"));
}

TEST_F(LauncherTest, RootTooDeepForASocketWorksAndLeavesNothing) {
    const std::string root = scratch() / std::string(120, 'd');
    Program tv(emulator({"run", "--root=" + root, "--", "sh", "-c",
                         std::string(TV_EMULATOR) + " list > $SCRATCH/list && "
                                                    "echo $DBUS_SYSTEM_BUS_ADDRESS"}),
               environment());
    EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
    const std::string address = tv.output();
    ASSERT_EQ(address.rfind("unix:path=/tmp/", 0), 0U) << address;
    const std::string socket = address.substr(10, address.find(',') - 10);
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(socket).parent_path()));
}

TEST_F(LauncherTest, StateThatCannotBeReadIsReported) {
    std::filesystem::create_directories(scratch() / "root");
    replaceFile(scratch() / "root/state.json", "broken");
    Program tv(emulator({"run", "--root", scratch() / "root", "--", "true"}), environment());
    EXPECT_EQ(tv.exitCode(), 1);
    EXPECT_THAT(tv.errors(), HasSubstr("cannot read"));
    EXPECT_THAT(tv.errors(), HasSubstr("the source service did not start"));
}

// What happens in a terminal.
class LauncherTerminalTest : public LauncherTest {
 protected:
    // Runs in a new terminal; the result is the process number.
    pid_t openTerminal(std::vector<std::string> command) {
        std::vector<char *> arguments;
        arguments.reserve(command.size() + 1);
        for (std::string &word : command) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        for (const auto &[name, value] : environment()) {
            value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1);
        }
        int terminal = -1;
        const pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (pid == 0) {
            execv(arguments.front(), arguments.data());
            _exit(EXIT_FAILURE);
        }
        m_terminal = support::FileDescriptor(terminal);
        return pid;
    }

    void type(const std::string &keys) const {
        EXPECT_EQ(write(m_terminal.get(), keys.data(), keys.size()),
                  static_cast<ssize_t>(keys.size()));
    }

    static int exitCodeOf(pid_t pid) {
        if (!ProcessWatch(pid).waitForEnd()) {
            ADD_FAILURE() << "still running";
            kill(pid, SIGKILL);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

 private:
    support::FileDescriptor m_terminal;
};

TEST_F(LauncherTerminalTest, InterruptKeyIsForTheCommand) {
    const pid_t tv = openTerminal(runScript("trap 'exit 5' INT; ready; while :; do sleep 1; done"));
    ASSERT_TRUE(isReady());
    type("\x03");
    EXPECT_EQ(exitCodeOf(tv), 5);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(LauncherTerminalTest, CommandReadsWhatIsTyped) {
    const pid_t tv = openTerminal(runScript("ready; read line; test \"$line\" = hello && exit 6"));
    ASSERT_TRUE(isReady());
    type("hello\n");
    EXPECT_EQ(exitCodeOf(tv), 6);
}

TEST_F(LauncherTerminalTest, ShellWithJobControlCanStopAndContinueTheWhole) {
    const std::string command =
        std::string(TV_EMULATOR) +
        " run -- sh -c 'mkdir -p $SCRATCH/events; : > $SCRATCH/events/ready; read line; exit 7'";
    const pid_t shell = openTerminal({"/bin/bash", "--norc", "-i"});
    type(command + "\n");
    ASSERT_TRUE(isReady());
    type("\x1a");
    type(": > $SCRATCH/events/stopped\n");
    ASSERT_TRUE(ReadinessEvent(scratch(), "stopped").wait(patience));
    type("fg\n");
    type("hello\n");
    type("exit $?\n");
    EXPECT_EQ(exitCodeOf(shell), 7);
    EXPECT_TRUE(noRootIsLeft());
}

}  // namespace emulated_tv
