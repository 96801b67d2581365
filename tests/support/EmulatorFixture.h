// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Emulated TVs for tests of programs. Each object has a state folder of its own.
#ifndef TESTS_EMULATOR_FIXTURE_H
#define TESTS_EMULATOR_FIXTURE_H

#include <string>

#include "ChildProgram.h"

// The complete emulated TV: its platform functions, and its source service on a private bus.
class EmulatorFixture {
 public:
    EmulatorFixture();
    // Waits until the emulator has exited.
    ~EmulatorFixture();
    EmulatorFixture(const EmulatorFixture &) = delete;
    EmulatorFixture &operator=(const EmulatorFixture &) = delete;

    // The variables with which a program runs on this TV.
    const ChildProgram::Environment &environment() const { return m_environment; }

    // Runs a command of tv-emulator, such as "plug"; fails the test unless it succeeds.
    void command(const Arguments &arguments) const;

 private:
    ChildProgram m_emulator;
    ChildProgram::Environment m_environment;
};

// The emulated platform functions without a source service, for a test with a service of its own.
// The readiness event is set, and the settings store has no names.
class PlatformFixture {
 public:
    PlatformFixture();
    ~PlatformFixture();
    PlatformFixture(const PlatformFixture &) = delete;
    PlatformFixture &operator=(const PlatformFixture &) = delete;

    const std::string &root() const { return m_root; }
    ChildProgram::Environment environment() const;

    // Sets the document of the sources' names in the settings store.
    void setNames(const std::string &json) const;

 private:
    std::string m_root;
};

#endif
