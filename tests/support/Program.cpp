// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <array>
#include <csignal>
#include <string_view>
#include <thread>

#include "SettingsStore.h"

namespace emulated_tv {

namespace {

std::vector<std::string> environmentWith(const Environment &changes) {
    std::vector<std::string> environment;
    for (char **next = environ; *next != nullptr; ++next) {
        const std::string entry = *next;
        if (changes.count(entry.substr(0, entry.find('='))) == 0) {
            environment.push_back(entry);
        }
    }
    for (const auto &[name, value] : changes) {
        if (!value.empty()) {
            environment.push_back(name);
            environment.back().append("=").append(value);
        }
    }
    return environment;
}

std::vector<char *> pointersTo(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string &text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

bool isReadable(const support::FileDescriptor &fd) {
    pollfd readable = {fd.get(), POLLIN, 0};
    return poll(&readable, 1, static_cast<int>(std::chrono::milliseconds(patience).count())) > 0;
}

}  // namespace

ProcessWatch::ProcessWatch(pid_t pid)
    : m_folder(open(("/proc/" + std::to_string(pid)).c_str(), O_DIRECTORY | O_CLOEXEC)),
      m_fd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0))) {}

bool ProcessWatch::waitForEnd() const {
    if (m_fd) {
        return isReadable(m_fd);
    }
    // valgrind does not implement pidfd_open.
    const auto limit = std::chrono::steady_clock::now() + patience;
    while (isThere()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

bool ProcessWatch::isThere() const {
    const support::FileDescriptor file(openat(m_folder.get(), "stat", O_RDONLY | O_CLOEXEC));
    std::array<char, 4096> text;
    const ssize_t size = file ? read(file.get(), text.data(), text.size()) : -1;
    if (size <= 0) {
        return false;
    }
    // The state follows the name, which is in brackets and may contain any character.
    const std::string_view line(text.data(), static_cast<std::size_t>(size));
    const std::size_t state = line.rfind(')') + 2;
    return state < line.size() && line[state] != 'Z' && line[state] != 'X';
}

void sendSignal(pid_t process, int signal) {
    if (process <= 1) {
        ADD_FAILURE() << "no process has the number " << process;
        return;
    }
    EXPECT_EQ(kill(process, signal), 0) << process;
}

Program::Program(std::vector<std::string> command, const Environment &changes) {
    std::vector<std::string> environment = environmentWith(changes);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
    const std::string output = m_folder.path() / "output";
    const std::string errors = m_folder.path() / "errors";
    posix_spawn_file_actions_addopen(&files, 1, output.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0600);
    posix_spawn_file_actions_addopen(&files, 2, errors.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0600);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // The test's own disposition would be inherited, and the emulator ignores SIGHUP if its parent
    // does.
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGHUP);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF);
    const int error = posix_spawnp(&m_pid, command.front().c_str(), &files, &attributes,
                                   pointersTo(command).data(), pointersTo(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    EXPECT_EQ(error, 0) << command.front();
}

Program::~Program() {
    if (m_pid > 0 && !m_status) {
        kill(m_pid, SIGTERM);
        if (!ProcessWatch(m_pid).waitForEnd()) {
            kill(m_pid, SIGKILL);
        }
        waitpid(m_pid, nullptr, 0);
    }
}

int Program::exitCode() {
    if (!m_status) {
        if (!ProcessWatch(m_pid).waitForEnd()) {
            ADD_FAILURE() << "still running; it said: " << output() << errors();
            return -1;
        }
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }
    return *m_status;
}

bool Program::waitForOutput(const std::string &text) const {
    return waitForText(text, "output");
}

bool Program::waitForErrors(const std::string &text) const {
    return waitForText(text, "errors");
}

bool Program::waitForText(const std::string &text, const char *file) const {
    const support::FileDescriptor changes(inotify_init1(IN_CLOEXEC));
    inotify_add_watch(changes.get(), (m_folder.path() / file).c_str(), IN_MODIFY);
    while (readFile(m_folder.path() / file).value_or("").find(text) == std::string::npos) {
        std::array<char, 4096> events;
        if (!isReadable(changes) || read(changes.get(), events.data(), events.size()) <= 0) {
            return false;
        }
    }
    return true;
}

std::string Program::output() const {
    return readFile(m_folder.path() / "output").value_or("");
}

std::string Program::errors() const {
    return readFile(m_folder.path() / "errors").value_or("");
}

}  // namespace emulated_tv
