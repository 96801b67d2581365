// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The bus policy of a real TV, on a bus whose service user is the user of the test, and on one
// whose service user is another.
#include <gmock/gmock.h>
#include <pwd.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProgram.h"
#include "FakePlatform.h"
#include "FakeService.h"
#include "RecordedCallback.h"
#include "SourceAPI.h"
#include "TemporaryFolder.h"
#include "TestBus.h"

namespace {

constexpr const char *change = R"({"return_data":[{"sourceType":9}],"data":{"result":5}})";

std::string currentUser() {
    return getpwuid(getuid())->pw_name;
}
std::string otherUser() {
    return currentUser() == "nobody" ? "daemon" : "nobody";
}

std::string contentOf(const std::filesystem::path &file) {
    std::ostringstream content;
    content << std::ifstream(file).rdbuf();
    return content.str();
}

// Makes the folder readable for other users, independently of the umask.
void openToOtherUsers(const std::filesystem::path &folder) {
    std::filesystem::permissions(folder, std::filesystem::perms(0755));
}

// A message bus with the policy file for the given service user, configured as a system bus: what
// no policy allows is denied.
class PolicyBus {
 public:
    explicit PolicyBus(const std::string &serviceUser) {
        std::filesystem::create_directory(m_folder / "system.d");
        openToOtherUsers(m_folder);
        const std::string placeholder = "@SOURCE_API_SERVICE_USER@";
        std::string policy = contentOf(POLICY_TEMPLATE);
        policy.replace(policy.find(placeholder), placeholder.size(), serviceUser);
        std::ofstream(m_folder / "system.d" / "source-service.conf") << policy;
        std::ofstream(m_folder / "bus.conf")
            << "<busconfig><type>system</type><keep_umask/><listen>unix:tmpdir="
            << m_folder.string()
            << "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/>"
               "<deny own=\"*\"/><deny send_type=\"method_call\"/>"
               "<allow send_type=\"signal\"/><allow send_requested_reply=\"true\" "
               "send_type=\"method_return\"/><allow send_requested_reply=\"true\" "
               "send_type=\"error\"/><allow receive_type=\"method_call\"/>"
               "<allow receive_type=\"method_return\"/><allow receive_type=\"error\"/>"
               "<allow receive_type=\"signal\"/>"
               "<allow send_destination=\"org.freedesktop.DBus\"/></policy>"
               "<includedir>system.d</includedir></busconfig>";
        m_daemon.emplace(std::vector<std::string>{
            DBUS_DAEMON, "--config-file=" + (m_folder / "bus.conf").string(), "--nofork",
            "--print-address"});
        m_address = m_daemon->readLine();
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.c_str(), TRUE);
    }
    PolicyBus(const PolicyBus &) = delete;
    PolicyBus &operator=(const PolicyBus &) = delete;

    BusConnection connect() const { return connectTo(m_address); }
    const std::string &address() const { return m_address; }

 private:
    TemporaryFolder m_temporary;
    const std::filesystem::path &m_folder = m_temporary.path();
    std::optional<ChildProgram> m_daemon;
    std::string m_address;
};

// The result of RequestName for the service's name: 1 for the new owner, 0 if it was refused.
guint requestServiceName(GDBusConnection *connection) {
    GVariant *const reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", "source_service.message", 0U), nullptr,
        G_DBUS_CALL_FLAGS_NONE, waitLimit, nullptr, nullptr);
    if (reply == nullptr) {
        return 0;
    }
    guint outcome = 0;
    g_variant_get(reply, "(u)", &outcome);
    g_variant_unref(reply);
    return outcome;
}

void emitChange(GDBusConnection *connection, const char *destination = nullptr) {
    ASSERT_TRUE(g_dbus_connection_emit_signal(connection, destination, "/source_service/message",
                                              "source_service.message", "source_api",
                                              plainBody(change), nullptr));
}

class BusPolicyTest : public testing::Test {
 protected:
    void useClient() {
        FakePlatform::get().setSourceNames("[]");
        CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &received);
        // The daemon has handled the subscription when this call returns.
        CSourceAPI::Get()->Connect(1);
    }

    RecordedCallback received;
};

TEST_F(BusPolicyTest, TheServicesUserOwnsTheNameAndItsSignalsArrive) {
    const PolicyBus bus(currentUser());
    FakeService service(bus.connect());
    useClient();
    EXPECT_EQ(service.countOf("SourceConnect"), 1);
    service.emitChange(change);
    EXPECT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_THAT(received.values(), testing::ElementsAre(5));
}

TEST_F(BusPolicyTest, AnotherUserCannotTakeTheName) {
    const PolicyBus bus(otherUser());
    const BusConnection other = bus.connect();
    EXPECT_EQ(requestServiceName(other.get()), 0U);
}

