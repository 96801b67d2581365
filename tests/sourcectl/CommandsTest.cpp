// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Every command on the emulated TV with its default sources.
#include <gtest/gtest.h>

#include "EmulatorFixture.h"
#include "FakeService.h"
#include "SourcectlProgram.h"

namespace {

const char *const done = "{\"done\":true}\n";

class CommandsTest : public ::testing::Test {
 protected:
    ProgramResult run(const Arguments &arguments) const {
        return sourcectl(arguments, tv.environment());
    }

    // The output of a command that succeeds.
    std::string outputOf(const Arguments &arguments) const {
        const ProgramResult result = run(arguments);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.errors, "");
        return result.output;
    }
    Json::Value documentOf(Arguments arguments) const {
        arguments.emplace_back("--json");
        return parsedJson(outputOf(arguments));
    }

    // The JSON record of the source with that key in the list.
    Json::Value listed(const std::string &key) const {
        for (const Json::Value &source : documentOf({"list"})) {
            if (source["uniqueKey"] == key) {
                return source;
            }
        }
        ADD_FAILURE() << key << " is not in the list";
        return Json::Value();
    }

    EmulatorFixture tv;
};

TEST_F(CommandsTest, ListPrintsATable) {
    EXPECT_EQ(outputOf({"list"}),
              "TYPE INDEX NAME           DETECTED       ON SCREEN KEY        CONNECTED POWER\n"
              "   1     0 Antenne        Antenne        TV        tuner      yes           1\n"
              "   2     0 Old tapes      -              AV        av         no            0\n"
              "   3     0 Wohnzimmer Bär Set-top box    HDMI 1    hdmi1      yes           1\n"
              "   4     0 Spielkonsole   Spielkonsole   HDMI 2    hdmi2      yes           0\n"
              "   5     0 -              -              HDMI 3    hdmi3      no            0\n"
              "   8     0 Été 2026       Été 2026       USB       usb-disk   yes           1\n"
              "   8     1 Björn's Kamera Björn's Kamera USB       usb-camera yes           1\n");
}

TEST_F(CommandsTest, ListPrintsAnArrayOfRecordsAsJson) {
    EXPECT_EQ(documentOf({"list"}).size(), 7U);
    EXPECT_EQ(listed("hdmi1"), parsedJson(R"({
        "sourceType": 3, "mbrActivityIndex": 0, "uniqueKey": "hdmi1",
        "editName": "Wohnzimmer Bär", "detectedName": "Set-top box",
        "iconPath": "/usr/share/tv/icons/hdmi.png", "connectionState": true, "powerState": 1})"));
}

TEST_F(CommandsTest, OptionsAreAllowedBeforeTheCommand) {
    EXPECT_EQ(outputOf({"--json", "osd", "4"}), outputOf({"osd", "4", "--json"}));
}

TEST_F(CommandsTest, ConnectSwitchesTheTv) {
    EXPECT_EQ(outputOf({"connect", "4"}), "switched to source type 4 (HDMI 2)\n");
    EXPECT_EQ(outputOf({"connect", "3", "--json"}), done);
    expectFailure(run({"connect", "99"}),
                  "cannot switch to source type 99: the source service refused it");
}

TEST_F(CommandsTest, RunConnectsASourceByItsKey) {
    EXPECT_EQ(outputOf({"run", "8", "usb-disk"}),
              "connected source type 8 (USB), key \"usb-disk\"\n");
    EXPECT_EQ(outputOf({"run", "8", "usb-camera", "--json"}), done);
    expectFailure(run({"run", "8", "floppy"}),
                  "cannot connect source type 8 (USB), key \"floppy\": the source service refused "
                  "it");
}

TEST_F(CommandsTest, NameIsTheUsersOrElseTheDetectedOne) {
    EXPECT_EQ(outputOf({"name", "3"}), "Wohnzimmer Bär\n");
    EXPECT_EQ(outputOf({"name", "8", "--index", "1"}), "Björn's Kamera\n");
    EXPECT_EQ(documentOf({"name", "3"}), parsedJson(R"({"name": "Wohnzimmer Bär"})"));
    expectFailure(run({"name", "8", "--index", "9"}),
                  "cannot read the name of source type 8 (USB), index 9: none is known");
}

TEST_F(CommandsTest, RenameSetsTheUsersName) {
    EXPECT_EQ(outputOf({"rename", "4", "Spielkonsole Bär"}),
              "renamed source type 4 (HDMI 2), index 0 to \"Spielkonsole Bär\"\n");
    EXPECT_EQ(outputOf({"name", "4"}), "Spielkonsole Bär\n");
    EXPECT_EQ(listed("hdmi2")["editName"], "Spielkonsole Bär");

    EXPECT_EQ(outputOf({"rename", "8", "Fotos", "--index", "1", "--json"}), done);
    EXPECT_EQ(outputOf({"name", "8", "--index", "1"}), "Fotos\n");
    EXPECT_EQ(outputOf({"name", "8"}), "Été 2026\n");
}

TEST_F(CommandsTest, NamesMayBeAnyText) {
    for (const std::string name : {"", "-dash-", "list", "--json", "100 % \"da\"\\n + é"}) {
        outputOf({"rename", "4", "--", name});
        EXPECT_EQ(listed("hdmi2")["editName"], name);
    }
}

