// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "EmulatorFixture.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "ReadinessEvent.h"
#include "SettingsStore.h"
#include "TvRoot.h"

// The command on the TV prints the environment and exits when its standard input is closed, which
// happens at the latest when the test exits.
EmulatorFixture::EmulatorFixture()
    : m_emulator({TV_EMULATOR, "run", "--", "sh", "-c",
                  "echo \"$DBUS_SYSTEM_BUS_ADDRESS\"; echo \"$SOURCE_TV_ROOT\"; cat"}) {
    for (const char *variable : {"DBUS_SYSTEM_BUS_ADDRESS", emulated_tv::tvRootVariable}) {
        m_environment.emplace_back(variable, m_emulator.readLine());
    }
}

EmulatorFixture::~EmulatorFixture() {
    const ProgramResult result = finish(m_emulator);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

void EmulatorFixture::command(const Arguments &arguments) const {
    Arguments commandLine = {TV_EMULATOR};
    commandLine.insert(commandLine.end(), arguments.begin(), arguments.end());
    const ProgramResult result = runProgram(commandLine, m_environment);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

PlatformFixture::PlatformFixture() {
    g_autofree char *root = g_dir_make_tmp("emulated-platform-XXXXXX", nullptr);
    EXPECT_NE(root, nullptr);
    m_root = root;
    setNames("[]");
    emulated_tv::ReadinessEvent(m_root, "/tmp/source_service_ready").set();
}

PlatformFixture::~PlatformFixture() {
    std::error_code ignored;
    std::filesystem::remove_all(m_root, ignored);
}

ChildProgram::Environment PlatformFixture::environment() const {
    return {{emulated_tv::tvRootVariable, m_root}};
}

void PlatformFixture::setNames(const std::string &json) const {
    emulated_tv::SettingsStore(m_root).set("db/source-list/source-name", json);
}
