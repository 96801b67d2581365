// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SECOND_SHELL_H
#define TESTS_SECOND_SHELL_H

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "EmulatorTest.h"

namespace emulated_tv {

// A TV without a command, which is changed by commands in another shell.
class SecondShell : public EmulatorTest {
 protected:
    struct Result {
        int code;
        std::string output;
        std::string errors;
    };

    void SetUp() override {
        std::filesystem::create_directories(root());
        m_tv.emplace(emulator({"run", "--root", root()}), environment());
        ASSERT_TRUE(m_tv->waitForOutput("turns it off")) << m_tv->errors();
    }

    std::string root() const { return scratch() / "root"; }

    Result command(std::vector<std::string> arguments, const Environment &changes) const {
        Program program(emulator(std::move(arguments)), changes);
        const int code = program.exitCode();
        return {code, program.output(), program.errors()};
    }
    Result command(std::vector<std::string> arguments) const {
        Environment changes = environment();
        changes["SOURCE_TV_ROOT"] = root();
        return command(std::move(arguments), changes);
    }
    std::string list() const { return command({"list"}).output; }

    std::optional<Program> m_tv;
};

}  // namespace emulated_tv

#endif
