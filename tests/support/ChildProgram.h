// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A program that a test starts, talks to by lines, and never leaves behind.
#ifndef TESTS_CHILD_PROGRAM_H
#define TESTS_CHILD_PROGRAM_H

#include <sys/types.h>

#include <future>
#include <string>
#include <utility>
#include <vector>

class ChildProgram {
 public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    // Starts `arguments`[0], a path, in the test's own environment and what is added to it.
    explicit ChildProgram(std::vector<std::string> arguments, const Environment &added = {});
    // Kills it when it still runs.
    ~ChildProgram();
    ChildProgram(const ChildProgram &) = delete;
    ChildProgram &operator=(const ChildProgram &) = delete;

    pid_t pid() const { return m_pid; }

    // The next line of its standard output, without the newline; what there is when the output
    // ends or the limit passes.
    std::string readLine();
    // All the rest of its standard output.
    std::string readAll();
    void writeLine(const std::string &line);
    void closeInput();
    void kill(int signal);

    // Its exit code, 128 and the signal when one killed it, -1 at the limit.
    int waitForExit();
    // What it has written to standard error so far.
    std::string errors();

 private:
    bool readMore();
    bool hasExited() const;

    pid_t m_pid = -1;
    int m_input = -1;
    int m_output = -1;
    int m_errors = -1;
    std::string m_read;
    // Not valid until somebody waits.
    std::shared_future<int> m_exitCode;
};

#endif
