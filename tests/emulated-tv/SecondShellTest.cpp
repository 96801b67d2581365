// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>
#include <sstream>

#include "JsonText.h"
#include "SecondShell.h"

namespace emulated_tv {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class SecondShellTest : public SecondShell {};

TEST_F(SecondShellTest, ListShowsTheSources) {
    EXPECT_THAT(list(), AllOf(ContainsRegex("[*] +tuner +1 +0 +TV +on"),
                              ContainsRegex("hdmi1 +3 +0 +HDMI 1 +on +Wohnzimmer Bär +Set-top box"),
                              ContainsRegex("hdmi3 +5 +0 +HDMI 3 +-"),
                              ContainsRegex("usb-camera +8 +1 +USB +on +Björn's Kamera")));
}

TEST_F(SecondShellTest, PluggingAndUnpluggingAUsbDevice) {
    EXPECT_EQ(command({"plug", "usb-stick", "--name", "Holiday Photos"}).code, 0);
    EXPECT_THAT(list(), ContainsRegex("usb-stick +8 +2 +USB +on +Holiday Photos"));
    EXPECT_EQ(command({"unplug", "usb-stick"}).code, 0);
    EXPECT_THAT(list(), Not(HasSubstr("usb-stick")));
}

TEST_F(SecondShellTest, PluggingAndUnpluggingAtAPort) {
    EXPECT_EQ(command({"plug", "hdmi3", "--name", "Laptop", "--type", "4"}).code, 0);
    EXPECT_THAT(list(), ContainsRegex("hdmi3 .* on +Laptop"));
    const auto names =
        support::parseJson(SettingsStore(root()).get("db/source-list/source-name").value_or(""))
            .value_or("none");
    EXPECT_EQ(names[3]["DeviceType"], 4);
    EXPECT_EQ(command({"unplug", "hdmi3"}).code, 0);
    EXPECT_THAT(list(), AllOf(ContainsRegex("hdmi3 .* -\n"), Not(HasSubstr("Laptop"))));
}

TEST_F(SecondShellTest, RenamingAndSwitchingPower) {
    EXPECT_EQ(command({"rename", "hdmi2", "Björns Ecke"}).code, 0);
    EXPECT_EQ(command({"power", "hdmi2", "on"}).code, 0);
    EXPECT_THAT(list(), ContainsRegex("hdmi2 .* on +Björns Ecke"));
    EXPECT_EQ(command({"power", "hdmi2", "off"}).code, 0);
    EXPECT_EQ(command({"rename", "hdmi2", ""}).code, 0);
    EXPECT_THAT(list(), ContainsRegex("hdmi2 .* standby +Spielkonsole"));
}

TEST_F(SecondShellTest, UnknownKeyGetsOneLineWithTheKeys) {
    for (const auto &arguments : std::vector<std::vector<std::string>>{{"plug", "hdmi9"},
                                                                       {"unplug", "usb-none"},
                                                                       {"rename", "x", "y"},
                                                                       {"power", "x", "on"}}) {
        const Result result = command(arguments);
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.errors, HasSubstr("the TV has tuner, hdmi1, hdmi2"));
        EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1);
    }
}

TEST_F(SecondShellTest, WrongUsageIsTwo) {
    for (const auto &arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"dance"},
                                               {"list", "extra"},
                                               {"plug"},
                                               {"plug", "hdmi1", "--type", "many"},
                                               {"plug", "hdmi1", "--type", "-1"},
                                               {"plug", "hdmi1", "--name", "\xff"},
                                               {"rename", "hdmi1"},
                                               {"power", "hdmi1"},
                                               {"power", "hdmi1", "maybe"},
                                               {"run", "true"},
                                               {"list", "--no-such-option"}}) {
        const Result result = command(arguments);
        EXPECT_EQ(result.code, 2) << result.errors;
        EXPECT_NE(result.errors, "");
    }
}

TEST_F(SecondShellTest, HelpIsThereForEveryCommand) {
    for (const char *name :
         {"run", "serve", "list", "plug", "unplug", "rename", "power", "fault", "trace"}) {
        const Result result = command({name, "--help"});
        EXPECT_EQ(result.code, 0);
        EXPECT_THAT(result.output, HasSubstr("--root"));
    }
    EXPECT_EQ(command({"--help"}).code, 0);
}

TEST_F(SecondShellTest, OptionIsPreferredToTheVariable) {
    Environment changes = environment();
    changes["SOURCE_TV_ROOT"] = "/no/such/root";
    EXPECT_EQ(command({"list", "--root", root()}, changes).code, 0);
    const Result result = command({"list"}, changes);
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.errors, HasSubstr("no emulated TV is running in /no/such/root"));
}

