// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_PROGRAM_H
#define TESTS_PROGRAM_H

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "FileDescriptor.h"
#include "TemporaryFolder.h"

namespace emulated_tv {

using support::childrenOf;

// The limit of every wait of these tests.
constexpr std::chrono::seconds patience(60);

// Watches a process, and is not confused if its process number is reused.
class ProcessWatch {
 public:
    explicit ProcessWatch(pid_t pid);

    // False if it is still running at the limit.
    bool waitForEnd() const;

 private:
    bool isThere() const;

    support::FileDescriptor m_folder;
    support::FileDescriptor m_fd;
};

// Fails the test for a number that means a process group or every process.
void sendSignal(pid_t process, int signal);

using Environment = std::map<std::string, std::string>;

// A program in a session of its own, with its output in files.
class Program {
 public:
    // Its environment is this process's with these changes; an empty value unsets a variable.
    explicit Program(std::vector<std::string> command, const Environment &changes = {});
    // Ends the program if it is still running.
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    pid_t pid() const { return m_pid; }

    // Waits for the exit code, or 128 plus the signal that ended it. Fails the test and returns -1
    // at the limit.
    int exitCode();

    // False if the text is not in standard output or standard error at the limit.
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
