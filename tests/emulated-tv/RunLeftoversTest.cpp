// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What a killed emulator leaves on the disk, and how the next one removes it.
#include <gmock/gmock.h>

#include <csignal>

#include "EmulatorTest.h"

namespace emulated_tv {

namespace fs = std::filesystem;

class RunLeftoversTest : public EmulatorTest {
 protected:
    // Runs an emulator and kills it while its command runs.
    void killEmulatorIn(const std::vector<std::string> &options) const {
        ReadinessEvent(scratch(), "ready").clear();
        std::vector<std::string> arguments = {"run"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        for (const char *word :
             {"--", "sh", "-c",
              "echo $DBUS_SYSTEM_BUS_ADDRESS > $SCRATCH/address; mkdir -p $SCRATCH/events;"
              ": > $SCRATCH/events/ready; exec sleep 1000"}) {
            arguments.push_back(word);
        }
        Program tv(emulator(arguments), environment());
        ASSERT_TRUE(isReady());
        sendSignal(tv.pid(), SIGKILL);
        EXPECT_EQ(tv.exitCode(), 128 + SIGKILL);
    }

    // Another emulator, with a temporary root of its own.
    void runNext() const {
        Program next(emulator({"run", "--", "true"}), environment());
        EXPECT_EQ(next.exitCode(), 0) << next.errors();
        EXPECT_EQ(next.output() + next.errors(), "");
    }

    // Where EmulatorTest's environment has temporary roots.
    fs::path home() const { return environment().at("XDG_RUNTIME_DIR"); }
    fs::path namedLikeARoot(const std::string &end) const {
        return home() / ("tv-emulator-" + std::to_string(getuid()) + "-" + end);
    }
};

TEST_F(RunLeftoversTest, TemporaryRootIsRemovedByTheNextStart) {
    killEmulatorIn({});
    ASSERT_FALSE(noRootIsLeft());
    runNext();
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunLeftoversTest, TemporaryRootIsRemovedByAStartInANamedRoot) {
    killEmulatorIn({});
    Program next(emulator({"run", "--root", scratch() / "root", "--", "true"}), environment());
    EXPECT_EQ(next.exitCode(), 0) << next.errors();
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunLeftoversTest, TemporaryRootWithoutALockFileIsRemoved) {
    fs::create_directories(namedLikeARoot("empty"));
    runNext();
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunLeftoversTest, NamedRootKeepsItsStateOnly) {
    const fs::path root = scratch() / "root";
    killEmulatorIn({"--root", root});
    ASSERT_TRUE(fs::exists(root / "bus"));
    ASSERT_TRUE(fs::exists(root / "bus-address"));
    ASSERT_TRUE(ReadinessEvent(root, "/tmp/source_service_ready").wait({}));
    // This one does not come to the point of having a bus, and it removes what there is before.
    Environment changes = environment();
    changes["PATH"] = "/no/such/folder";
    Program next(emulator({"run", "--root", root, "--", "true"}), changes);
    EXPECT_EQ(next.exitCode(), 1);
    for (const char *name : {"bus", "bus.conf", "bus-address"}) {
        EXPECT_FALSE(fs::exists(root / name)) << name;
    }
    EXPECT_FALSE(ReadinessEvent(root, "/tmp/source_service_ready").wait({}));
    EXPECT_TRUE(fs::exists(root / "state.json"));
}

TEST_F(RunLeftoversTest, ServiceAloneRemovesNoBusThatAnotherProgramHasInItsRoot) {
    const fs::path root = scratch() / "root";
    fs::create_directories(root);
    replaceFile(root / "bus", "");
    Environment changes = environment();
    changes["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=/no/such/bus";
    Program next(emulator({"serve", "--root", root}), changes);
    EXPECT_EQ(next.exitCode(), 1);
    EXPECT_TRUE(fs::exists(root / "bus"));
}

TEST_F(RunLeftoversTest, NamedRootCanBeUsedAgain) {
    const fs::path root = scratch() / "root";
    for (int round = 0; round < 2; ++round) {
        killEmulatorIn({"--root", root});
        Program list(emulator({"list", "--root", root}), environment());
        EXPECT_EQ(list.exitCode(), 1);
        EXPECT_THAT(list.errors(), testing::HasSubstr("no emulated TV is running in"))
            << "what is left does not look like a running TV";
    }
    Program next(emulator({"run", "--root", root, "--", TV_EMULATOR, "list"}), environment());
    EXPECT_EQ(next.exitCode(), 0) << next.errors();
}

TEST_F(RunLeftoversTest, SocketOfADeepRootIsRemovedByTheNextStart) {
    killEmulatorIn({"--root", scratch() / std::string(120, 'd')});
    EXPECT_THAT(readFile(scratch() / "address"),
                testing::Optional(testing::StartsWith("unix:path=" + home().string() + "/")));
    ASSERT_FALSE(noRootIsLeft());
    runNext();
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunLeftoversTest, RootsInUseAreKept) {
    Program first(emulator({"run"}), environment());
    ASSERT_TRUE(first.waitForOutput("turns it off"));
    runNext();
    Program list(emulator({"list"}), environment());
    EXPECT_EQ(list.exitCode(), 0) << list.errors();
    sendSignal(first.pid(), SIGTERM);
    EXPECT_EQ(first.exitCode(), 0);
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(RunLeftoversTest, OtherFilesAreKept) {
    const fs::path target = scratch() / "target";
    fs::create_directories(target / "folder");
    fs::create_directory_symlink(target, namedLikeARoot("link"));
    replaceFile(namedLikeARoot("file"), "text");
    const fs::path ofAnotherUser = home() / ("tv-emulator-" + std::to_string(getuid() + 1) + "-x");
    fs::create_directories(ofAnotherUser);
    runNext();
    EXPECT_TRUE(fs::exists(target / "folder"));
    EXPECT_TRUE(fs::is_symlink(namedLikeARoot("link")));
    EXPECT_TRUE(fs::exists(namedLikeARoot("file")));
    EXPECT_TRUE(fs::exists(ofAnotherUser));
}

}  // namespace emulated_tv
