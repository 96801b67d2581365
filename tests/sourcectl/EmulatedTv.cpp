// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "EmulatedTv.h"

#include <gtest/gtest.h>

#include "FakeService.h"

// The command on the TV tells where it is, and stays until its standard input ends, which it does
// with the test at the latest.
EmulatedTv::EmulatedTv()
    : m_emulator(
          tvEmulatorWith({"run", "--", "sh", "-c",
                          "echo \"$DBUS_SYSTEM_BUS_ADDRESS\"; echo \"$SOURCE_TV_ROOT\"; cat"})) {
    for (const char *variable : {"DBUS_SYSTEM_BUS_ADDRESS", "SOURCE_TV_ROOT"}) {
        m_environment.emplace_back(variable, m_emulator.readLine());
    }
}

EmulatedTv::~EmulatedTv() {
    const Outcome outcome = finish(m_emulator);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
}

Outcome EmulatedTv::sourcectl(const Words &arguments) const {
    return run(sourcectlWith(arguments), m_environment);
}

std::string EmulatedTv::answerTo(const Words &arguments) const {
    const Outcome outcome = sourcectl(arguments);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    return outcome.output;
}

Json::Value EmulatedTv::documentFor(Words arguments) const {
    arguments.emplace_back("--json");
    return parsedJson(answerTo(arguments));
}

void EmulatedTv::happens(const Words &emulatorArguments) const {
    const Outcome outcome = run(tvEmulatorWith(emulatorArguments), m_environment);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
}
