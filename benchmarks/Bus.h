// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A private bus in place of the system bus, and the benchmarks' source service on it.
#ifndef BENCH_BUS_H
#define BENCH_BUS_H

#include <gio/gio.h>

#include <string>
#include <vector>

// A program that runs beside the benchmarks until this object goes.
class Companion {
 public:
    // Returns when the program has written its first line, which is `firstLine`.
    explicit Companion(const std::vector<std::string> &arguments);
    ~Companion();
    Companion(const Companion &) = delete;
    Companion &operator=(const Companion &) = delete;

    const std::string &firstLine() const { return m_firstLine; }

 private:
    GPid m_pid = 0;
    int m_output = -1;
    std::string m_firstLine;
};

class Bus {
 public:
    Bus();

 private:
    Companion m_daemon;
    Companion m_service;
};

// dbus-broker, and the same service on it.
class Broker {
 public:
    // Throws where it cannot be started: it takes root's rights.
    Broker();

    const std::string &address() const { return m_broker.firstLine(); }

 private:
    Companion m_broker;
    Companion m_service;
};

// Runs a program to its end and returns what it prints. Throws when it fails.
std::string output(const std::vector<std::string> &arguments);

#endif
