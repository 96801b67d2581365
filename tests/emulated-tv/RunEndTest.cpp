// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What ends together with an emulated TV, however it ends.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <thread>

#include "EmulatorTest.h"

namespace emulated_tv {

constexpr auto busyScript = "sleep 1000 & echo $! > $SCRATCH/background; ready; wait";
constexpr auto withoutRequests = "trap '' HUP TERM INT QUIT; ";

class RunEndTest : public EmulatorTest {
 protected:
    // The bus and the command of a TV whose script is ready.
    static std::vector<ProcessWatch> childrenToWatch(const Program &tv) {
        std::vector<ProcessWatch> watches;
        for (const pid_t child : childrenOf(tv.pid())) {
            watches.emplace_back(child);
        }
        EXPECT_EQ(watches.size(), 2U) << "the bus and the command";
        return watches;
    }

    // These, and the process whose number the script has noted.
    std::vector<ProcessWatch> processesToWatch(const Program &tv) const {
        std::vector<ProcessWatch> watches = childrenToWatch(tv);
        watches.emplace_back(noted("background"));
        return watches;
    }

    static void expectEnd(const Program &tv, const std::vector<ProcessWatch> &watches) {
        for (const ProcessWatch &watch : watches) {
            EXPECT_TRUE(watch.waitForEnd()) << tv.errors();
        }
    }

    static pid_t busOf(const Program &tv) {
        for (const pid_t child : childrenOf(tv.pid())) {
            if (readFile("/proc/" + std::to_string(child) + "/comm") == "dbus-daemon\n") {
                return child;
            }
        }
        ADD_FAILURE() << "there is no bus";
        return 0;
    }

    std::filesystem::path makeFifo() const {
        const std::filesystem::path fifo = scratch() / "fifo";
        EXPECT_EQ(mkfifo(fifo.c_str(), 0600), 0);
        return fifo;
    }
    static void letReadersGoOn(const std::filesystem::path &fifo) {
        support::FileDescriptor(open(fifo.c_str(), O_WRONLY)).reset();
    }
};

TEST_F(RunEndTest, WhatTheCommandHasStartedEndsWithIt) {
    const auto fifo = makeFifo();
    // It ignores polite requests, and has left the command's process group.
    Program tv(runScript("setsid sh -c 'trap \"\" HUP TERM; echo $$ > $SCRATCH/background;"
                         "                  : > $SCRATCH/noted; sleep 1000; sleep 1000' &\n"
                         "while ! test -e $SCRATCH/noted; do :; done\n"
                         "ready; read line < $SCRATCH/fifo; exit 3"),
               environment());
    ASSERT_TRUE(isReady());
    const ProcessWatch background(noted("background"));
    letReadersGoOn(fifo);
    EXPECT_EQ(tv.exitCode(), 3);
    EXPECT_TRUE(background.waitForEnd());
    EXPECT_TRUE(noRootIsLeft());
}

// Starts a daemon the usual way: the process in between ends, so the daemon loses its parent.
constexpr auto daemonScript =
    "setsid sh -c 'sh -c \"echo \\$\\$ > $SCRATCH/background; : > $SCRATCH/noted;"
    "                      read line < $SCRATCH/fifo\" &'\n"
    "while ! test -e $SCRATCH/noted; do :; done\n"
    "ready; sleep 1000";

TEST_F(RunEndTest, DaemonOfTheCommandIsReapedWhenItEnds) {
    const auto fifo = makeFifo();
    Program tv(runScript(daemonScript), environment());
    ASSERT_TRUE(isReady());
    const pid_t daemon = noted("background");
    EXPECT_THAT(childrenOf(tv.pid()), testing::Contains(daemon));
    const ProcessWatch watch(daemon);
    letReadersGoOn(fifo);
    EXPECT_TRUE(watch.waitForEnd());
    // A zombie still has its number.
    const auto limit = std::chrono::steady_clock::now() + patience;
    while (kill(daemon, 0) == 0 && std::chrono::steady_clock::now() < limit) {
        std::this_thread::yield();
    }
    EXPECT_NE(kill(daemon, 0), 0) << "it was not reaped";
    EXPECT_EQ(childrenOf(tv.pid()).size(), 2U);
}

TEST_F(RunEndTest, DaemonOfTheCommandEndsWithIt) {
    const auto fifo = makeFifo();
    Program tv(runScript(std::string(daemonScript) + " & exit 4"), environment());
    ASSERT_TRUE(isReady());
    EXPECT_EQ(tv.exitCode(), 4);
    EXPECT_NE(kill(noted("background"), 0), 0);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunEndTest, KilledCommandTakesTheTvWithIt) {
    Program tv(runScript(std::string("echo $$ > $SCRATCH/command; ") + busyScript), environment());
    ASSERT_TRUE(isReady());
    const auto watches = processesToWatch(tv);
    sendSignal(noted("command"), SIGKILL);
    EXPECT_EQ(tv.exitCode(), 128 + SIGKILL);
    expectEnd(tv, watches);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunEndTest, KilledEmulatorTakesItsBusAndItsCommandWithIt) {
    for (const char *trap : {"", withoutRequests}) {
        Program tv(runScript(std::string(trap) + "ready; exec sleep 1000"), environment());
        ASSERT_TRUE(isReady());
        const auto watches = childrenToWatch(tv);
        sendSignal(tv.pid(), SIGKILL);
        EXPECT_EQ(tv.exitCode(), 128 + SIGKILL);
        expectEnd(tv, watches);
        ReadinessEvent(scratch(), "ready").clear();
    }
}

// While this exists, what an emulator leaves behind becomes a child of this process.
class Subreaper {
 public:
    Subreaper() { EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0); }
    ~Subreaper() { prctl(PR_SET_CHILD_SUBREAPER, 0); }
    Subreaper(const Subreaper &) = delete;
    Subreaper &operator=(const Subreaper &) = delete;

