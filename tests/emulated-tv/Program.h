// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_PROGRAM_H
#define EMULATED_TV_PROGRAM_H

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "FileDescriptor.h"
#include "TemporaryFolder.h"

namespace emulated_tv {

// How long anything may take that a test waits for.
constexpr std::chrono::seconds patience(60);

// A process that somebody started, recognised for sure whatever becomes of its number.
class ProcessWatch {
 public:
    explicit ProcessWatch(pid_t pid);

    // False when it is still there after all patience. A process that has ended stays an ended one.
    bool waitForEnd() const;

 private:
    bool isThere() const;

    support::FileDescriptor m_folder;
    support::FileDescriptor m_fd;
};

std::vector<pid_t> childrenOf(pid_t process);

// Fails the test for numbers that would mean a process group or every process.
void sendSignal(pid_t process, int signal);

using Environment = std::map<std::string, std::string>;

// A program that a test runs from outside: its own session, and its output kept in files.
class Program {
 public:
    // The environment is this process's, with some variables set and those unset that are empty.
    explicit Program(std::vector<std::string> command, const Environment &changes = {});
    // Ends it when it is still there.
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    pid_t pid() const { return m_pid; }

    // The exit code, or 128 plus the signal that ended it; fails the test and gives -1 when it
    // does not end.
    int exitCode();

    // False when the text is not in the output, or the errors, after all patience.
    bool waitForOutput(const std::string &text) const;
    bool waitForErrors(const std::string &text) const;
    std::string output() const;
    std::string errors() const;

 private:
    bool waitForText(const std::string &text, const char *file) const;

    TemporaryFolder m_folder;
    pid_t m_pid = -1;
    std::optional<int> m_status;
};

}  // namespace emulated_tv

#endif
