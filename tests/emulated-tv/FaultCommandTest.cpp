// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "BusConnection.h"
#include "EmulatorRoot.h"
#include "SecondShell.h"

namespace emulated_tv {

using testing::HasSubstr;

class FaultCommandTest : public SecondShell {
 protected:
    void SetUp() override {
        SecondShell::SetUp();
        m_connection = support::connectTo(findBusAddress(root()));
    }

    void expectDone(const std::vector<std::string> &arguments) const {
        const Result result = command(arguments);
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(result.output + result.errors, "");
    }

    // The body of the reply to a command, or the error message.
    std::string replyTo(const std::string &name) const {
        g_autoptr(GError) error = nullptr;
        const std::string request =
            R"({"method":")" + name + R"(","data":{"SourceType":3,"SourceUniqueKey":"hdmi1"}})";
        const support::Variant reply(g_dbus_connection_call_sync(
            m_connection.get(), "source_service.message", "/source_service/message",
            "source_service.message", "SendMessage",
            g_variant_new("(suss)", "test", 0U, "", request.c_str()), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
        if (!reply) {
            return error->message;
        }
        g_autofree char *text = g_variant_print(reply.get(), FALSE);
        return text;
    }

    support::Connection m_connection;
};

TEST_F(FaultCommandTest, NextRepliesToACommandFailAsRequested) {
    expectDone({"fault", "refused", "--command", "RunApp", "--count", "2"});
    EXPECT_THAT(replyTo("SourceConnect"), HasSubstr("\"return_data\":true"));
    EXPECT_THAT(replyTo("RunApp"), HasSubstr("refused on demand"));
    EXPECT_THAT(replyTo("RunApp"), HasSubstr("refused on demand"));
    EXPECT_THAT(replyTo("RunApp"), HasSubstr("\"return_data\":true"));
    expectDone({"fault", "late", "--delay", "1"});
    EXPECT_THAT(replyTo("RunApp"), HasSubstr("\"return_data\":true"));
}

TEST_F(FaultCommandTest, TvKeepsRunningWhileTheServiceIsDead) {
    expectDone({"fault", "crash"});
    EXPECT_THAT(replyTo("RunApp"), HasSubstr("ServiceUnknown"));
    EXPECT_EQ(command({"plug", "usb-stick"}).code, 0);
    EXPECT_THAT(list(), HasSubstr("usb-stick"));
    const Result second = command({"fault", "crash"});
    EXPECT_EQ(second.code, 1);
    EXPECT_THAT(second.errors, HasSubstr("the source service is dead"));
    expectDone({"fault", "restart"});
    EXPECT_THAT(replyTo("UtilGetSourceList"), HasSubstr("usb-stick"));
    expectDone({"fault", "flood", "--count", "3", "--per-second", "1000"});
    expectDone({"fault", "clear"});
}

TEST_F(FaultCommandTest, WrongUsageIsRejectedWithoutARunningTv) {
    for (const auto &arguments :
         std::vector<std::vector<std::string>>{{"fault"},
                                               {"fault", "slow"},
                                               {"fault", "late"},
                                               {"fault", "flood"},
                                               {"fault", "late", "--delay", "-1"},
                                               {"fault", "crash", "--count", "2"},
                                               {"fault", "error", "--count", "0"},
                                               {"fault", "error", "--command", "NoSuchCommand"}}) {
        const Result result = command(arguments, environment());
        EXPECT_EQ(result.code, 2) << testing::PrintToString(arguments);
        EXPECT_NE(result.errors, "");
    }
}

}  // namespace emulated_tv
