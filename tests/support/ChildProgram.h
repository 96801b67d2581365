// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A program that a test starts and communicates with by lines. It never outlives the object.
#ifndef TESTS_CHILD_PROGRAM_H
#define TESTS_CHILD_PROGRAM_H

#include <sys/types.h>

#include <future>
#include <string>
#include <utility>
#include <vector>

using Arguments = std::vector<std::string>;

class ChildProgram {
 public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    // Starts `arguments`[0], a path, in the test's own environment with `added`.
    explicit ChildProgram(Arguments arguments, const Environment &added = {});
    // Kills the program if it is still running.
    ~ChildProgram();
    ChildProgram(const ChildProgram &) = delete;
    ChildProgram &operator=(const ChildProgram &) = delete;

    pid_t pid() const { return m_pid; }

    // The next line of its standard output, without the newline; an incomplete line if the output
    // ends or the limit passes first.
    std::string readLine();
    // The rest of its standard output.
    std::string readAll();
    void writeLine(const std::string &line);
    void closeInput();
    void kill(int signal);

    // The exit code, 128 plus the signal that killed it, or -1 at the limit.
    int waitForExit();
    // Its standard error so far.
    std::string errors();

 private:
    bool readMore();
    bool hasExited() const;

    pid_t m_pid = -1;
    int m_input = -1;
    int m_output = -1;
    int m_errors = -1;
    std::string m_read;
    // Not valid before waitForExit().
    std::shared_future<int> m_exitCode;
};

// The result of a program that has exited.
struct ProgramResult {
    int exitCode;        // as waitForExit() returns it
    std::string output;  // the part that was not read before
    std::string errors;
};

// Closes the program's standard input and waits until it exits.
ProgramResult finish(ChildProgram &program);
ProgramResult runProgram(const Arguments &commandLine, const ChildProgram::Environment &added = {});

#endif