    // The children that have come since the start, zombies included.
    std::vector<pid_t> newChildren() const {
        std::vector<pid_t> children = childrenOf(getpid());
        for (const pid_t child : m_before) {
            children.erase(std::remove(children.begin(), children.end(), child), children.end());
        }
        return children;
    }
    void waitForNewChildren() const {
        for (auto children = newChildren(); !children.empty(); children = newChildren()) {
            ASSERT_TRUE(ProcessWatch(children.front()).waitForEnd()) << children.front();
            ASSERT_EQ(waitpid(children.front(), nullptr, 0), children.front());
        }
    }

 private:
    const std::vector<pid_t> m_before = childrenOf(getpid());
};

TEST_F(RunEndTest, EveryProcessIsReapedBeforeTheEmulatorEnds) {
    const Subreaper subreaper;
    Program tv(runScript(busyScript), environment());
    ASSERT_TRUE(isReady());
    sendSignal(tv.pid(), SIGTERM);
    EXPECT_EQ(tv.exitCode(), 128 + SIGTERM);
    EXPECT_THAT(subreaper.newChildren(), testing::IsEmpty());
}

TEST_F(RunEndTest, EmulatorThatIsKilledAtAnyMomentOfItsStartLeavesNoProcess) {
    const Subreaper subreaper;
    for (int moment = 0; moment < 20; ++moment) {
        Program tv(runScript("exec sleep 1000"), environment());
        std::this_thread::sleep_for(std::chrono::milliseconds(3) * moment);
        sendSignal(tv.pid(), SIGKILL);
        EXPECT_EQ(tv.exitCode(), 128 + SIGKILL);
        subreaper.waitForNewChildren();
    }
    Program next(runScript("exit 0"), environment());
    EXPECT_EQ(next.exitCode(), 0) << next.errors();
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunEndTest, CommandGoesOnWhenTheBusHasDied) {
    Program tv(runScript("ready; while test -e $SCRATCH/events; do sleep 0.02; done; exit 4"),
               environment());
    ASSERT_TRUE(isReady());
    sendSignal(busOf(tv), SIGKILL);
    EXPECT_TRUE(tv.waitForErrors("tv-emulator: the bus has ended\n"));
    std::filesystem::remove_all(scratch() / "events");
    EXPECT_EQ(tv.exitCode(), 4);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunEndTest, TvWithoutACommandEndsWhenTheBusHasDied) {
    Program tv(emulator({"run"}), environment());
    ASSERT_TRUE(tv.waitForOutput("turns it off"));
    sendSignal(busOf(tv), SIGKILL);
    EXPECT_EQ(tv.exitCode(), 1);
    EXPECT_EQ(tv.errors(), "tv-emulator: the bus has ended\n");
    EXPECT_TRUE(noRootIsLeft());
}

class RunSignalTest : public RunEndTest, public testing::WithParamInterface<int> {};

TEST_P(RunSignalTest, EndsTheTvAndItsCommand) {
    Program tv(runScript(busyScript), environment());
    ASSERT_TRUE(isReady());
    const auto watches = processesToWatch(tv);
    sendSignal(tv.pid(), GetParam());
    EXPECT_EQ(tv.exitCode(), 128 + GetParam());
    expectEnd(tv, watches);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_P(RunSignalTest, EndsACommandThatIgnoresIt) {
    Program tv(runScript(std::string(withoutRequests) + busyScript), environment());
    ASSERT_TRUE(isReady());
    const auto watches = processesToWatch(tv);
    sendSignal(tv.pid(), GetParam());
    EXPECT_EQ(tv.exitCode(), 128 + GetParam());
    expectEnd(tv, watches);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_P(RunSignalTest, TurnsOffATvWithoutACommand) {
    Program tv(emulator({"run"}), environment());
    ASSERT_TRUE(tv.waitForOutput("turns it off"));
    sendSignal(tv.pid(), GetParam());
    EXPECT_EQ(tv.exitCode(), 0);
    EXPECT_TRUE(noRootIsLeft());
}

INSTANTIATE_TEST_SUITE_P(EverySignal, RunSignalTest,
                         testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT), [](const auto &tested) {
                             return std::string(sigabbrev_np(tested.param));
                         });

TEST_F(RunEndTest, HangUpIsIgnoredIfItWasIgnoredAtTheStart) {
    Program tv({"sh", "-c",
                "trap '' HUP; exec " TV_EMULATOR " run -- sh -c 'mkdir $SCRATCH/events;"
                " : > $SCRATCH/events/ready; exec sleep 1000'"},
               environment());
    ASSERT_TRUE(isReady());
    sendSignal(tv.pid(), SIGHUP);
    sendSignal(tv.pid(), SIGTERM);
    EXPECT_EQ(tv.exitCode(), 128 + SIGTERM);
}

}  // namespace emulated_tv
