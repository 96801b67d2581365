// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the keys of a terminal do to an emulated TV and its command, which share a process group.
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/wait.h>

#include <csignal>

#include "EmulatorTest.h"

namespace emulated_tv {

class RunTerminalTest : public EmulatorTest {
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

    void closeTerminal() { m_terminal.reset(); }

    static int exitCodeOf(pid_t pid) {
        if (!ProcessWatch(pid).waitForEnd()) {
            ADD_FAILURE() << "still running";
            sendSignal(pid, SIGKILL);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // The state in /proc: 'T' for a stopped process.
    static char stateOf(pid_t pid) {
        const std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat").value_or(") -");
        return stat[stat.rfind(')') + 2];
    }

    testing::AssertionResult hasHappened(const std::string &event) const {
        return ReadinessEvent(scratch(), event).wait(patience) ? testing::AssertionSuccess()
                                                               : testing::AssertionFailure();
    }

    // A shell with job control, which runs the emulator in the foreground.
    pid_t openShell(const std::string &script) {
        const pid_t shell = openTerminal({"/bin/bash", "--norc", "-i"});
        type(TV_EMULATOR " run -- sh -c 'mkdir -p $SCRATCH/events; echo $$ > $SCRATCH/command; " +
             script + "'\n");
        return shell;
    }

 private:
    support::FileDescriptor m_terminal;
};

constexpr auto interruptKey = "\x03";
constexpr auto quitKey = "\x1c";
constexpr auto stopKey = "\x1a";

TEST_F(RunTerminalTest, InterruptKeyIsForTheCommand) {
    const pid_t tv = openTerminal(runScript("trap 'exit 5' INT; ready; while :; do sleep 1; done"));
    ASSERT_TRUE(isReady());
    type(interruptKey);
    EXPECT_EQ(exitCodeOf(tv), 5);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunTerminalTest, QuitKeyIsForTheCommand) {
    const pid_t tv =
        openTerminal(runScript("trap 'exit 5' QUIT; ready; while :; do sleep 1; done"));
    ASSERT_TRUE(isReady());
    type(quitKey);
    EXPECT_EQ(exitCodeOf(tv), 5);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunTerminalTest, InterruptKeyEndsACommandThatDoesNotHandleIt) {
    const pid_t tv = openTerminal(runScript("ready; exec sleep 1000"));
    ASSERT_TRUE(isReady());
    type(interruptKey);
    EXPECT_EQ(exitCodeOf(tv), 128 + SIGINT);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunTerminalTest, InterruptKeyDoesNotEndACommandThatIgnoresIt) {
    const pid_t tv = openTerminal(runScript("trap '' INT; ready; read line; exit 6"));
    ASSERT_TRUE(isReady());
    type(interruptKey);
    type("hello\n");
    EXPECT_EQ(exitCodeOf(tv), 6);
}

TEST_F(RunTerminalTest, InterruptKeyTurnsOffATvWithoutACommand) {
    std::filesystem::create_directories(scratch() / "root");
    const pid_t tv = openTerminal(emulator({"run", "--root", scratch() / "root"}));
    ASSERT_TRUE(ReadinessEvent(scratch() / "root", "/tmp/source_service_ready").wait(patience));
    type(interruptKey);
    EXPECT_EQ(exitCodeOf(tv), 0);
    EXPECT_FALSE(std::filesystem::exists(scratch() / "root" / "bus-address"));
}

TEST_F(RunTerminalTest, CommandReadsWhatIsTyped) {
    const pid_t tv = openTerminal(runScript("ready; read line; test \"$line\" = hello && exit 6"));
    ASSERT_TRUE(isReady());
    type("hello\n");
    EXPECT_EQ(exitCodeOf(tv), 6);
}

TEST_F(RunTerminalTest, StopKeyStopsEmulatorAndCommandUntilTheShellContinuesThem) {
    const pid_t shell = openShell(": > $SCRATCH/events/ready; read line; exit 7");
    ASSERT_TRUE(isReady());
    const pid_t command = noted("command");
    const std::vector<pid_t> emulators = childrenOf(shell);
    ASSERT_EQ(emulators.size(), 1U);
    type(stopKey);
    type(": > $SCRATCH/events/stopped\n");
    ASSERT_TRUE(hasHappened("stopped"));
    EXPECT_EQ(stateOf(command), 'T');
    EXPECT_EQ(stateOf(emulators.front()), 'T');
    for (const pid_t child : childrenOf(emulators.front())) {
        EXPECT_EQ(stateOf(child) == 'T', child == command) << "the bus goes on";
    }
    type("fg\n");
    type("hello\n");
    type("exit $?\n");
    EXPECT_EQ(exitCodeOf(shell), 7);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunTerminalTest, CommandThatStopsItselfReturnsToTheShellAsWell) {
    const pid_t shell = openShell(
        ": > $SCRATCH/events/ready; kill -STOP $$; "
        ": > $SCRATCH/events/continued; read line; exit 7");
    ASSERT_TRUE(isReady());
    type(": > $SCRATCH/events/stopped\n");
    ASSERT_TRUE(hasHappened("stopped"));
    type("fg\n");
    ASSERT_TRUE(hasHappened("continued"));
    type("hello\n");
    type("exit $?\n");
    EXPECT_EQ(exitCodeOf(shell), 7);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunTerminalTest, CommandWithJobControlIsContinuedWithTheEmulator) {
    // The inner shell has a process group of its own, and stops all of it.
    const pid_t shell = openTerminal({"/bin/bash", "--norc", "-i"});
    type(TV_EMULATOR " run -- /bin/bash --norc -i\n");
    type("mkdir -p $SCRATCH/events; : > $SCRATCH/events/ready; suspend\n");
    ASSERT_TRUE(isReady());
    type(": > $SCRATCH/events/stopped\n");
    ASSERT_TRUE(hasHappened("stopped"));
    type("fg\n");
    type("exit 8\n");
    type("exit $?\n");
    EXPECT_EQ(exitCodeOf(shell), 8);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunTerminalTest, ClosedTerminalEndsTheTvAndItsCommand) {
    const pid_t tv = openTerminal(runScript("echo $$ > $SCRATCH/command; ready; exec sleep 1000"));
    ASSERT_TRUE(isReady());
    const ProcessWatch command(noted("command"));
    closeTerminal();
    EXPECT_NE(exitCodeOf(tv), 0);
    EXPECT_TRUE(command.waitForEnd());
    EXPECT_TRUE(noRootIsLeft());
}

}  // namespace emulated_tv
