// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_EMULATOR_TEST_H
#define TESTS_EMULATOR_TEST_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Program.h"
#include "ReadinessEvent.h"
#include "SettingsStore.h"
#include "TemporaryFolder.h"

namespace emulated_tv {

// Runs the program tv-emulator in an environment in which it finds the test's own TVs only.
class EmulatorTest : public testing::Test {
 protected:
    // The environment of every emulator of the test.
    Environment environment() const {
        return {{"XDG_RUNTIME_DIR", m_home.path()},
                {"SOURCE_TV_ROOT", ""},
                {"DBUS_SYSTEM_BUS_ADDRESS", ""},
                {"SCRATCH", m_scratch.path()}};
    }

    static std::vector<std::string> emulator(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), TV_EMULATOR);
        return arguments;
    }

    // The command line of a TV whose command is a shell script. The script calls ready to report
    // that it has reached a certain point.
    static std::vector<std::string> runScript(const std::string &script) {
        return emulator(
            {"run", "--", "sh", "-c",
             "ready() { mkdir -p \"$SCRATCH/events\"; : > \"$SCRATCH/events/ready\"; }\n" +
                 script});
    }
    testing::AssertionResult isReady() const {
        return ReadinessEvent(m_scratch.path(), "ready").wait(patience)
                   ? testing::AssertionSuccess()
                   : testing::AssertionFailure() << "the script did not call ready";
    }

    // A process number that the script has written to a file. Throws if there is none.
    pid_t noted(const std::string &name) const {
        return std::stoi(readFile(m_scratch.path() / name).value());
    }

    std::filesystem::path scratch() const { return m_scratch.path(); }
    bool noRootIsLeft() const { return std::filesystem::is_empty(m_home.path()); }

 private:
    TemporaryFolder m_home;
    TemporaryFolder m_scratch;
};

}  // namespace emulated_tv

#endif