TEST_F(CommandsTest, DeviceTypeIsReadAndSet) {
    EXPECT_EQ(outputOf({"device-type", "4"}), "2\n");
    EXPECT_EQ(outputOf({"device-type", "4", "7"}),
              "set the device type of source type 4 (HDMI 2), index 0 to 7\n");
    EXPECT_EQ(documentOf({"device-type", "4"}), parsedJson(R"({"deviceType": 7})"));

    EXPECT_EQ(outputOf({"device-type", "8", "4294967295", "--index", "1", "--json"}), done);
    EXPECT_EQ(outputOf({"device-type", "8", "--index", "1"}), "4294967295\n");
    EXPECT_EQ(outputOf({"device-type", "8"}), "6\n");
}

TEST_F(CommandsTest, DetectedSetsNameAndDeviceType) {
    EXPECT_EQ(outputOf({"detected", "5", "Player X", "9"}),
              "set the detected name of source type 5 (HDMI 3), index 0 to \"Player X\" and its "
              "device type to 9\n");
    EXPECT_EQ(outputOf({"name", "5"}), "Player X\n");
    EXPECT_EQ(outputOf({"device-type", "5"}), "9\n");
    EXPECT_EQ(outputOf({"detected", "5", "Player Y", "10", "--json"}), done);
    EXPECT_EQ(outputOf({"name", "5"}), "Player Y\n");
}

TEST_F(CommandsTest, OnScreenTextIsThePlatforms) {
    EXPECT_EQ(outputOf({"osd", "4"}), "HDMI 2\n");
    EXPECT_EQ(documentOf({"osd", "4"}), parsedJson(R"({"osdText": "HDMI 2"})"));
}

TEST_F(CommandsTest, UsbDeviceIsATableOfItsProperties) {
    EXPECT_EQ(outputOf({"usb", "usb-camera"}),
              "PROPERTY             VALUE\n"
              "called_app           photo-viewer\n"
              "device_addressnumber 004\n"
              "device_busnumber     001\n"
              "device_name          Björn's Kamera\n"
              "device_type          camera\n");
    EXPECT_EQ(documentOf({"usb", "usb-disk"}), parsedJson(R"({
        "called_app": "media-browser", "device_name": "Été 2026", "device_path": "/media/usb-disk",
        "device_type": "storage", "vendor_name": "Generic", "volume_name": "Été 2026"})"));
    expectFailure(run({"usb", "floppy"}),
                  "cannot read the USB device with key \"floppy\": the source service refused it");
}

TEST_F(CommandsTest, IconsAreReadAndSet) {
    EXPECT_EQ(
        outputOf({"icon", "4", "--source", "/i/a.png", "--focused", "/i/b.png", "--unfocused", ""}),
        "set the icons of source type 4 (HDMI 2), index 0\n");
    EXPECT_EQ(outputOf({"icon", "4"}),
              "PROPERTY  VALUE\n"
              "source    /i/a.png\n"
              "focused   /i/b.png\n"
              "unfocused -\n");
    EXPECT_EQ(documentOf({"icon", "4"}),
              parsedJson(R"({"source": "/i/a.png", "focused": "/i/b.png", "unfocused": ""})"));

    EXPECT_EQ(outputOf({"icon", "8", "--index", "1", "--source", "/i/c.png", "--focused", "",
                        "--unfocused", "", "--json"}),
              done);
    EXPECT_EQ(documentOf({"icon", "8", "--index", "1"})["source"], "/i/c.png");
}

TEST_F(CommandsTest, WatchPrintsAPlugAnUnplugAndARename) {
    ChildProgram watching(sourcectlWith({"watch", "--count", "3"}), tv.environment());
    EXPECT_EQ(watching.readLine(), "watching 7 sources");

    tv.command({"plug", "usb-stick", "--name", "Été 2027"});
    EXPECT_EQ(watching.readLine(), "added    \"Été 2027\" (type 8, index 2, key usb-stick)");
    tv.command({"unplug", "usb-stick"});
    EXPECT_EQ(watching.readLine(), "removed  \"Été 2027\" (type 8, index 2, key usb-stick)");
    outputOf({"rename", "4", "Spielkonsole Bär"});
    EXPECT_EQ(watching.readLine(),
              "changed  \"Spielkonsole Bär\" (type 4, index 0, key hdmi2): "
              "name \"\" → \"Spielkonsole Bär\"");
    EXPECT_EQ(finish(watching).exitCode, 0);
}

TEST_F(CommandsTest, WatchPrintsTheRecordsThatChangedAsJson) {
    ChildProgram watching(sourcectlWith({"watch", "--json", "--count", "1"}), tv.environment());
    EXPECT_EQ(parsedJson(watching.readLine())["sources"], documentOf({"list"}));

    const Json::Value before = listed("hdmi2");
    outputOf({"rename", "4", "Konsole"});
    const Json::Value change = parsedJson(watching.readLine());
    ASSERT_EQ(change["changed"].size(), 1U);
    EXPECT_EQ(change["changed"][0]["before"], before);
    EXPECT_EQ(change["changed"][0]["after"], listed("hdmi2"));
    EXPECT_EQ(change["added"].size() + change["removed"].size(), 0U);
    EXPECT_TRUE(change["result"].isInt());
    EXPECT_EQ(finish(watching).exitCode, 0);
}

}  // namespace
