// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ChildProcess.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "FileDescriptor.h"

namespace support {
namespace {

// GLib ignores SIGPIPE once sockets are used; a child gets what this process was started with.
const auto sigpipeAtStart = [] {
    struct sigaction action = {};
    sigaction(SIGPIPE, nullptr, &action);
    return action;
}();

// Runs between fork and exec, with all signals blocked; only async-signal-safe calls.
void prepare(const ChildPlan &plan, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The parent may have died before that call.
    if (getppid() != parent) {
        _exit(EXIT_FAILURE);
    }
    if (plan.isDaemon) {
        setsid();
        dup2(open("/dev/null", O_RDWR | O_CLOEXEC), STDIN_FILENO);
    }
    if (plan.output >= 0) {
        dup2(plan.output, STDOUT_FILENO);
    }
    sigaction(SIGPIPE, &sigpipeAtStart, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

}  // namespace

pid_t startChild(const ChildPlan &plan) {
    std::vector<char *> arguments;
    for (const std::string &word : plan.command) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    g_auto(GStrv) environment = g_get_environ();
    for (const auto &[name, value] : plan.environment) {
        environment = g_environ_setenv(environment, name.c_str(), value.c_str(), TRUE);
    }
    // Closed by a successful exec; otherwise it carries the error.
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
    const FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);

    const pid_t parent = getpid();
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = fork();
    int error = errno;
    if (child == 0) {
        prepare(plan, parent);
        execvpe(arguments.front(), arguments.data(), environment);
        error = errno;
        _exit(write(writeEnd.get(), &error, sizeof error) < 0 ? EXIT_FAILURE + 1 : EXIT_FAILURE);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    writeEnd.reset();
    if (child > 0) {
        if (TEMP_FAILURE_RETRY(read(readEnd.get(), &error, sizeof error)) != sizeof error) {
            return child;
        }
        waitpid(child, nullptr, 0);
    }
    throw std::system_error(error, std::generic_category(), "cannot run " + plan.command.front());
}

std::vector<pid_t> childrenOf(pid_t process) {
    std::vector<pid_t> children;
    // A process or thread that ends meanwhile makes the reading stop early.
    const std::filesystem::path threads = "/proc/" + std::to_string(process) + "/task";
    std::error_code error;
    for (std::filesystem::directory_iterator thread(threads, error), end; !error && thread != end;
         thread.increment(error)) {
        std::ifstream list(thread->path() / "children");
        for (pid_t child = 0; list >> child;) {
            children.push_back(child);
        }
    }
    return children;
}

std::vector<pid_t> descendantsOf(pid_t process) {
    std::vector<pid_t> found = childrenOf(process);
    for (std::size_t next = 0; next < found.size(); ++next) {
        const std::vector<pid_t> children = childrenOf(found[next]);
        found.insert(found.end(), children.begin(), children.end());
    }
    return found;
}

int exitCodeOf(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace support
