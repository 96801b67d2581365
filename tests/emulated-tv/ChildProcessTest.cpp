// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ChildProcess.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <csignal>

#include "FileDescriptor.h"
#include "Program.h"

namespace emulated_tv {

using support::ChildPlan;
using support::startChild;

namespace {

// A child whose standard output can be read. It is killed in the end if it was not waited for.
class ReadableChild {
 public:
    explicit ReadableChild(ChildPlan plan) {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        m_output = support::FileDescriptor(ends[0]);
        const support::FileDescriptor input(ends[1]);
        plan.output = input.get();
        m_pid = startChild(plan);
    }
    ~ReadableChild() {
        if (!m_exitCode) {
            sendSignal(m_pid, SIGKILL);
            waitForExit();
        }
    }
    ReadableChild(const ReadableChild &) = delete;
    ReadableChild &operator=(const ReadableChild &) = delete;

    pid_t pid() const { return m_pid; }

    // Up to and with the newline.
    std::string readLine() const {
        std::string line;
        for (char next = 0; next != '\n' && read(m_output.get(), &next, 1) == 1;) {
            line += next;
        }
        return line;
    }
    int waitForExit() {
        int status = 0;
        EXPECT_EQ(waitpid(m_pid, &status, 0), m_pid);
        m_exitCode = support::exitCodeOf(status);
        return *m_exitCode;
    }

 private:
    support::FileDescriptor m_output;
    pid_t m_pid = 0;
    std::optional<int> m_exitCode;
};

ChildPlan shell(const std::string &script) {
    ChildPlan plan;
    plan.command = {"sh", "-c", script};
    return plan;
}

}  // namespace

TEST(ChildProcessTest, FailureOfExecIsThrownAndLeavesNoChild) {
    ChildPlan plan;
    for (const auto &[name, expected] :
         {std::pair("/no/such/program", ENOENT), std::pair("/", EACCES)}) {
        plan.command = {name};
        try {
            startChild(plan);
            ADD_FAILURE() << name << " was run";
        } catch (const std::system_error &error) {
            EXPECT_EQ(error.code(), std::error_code(expected, std::generic_category()));
            EXPECT_THAT(error.what(), testing::StartsWith(std::string("cannot run ") + name));
        }
    }
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(ChildProcessTest, VariablesAreAddedToTheEnvironment) {
    ASSERT_EQ(setenv("REPLACED", "before", 1), 0);
    ASSERT_EQ(setenv("KEPT", "kept", 1), 0);
    ChildPlan plan = shell("echo \"$ADDED $REPLACED $KEPT\"");
    plan.environment = {{"ADDED", "a b"}, {"REPLACED", "after"}};
    EXPECT_EQ(ReadableChild(plan).readLine(), "a b after kept\n");
}

TEST(ChildProcessTest, DaemonHasASessionOfItsOwnAndNoInput) {
    ChildPlan plan = shell("readlink /proc/self/fd/0; read line");
    plan.isDaemon = true;
    ReadableChild daemon(plan);
    EXPECT_EQ(daemon.readLine(), "/dev/null\n");
    EXPECT_EQ(daemon.waitForExit(), 1) << "the end of the input is there at once";

    plan = shell("echo started; exec sleep 1000");
    plan.isDaemon = true;
    const ReadableChild other(plan);
    EXPECT_EQ(other.readLine(), "started\n");
    EXPECT_EQ(getsid(other.pid()), other.pid());
}

TEST(ChildProcessTest, OtherChildrenStayInTheProcessGroup) {
    const ReadableChild child(shell("echo started; exec sleep 1000"));
    EXPECT_EQ(child.readLine(), "started\n");
    EXPECT_EQ(getpgid(child.pid()), getpgrp());
}

TEST(ChildProcessTest, ExitCodeIsThatOfAShell) {
    EXPECT_EQ(ReadableChild(shell("exit 7")).waitForExit(), 7);
    EXPECT_EQ(ReadableChild(shell("kill -TERM $$")).waitForExit(), 128 + SIGTERM);
}

TEST(ChildProcessTest, SignalsAreNotBlocked) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &blocked, &before), 0);
    ReadableChild child(shell("grep SigBlk /proc/self/status | cut -f 2"));
    EXPECT_EQ(child.readLine(), "0000000000000000\n");
    sigset_t now;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &before, &now), 0);
    EXPECT_EQ(sigismember(&now, SIGTERM), 1) << "this process's own mask stays as it was";
}

TEST(ChildProcessTest, DescendantsAreFound) {
    const ReadableChild child(shell("sleep 1000 & echo $!; sh -c 'echo $$; exec sleep 1000'"));
    const pid_t first = std::stoi(child.readLine());
    const pid_t second = std::stoi(child.readLine());
    EXPECT_THAT(support::childrenOf(getpid()), testing::ElementsAre(child.pid()));
    EXPECT_THAT(support::childrenOf(child.pid()), testing::UnorderedElementsAre(first, second));
    EXPECT_THAT(support::descendantsOf(getpid()),
                testing::UnorderedElementsAre(child.pid(), first, second));
    for (const pid_t grandchild : {first, second}) {
        sendSignal(grandchild, SIGKILL);
    }
}

TEST(ChildProcessTest, ProcessThatDoesNotExistHasNoDescendants) {
    ReadableChild child(shell("exit 0"));
    child.waitForExit();
    EXPECT_THAT(support::descendantsOf(child.pid()), testing::IsEmpty());
}

}  // namespace emulated_tv
