// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ChildProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "FileDescriptor.h"

namespace emulated_tv {

namespace {

std::vector<char *> pointersTo(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string &text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> environmentWith(
    const std::vector<std::pair<std::string, std::string>> &added) {
    std::vector<std::string> environment;
    for (char **next = environ; *next != nullptr; ++next) {
        const std::string entry = *next;
        const bool isReplaced = std::any_of(added.begin(), added.end(), [&](const auto &variable) {
            return entry.substr(0, entry.find('=')) == variable.first;
        });
        if (!isReplaced) {
            environment.push_back(entry);
        }
    }
    for (const auto &[name, value] : added) {
        environment.push_back(name);
        environment.back().append("=").append(value);
    }
    return environment;
}

void leaveTerminal() {
    setsid();
    const int nothing = open("/dev/null", O_RDWR);
    if (nothing >= 0) {
        dup2(nothing, STDIN_FILENO);
        close(nothing);
    }
}

// Runs in the child, every signal blocked; only calls that are safe after a fork.
void settle(const ChildPlan &plan, pid_t parent) {
    if (plan.isDaemon) {
        leaveTerminal();
    } else {
        setpgid(0, 0);
    }
    if (plan.terminal >= 0) {
        tcsetpgrp(plan.terminal, getpid());
    }
    if (plan.deathSignal != 0) {
        prctl(PR_SET_PDEATHSIG, plan.deathSignal);
        if (getppid() != parent) {
            _exit(EXIT_FAILURE);
        }
    }
    for (const int fd : plan.keeps) {
        fcntl(fd, F_SETFD, 0);
    }
    if (plan.lastly) {
        plan.lastly();
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// The child's end closes when it runs its command; before that it may tell why it cannot.
int whyNotRun(pid_t child, int report) {
    int why = 0;
    ssize_t size = 0;
    do {
        size = read(report, &why, sizeof why);
    } while (size < 0 && errno == EINTR);
    if (why != 0) {
        waitpid(child, nullptr, 0);
    }
    return why;
}

}  // namespace

pid_t startChild(const ChildPlan &plan) {
    std::vector<std::string> command = plan.command;
    std::vector<std::string> environment = environmentWith(plan.environment);
    const std::vector<char *> arguments = pointersTo(command);
    const std::vector<char *> variables = pointersTo(environment);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
    const support::FileDescriptor report(ends[0]);
    support::FileDescriptor reporter(ends[1]);

    const pid_t parent = getpid();
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
    const pid_t child = fork();
    if (child == 0) {
        settle(plan, parent);
        execvpe(arguments.front(), arguments.data(), variables.data());
        const int why = errno;
        const ssize_t written = write(reporter.get(), &why, sizeof why);
        _exit(written > 0 ? EXIT_FAILURE : EXIT_FAILURE + 1);
    }
    const int forkError = errno;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    reporter.reset();
    const int why = child < 0 ? forkError : whyNotRun(child, report.get());
    if (why != 0) {
        throw std::system_error(why, std::generic_category(), "cannot run " + plan.command.front());
    }
    return child;
}

}  // namespace emulated_tv