TEST_F(SecondShellTest, WithoutAnyTvThereIsAClearLine) {
    const Result result = command({"list"}, environment());
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.errors, HasSubstr("no emulated TV is running"));
}

TEST_F(SecondShellTest, TvWithARootOfItsOwnIsFoundByNameOnly) {
    // The path is too long for a socket, which is therefore in a temporary folder.
    const std::filesystem::path deep = scratch() / std::string(120, 'd');
    Program tv(emulator({"run", "--root", deep}), environment());
    ASSERT_TRUE(tv.waitForOutput("turns it off")) << tv.errors();
    EXPECT_FALSE(noRootIsLeft());
    EXPECT_EQ(command({"list", "--root", deep}, environment()).code, 0);
    const Result result = command({"list"}, environment());
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.errors, HasSubstr("no emulated TV is running; start one"));
}

TEST_F(SecondShellTest, OnlyTvOfTheUserIsFound) {
    ASSERT_EQ(mkfifo((scratch() / "fifo").c_str(), 0600), 0);
    Program first(runScript("ready; read line < $SCRATCH/fifo"), environment());
    ASSERT_TRUE(isReady());
    EXPECT_EQ(command({"list"}, environment()).code, 0);
    ReadinessEvent(scratch(), "ready").clear();
    Program second(runScript("ready; read line < $SCRATCH/fifo"), environment());
    ASSERT_TRUE(isReady());
    const Result result = command({"list"}, environment());
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.errors, HasSubstr("several emulated TVs are running"));
    for (Program *tv : {&first, &second}) {
        sendSignal(tv->pid(), SIGTERM);
        EXPECT_EQ(tv->exitCode(), 128 + SIGTERM);
    }
}

TEST_F(SecondShellTest, TvPrintsTheVariablesForAnotherShell) {
    sendSignal(m_tv->pid(), SIGINT);
    EXPECT_EQ(m_tv->exitCode(), 0);
    EXPECT_THAT(
        m_tv->output(),
        AllOf(HasSubstr("export DBUS_SYSTEM_BUS_ADDRESS='unix:path=" + root() + "/bus,guid="),
              HasSubstr("export SOURCE_TV_ROOT='" + root() + "'\n")));
    EXPECT_EQ(m_tv->errors(), "");
}

TEST_F(SecondShellTest, StateSurvivesARestart) {
    ASSERT_EQ(command({"plug", "usb-stick", "--name", "Kept"}).code, 0);
    sendSignal(m_tv->pid(), SIGTERM);
    ASSERT_EQ(m_tv->exitCode(), 0);
    EXPECT_FALSE(ReadinessEvent(root(), "/tmp/source_service_ready").wait({}));
    EXPECT_EQ(command({"list"}).code, 1);
    SetUp();
    EXPECT_THAT(list(), ContainsRegex("usb-stick +8 +2 +USB +on +Kept"));
}

TEST_F(SecondShellTest, StateSurvivesTheKillingOfEverything) {
    ASSERT_EQ(command({"rename", "hdmi2", "Kept"}).code, 0);
    std::vector<ProcessWatch> watches;
    for (const pid_t child : childrenOf(m_tv->pid())) {
        watches.emplace_back(child);
        sendSignal(child, SIGKILL);
    }
    sendSignal(m_tv->pid(), SIGKILL);
    m_tv->exitCode();
    for (const ProcessWatch &watch : watches) {
        ASSERT_TRUE(watch.waitForEnd());
    }
    EXPECT_EQ(command({"list"}).code, 1) << "what it left must not look like a running TV";
}

TEST_F(SecondShellTest, ServiceCanBeRunOnABusThatIsThere) {
    std::istringstream lines(m_tv->output());
    std::string address;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("export DBUS_SYSTEM_BUS_ADDRESS='", 0) == 0) {
            address = line.substr(32, line.size() - 33);
        }
    }
    Environment changes = environment();
    changes["DBUS_SYSTEM_BUS_ADDRESS"] = address;
    const Result second = command({"serve", "--root", scratch() / "second"}, changes);
    EXPECT_EQ(second.code, 1);
    EXPECT_THAT(second.errors, HasSubstr("source_service.message is taken"));
    EXPECT_EQ(command({"serve", "--root", root()}, changes).code, 1) << "the root is in use";
    EXPECT_EQ(command({"serve"}, changes).code, 1) << "no root is given";
}

}  // namespace emulated_tv
