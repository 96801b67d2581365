// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Private buses with the benchmarks' source service, and other programs.
#ifndef BENCH_BENCHMARK_BUS_H
#define BENCH_BENCHMARK_BUS_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "FileDescriptor.h"

namespace bench {

// A program that runs in the background until the object is destroyed.
class BackgroundProgram {
 public:
    // Returns when the program has written its first line.
    explicit BackgroundProgram(const std::vector<std::string> &command);
    ~BackgroundProgram();
    BackgroundProgram(const BackgroundProgram &) = delete;
    BackgroundProgram &operator=(const BackgroundProgram &) = delete;

    const std::string &firstLine() const { return m_firstLine; }

 private:
    pid_t m_pid = 0;
    support::FileDescriptor m_output;
    std::string m_firstLine;
};

// A dbus-daemon that replaces the system bus of this process.
class BenchmarkBus {
 public:
    BenchmarkBus();

 private:
    BackgroundProgram m_daemon;
    BackgroundProgram m_service;
};

// dbus-broker with the same service.
class Broker {
 public:
    // Throws if it cannot be started, which requires root.
    Broker();

    const std::string &address() const { return m_broker.firstLine(); }

 private:
    BackgroundProgram m_broker;
    BackgroundProgram m_service;
};

// Runs a program and returns its standard output. Throws if it fails.
std::string output(const std::vector<std::string> &arguments);

}  // namespace bench

#endif