TEST_F(BusPolicyTest, AChangeSignalOfAnotherUserReachesNoApplication) {
    const PolicyBus bus(otherUser());
    const BusConnection other = bus.connect();
    useClient();
    emitChange(other.get());
    emitChange(other.get(), g_dbus_connection_get_unique_name(sharedConnection().get()));
    EXPECT_TRUE(deliverSignalsOf(other.get()));
    EXPECT_THAT(received.values(), testing::IsEmpty());
}

// The same with two users on one bus, which requires root.
class SecondUserTest : public BusPolicyTest {
 protected:
    void SetUp() override {
        if (getuid() != 0) {
            GTEST_SKIP() << "only root can act as a second user; BusPolicyTest shows the same";
        }
    }

    // Sends a message as the other user with dbus-send, and returns its exit code.
    static int sendAsOtherUser(const std::string &address, std::vector<std::string> message) {
        std::vector<std::string> command{SETPRIV, "--reuid=" + otherUser(), "--clear-groups",
                                         DBUS_SEND, "--bus=" + address};
        command.insert(command.end(), message.begin(), message.end());
        ChildProgram program(command);
        return program.waitForExit();
    }
    static void expectNameRefusedToOtherUser(const std::string &address) {
        // The other user can use the bus, but not own the name.
        EXPECT_EQ(sendAsOtherUser(address, {"--print-reply", "--dest=org.freedesktop.DBus", "/",
                                            "org.freedesktop.DBus.GetId"}),
                  0);
        EXPECT_NE(sendAsOtherUser(address, {"--print-reply", "--dest=org.freedesktop.DBus", "/",
                                            "org.freedesktop.DBus.RequestName",
                                            "string:source_service.message", "uint32:0"}),
                  0);
    }
    static void forgeChange(const std::string &address) {
        sendAsOtherUser(address, {"--type=signal", "/x", "x.y.source_api"});
    }
};

TEST_F(SecondUserTest, CannotTakeTheName) {
    const PolicyBus bus(currentUser());
    expectNameRefusedToOtherUser(bus.address());
}

TEST_F(SecondUserTest, CannotSendSignalsToApplications) {
    const PolicyBus bus(currentUser());
    FakeService service(bus.connect());
    useClient();
    forgeChange(bus.address());
    EXPECT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_THAT(received.values(), testing::IsEmpty());
    service.emitChange(change);
    EXPECT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_THAT(received.values(), testing::ElementsAre(5));
}

// An emulated TV whose bus other users can reach.
class EmulatedTv {
 public:
    EmulatedTv() {
        std::filesystem::create_directory(m_root);
        openToOtherUsers(m_root);
        m_emulator.emplace(std::vector<std::string>{TV_EMULATOR, "run", "--root", m_root.string(),
                                                    "--", "sh", "-c",
                                                    "echo \"$DBUS_SYSTEM_BUS_ADDRESS\"; cat"});
        m_busAddress = m_emulator->readLine();
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", m_busAddress.c_str(), TRUE);
    }
    ~EmulatedTv() {
        m_emulator->closeInput();
        EXPECT_EQ(m_emulator->waitForExit(), 0);
        std::filesystem::remove_all(m_root);
    }
    EmulatedTv(const EmulatedTv &) = delete;
    EmulatedTv &operator=(const EmulatedTv &) = delete;

    const std::string &busAddress() const { return m_busAddress; }
    int unplug(const std::string &source) const {
        ChildProgram emulator({TV_EMULATOR, "unplug", "--root", m_root.string(), source});
        return emulator.waitForExit();
    }

 private:
    std::filesystem::path m_root =
        std::filesystem::path(testing::TempDir()) / ("policy-tv-" + std::to_string(getpid()));
    std::optional<ChildProgram> m_emulator;
    std::string m_busAddress;
};

TEST_F(SecondUserTest, CannotTakeTheNameOnTheBusOfTheEmulatedTv) {
    const EmulatedTv tv;
    expectNameRefusedToOtherUser(tv.busAddress());
}

TEST_F(SecondUserTest, CannotSendSignalsOnTheBusOfTheEmulatedTv) {
    const EmulatedTv tv;
    useClient();
    forgeChange(tv.busAddress());
    // The daemon keeps the order of messages, so the forged signal would arrive before the TV's.
    EXPECT_EQ(tv.unplug("usb-disk"), 0);
    EXPECT_TRUE(iterateUntil([this] { return !received.values().empty(); }));
    EXPECT_THAT(received.values(), testing::ElementsAre(2));
}

}  // namespace
