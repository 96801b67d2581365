// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SOURCECTL_EMULATED_TV_H
#define TESTS_SOURCECTL_EMULATED_TV_H

#include <json/json.h>

#include <string>

#include "Programs.h"

// An emulated TV of the test's own, and programs that run on it.
class EmulatedTv {
 public:
    EmulatedTv();
    // Waits until the TV is off.
    ~EmulatedTv();
    EmulatedTv(const EmulatedTv &) = delete;
    EmulatedTv &operator=(const EmulatedTv &) = delete;

    // What a program on the TV finds in its environment.
    const ChildProgram::Environment &environment() const { return m_environment; }

    Outcome sourcectl(const Words &arguments) const;
    // What it prints; fails the test unless the command is done.
    std::string answerTo(const Words &arguments) const;
    // The same with --json.
    Json::Value documentFor(Words arguments) const;

    // Something that happens at the TV itself.
    void happens(const Words &emulatorArguments) const;

 private:
    ChildProgram m_emulator;
    ChildProgram::Environment m_environment;
};

#endif
