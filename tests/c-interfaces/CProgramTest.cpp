// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Programs in C99 that know the library by its C headers only, run against a source service and
// the emulated TV's platform.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "ChildProgram.h"
#include "FakeService.h"
#include "ReadinessEvent.h"
#include "SettingsStore.h"
#include "TemporaryFolder.h"
#include "TestBus.h"

namespace {

class CProgramTest : public testing::Test {
 protected:
    CProgramTest() {
        emulated_tv::SettingsStore(root.path())
            .set("db/source-list/source-name",
                 R"([{"SourceType":7,"EditName":"Game","DeviceType":-1,"MbrActivityIndex":0}])");
        emulated_tv::ReadinessEvent(root.path(), "/tmp/source_service_ready").set();
        g_setenv("SOURCE_TV_ROOT", root.path().c_str(), TRUE);
        service.replyTo("UtilGetSourceList",
                        R"({"return_data":[{"sourceType":8,"uniqueKey":"stick"},)"
                        R"({"sourceType":3,"editName":"My%20TV","detectedName":"Box",)"
                        R"("iconPath":"/icon","uniqueKey":"hdmi","connectionState":true,)"
                        R"("powerState":2,"mbrActivityIndex":1}]})");
    }

    // The output of a program, which must succeed without writing to standard error.
    static std::string outputOf(const char *path) {
        ChildProgram program({path});
        std::string output = program.readAll();
        EXPECT_EQ(program.waitForExit(), 0);
        EXPECT_EQ(program.errors(), "");
        return output;
    }

    TemporaryFolder root;
    TestBus bus;
    FakeService service{bus};
};

TEST_F(CProgramTest, EveryFunctionOfTheBindingWorksFromC) {
    service.replyTo("UtilGetUsbData", R"({"deviceName":"Disk"})");
    service.replyTo("UtilSetSourceDeviceType", R"({"return_data":false})");
    EXPECT_EQ(outputOf(DOTNET_PROGRAM),
              "changed 0 kept\n"
              "list [\t{\t\t\"sourceType\" : 8,\t\t\"uniqueKey\" : \"stick\"\t},"
              "\t{\t\t\"connectionState\" : true,\t\t\"detectedName\" : \"Box\","
              "\t\t\"editName\" : \"My%20TV\",\t\t\"iconPath\" : \"/icon\","
              "\t\t\"mbrActivityIndex\" : 1,\t\t\"powerState\" : 2,\t\t\"sourceType\" : 3,"
              "\t\t\"uniqueKey\" : \"hdmi\"\t}]\n"
              "name Game\n"
              "unknown name (none)\n"
              "device type 4294967295\n"
              "on screen HDMI 1\n"
              "unknown on screen ----\n"
              "connect 1\n"
              "connect with key 1\n"
              "set name 1\n"
              "set device type 0\n"
              "set detected 1\n"
              "usb {\n\t\"dbus_result\" : null,\n\t\"deviceName\" : \"Disk\"\n}\n\n");
    EXPECT_EQ(service.calls().size(), 7U);
}

TEST_F(CProgramTest, EveryFunctionWithThePrefixWorksFromC) {
    EXPECT_EQ(outputOf(SOURCE_API_PROGRAM),
              "3: 3 'My TV' 'Box' '/icon' 'hdmi' 'HDMI 1' 1 2 1 0\n"
              "8: 8 '' '' '' 'stick' 'USB' 0 0 0 0\n"
              "list 1\n"
              "device type 4294967295\n"
              "unknown device type 0\n"
              "connect 1\n"
              "run app 1\n");
    EXPECT_EQ(service.calls().size(), 3U);
}

TEST_F(CProgramTest, ProgramWithoutAServiceGetsFailuresAndNoCrash) {
    service.releaseName();
    EXPECT_EQ(outputOf(SOURCE_API_PROGRAM),
              "list 0\n"
              "device type 4294967295\n"
              "unknown device type 0\n"
              "connect 0\n"
              "run app 0\n");
}

}  // namespace
