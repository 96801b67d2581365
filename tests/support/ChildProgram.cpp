// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ChildProgram.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <map>

#include "TestBus.h"

namespace {

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        readEnd = ends[0];
        writeEnd = ends[1];
    }
    int readEnd = -1;
    int writeEnd = -1;
};

std::vector<std::string> environmentWith(const ChildProgram::Environment &added) {
    std::map<std::string, std::string> variables;
    for (char **variable = environ; *variable != nullptr; ++variable) {
        const std::string text(*variable);
        const std::size_t equals = text.find('=');
        variables[text.substr(0, equals)] = text.substr(equals + 1);
    }
    for (const auto &[name, value] : added) {
        variables[name] = value;
    }
    std::vector<std::string> texts;
    for (const auto &[name, value] : variables) {
        texts.push_back(name + "=" + value);
    }
    return texts;
}

std::vector<char *> pointersTo(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    for (std::string &text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// Waits until `descriptor` can be read; false at the limit.
bool readable(int descriptor) {
    pollfd polled{descriptor, POLLIN, 0};
    return TEMP_FAILURE_RETRY(poll(&polled, 1, waitLimit)) == 1;
}

int exitCodeOf(pid_t process) {
    int status = 0;
    EXPECT_EQ(TEMP_FAILURE_RETRY(waitpid(process, &status, 0)), process);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

ChildProgram::ChildProgram(Arguments arguments, const Environment &added) {
    const Pipe input;
    const Pipe output;
    // A file, so that a program that writes much never blocks on a test that does not read.
    m_errors = memfd_create("errors", MFD_CLOEXEC);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.readEnd, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.writeEnd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, m_errors, STDERR_FILENO);
    std::vector<std::string> environment = environmentWith(added);
    const int failure = posix_spawn(&m_pid, arguments[0].c_str(), &actions, nullptr,
                                    pointersTo(arguments).data(), pointersTo(environment).data());
    EXPECT_EQ(failure, 0) << arguments[0];
    posix_spawn_file_actions_destroy(&actions);
    close(input.readEnd);
    close(output.writeEnd);
    m_input = input.writeEnd;
    m_output = output.readEnd;
}

ChildProgram::~ChildProgram() {
    if (m_pid > 0 && !hasExited()) {
        ::kill(m_pid, SIGKILL);
        waitForExit();
    }
    closeInput();
    close(m_output);
    close(m_errors);
}

bool ChildProgram::readMore() {
    std::array<char, 4096> bytes{};
    if (!readable(m_output)) {
        ADD_FAILURE() << "nothing more came; on standard error: " << errors();
        return false;
    }
    const ssize_t size = TEMP_FAILURE_RETRY(read(m_output, bytes.data(), bytes.size()));
    if (size <= 0) {
        return false;
    }
    m_read.append(bytes.data(), static_cast<std::size_t>(size));
    return true;
}

std::string ChildProgram::readLine() {
    std::size_t end = m_read.find('\n');
    while (end == std::string::npos && readMore()) {
        end = m_read.find('\n');
    }
    const std::string line = m_read.substr(0, end);
    m_read.erase(0, end == std::string::npos ? end : end + 1);
    return line;
}

std::string ChildProgram::readAll() {
    while (readMore()) {
    }
    return std::exchange(m_read, std::string());
}

void ChildProgram::writeLine(const std::string &line) {
    const std::string bytes = line + "\n";
    EXPECT_EQ(write(m_input, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

void ChildProgram::closeInput() {
    if (m_input >= 0) {
        close(std::exchange(m_input, -1));
    }
}

void ChildProgram::kill(int signal) {
    // -1 would be every process of this user.
    ASSERT_GT(m_pid, 0) << "it was not started";
    ::kill(m_pid, signal);
}

int ChildProgram::waitForExit() {
    if (!m_exitCode.valid()) {
        // valgrind knows no way to wait for a process with a limit, so a thread waits without one.
        m_exitCode = std::async(std::launch::async, exitCodeOf, m_pid);
    }
    const auto limit = std::chrono::milliseconds(waitLimit);
    return m_exitCode.wait_for(limit) == std::future_status::ready ? m_exitCode.get() : -1;
}

bool ChildProgram::hasExited() const {
    return m_exitCode.valid() &&
           m_exitCode.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

std::string ChildProgram::errors() {
    std::string text;
    std::array<char, 4096> bytes{};
    for (off_t offset = 0;;) {
        const ssize_t size = pread(m_errors, bytes.data(), bytes.size(), offset);
        if (size <= 0) {
            return text;
        }
        text.append(bytes.data(), static_cast<std::size_t>(size));
        offset += size;
    }
}

ProgramResult finish(ChildProgram &program) {
    program.closeInput();
    std::string output = program.readAll();
    const int exitCode = program.waitForExit();
    return {exitCode, std::move(output), program.errors()};
}

ProgramResult runProgram(const Arguments &commandLine, const ChildProgram::Environment &added) {
    ChildProgram program(commandLine, added);
    return finish(program);
}
