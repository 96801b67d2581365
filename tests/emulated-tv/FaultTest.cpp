// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>

#include "TvOnBusTest.h"

namespace emulated_tv {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::StartsWith;
using Clock = std::chrono::steady_clock;

namespace {

constexpr auto nameHdmi2 = R"(('source_api', uint32 0, '', '{"method":"UtilSetSourceEditName",
    "data":{"SourceType":4,"EditName":"Executed","MBRActivityIndex":0}}'))";
constexpr auto connectHdmi1 = R"(('source_api', uint32 0, '',
    '{"method":"SourceConnect","data":{"SourceType":3}}'))";
constexpr auto normalReply = R"(('source_service', uint32 0, '', '{"return_data":true}'))";

}  // namespace

class FaultTest : public TvOnBusTest {
 protected:
    // The body of the reply, or the error message.
    std::string replyTo(const char *request, const char *method = "SendMessage") {
        const Variant reply = send(method, request);
        return reply ? textOf(reply.get()) : m_error;
    }
    Call startCall(const char *request) {
        return Call(m_client.get(), busName, objectPath, busName, "SendMessage", parsed(request));
    }

    void fault(const char *arguments) { EXPECT_TRUE(control("Fault", arguments)) << m_error; }
    std::string refusalOf(const char *arguments) {
        EXPECT_FALSE(control("Fault", arguments)) << arguments;
        return m_error;
    }

    // The unique name of the source service, empty when there is none.
    std::string owner() {
        const Variant reply =
            call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                 "GetNameOwner", parsed("('source_service.message',)"));
        const char *name = "";
        if (reply) {
            g_variant_get(reply.get(), "(&s)", &name);
        }
        return name;
    }

    // Emits one more signal and waits until it and all earlier ones have arrived.
    void emitMarker() {
        static int markers = 0;
        const std::string name = "marker " + std::to_string(++markers);
        m_tv->rename("av", name);
        ASSERT_TRUE(serveUntil([&] {
            return !m_signals.empty() &&
                   textOf(m_signals.back().body.get())
                           .find("marker%20" + std::to_string(markers)) != std::string::npos;
        }));
    }
};

struct FaultyReply {
    const char *kind;
    const char *reply;
    bool isExecuted;
};

std::ostream &operator<<(std::ostream &out, const FaultyReply &faulty) {
    return out << faulty.kind;
}

class FaultyReplyTest : public FaultTest, public testing::WithParamInterface<FaultyReply> {};

TEST_P(FaultyReplyTest, IsReceivedOnce) {
    const auto &[kind, expected, isExecuted] = GetParam();
    fault(("('" + std::string(kind) + "', @a{sv} {})").c_str());
    EXPECT_THAT(replyTo(nameHdmi2), HasSubstr(expected));
    EXPECT_EQ(m_tv->model().source("hdmi2").editName, isExecuted ? "Executed" : "");
    EXPECT_EQ(replyTo(nameHdmi2), normalReply);
    ASSERT_TRUE(serveUntil([&] { return !m_signals.empty(); })) << "a change is announced";
    EXPECT_EQ(m_signals.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, FaultyReplyTest,
    testing::Values(
        FaultyReply{"not-json", "('source_service', uint32 0, '', 'no JSON on demand')", true},
        FaultyReply{"other-json", R"(('source_service', uint32 0, '', '["an array on demand"]'))",
                    true},
        FaultyReply{"no-return-data", "('source_service', uint32 0, '', '{}')", true},
        FaultyReply{"other-body", "(0,)", true}, FaultyReply{"empty-body", "()", true},
        FaultyReply{"refused", R"(0, '', '{"error":"refused on demand","return_data":false}'))",
                    false},
        FaultyReply{"dbus-fail",
                    R"('{"dbus_result":"fail","error":"refused on demand","return_data":false}'))",
                    false},
        FaultyReply{"error", "org.freedesktop.DBus.Error.Failed: refused on demand", false}),
    [](const auto &tested) {
        std::string name = tested.param.kind;
        name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
        return name;
    });

TEST_F(FaultTest, FaultyTextIsSentWithTheSignatureOfTheMethod) {
    fault("('not-json', @a{sv} {})");
    EXPECT_EQ(
        replyTo(R"(('source_api', uint32 0, '', '{}', [(byte 0x01,)]))", "SendMessageWithBuffer"),
        "('source_service', uint32 0, '', 'no JSON on demand', [(byte 0x00,)])");
}

TEST_F(FaultTest, LateReplyIsCorrectAndDelaysNoOther) {
    const auto start = Clock::now();
    fault("('late', {'delay': <uint32 60>})");
    const Call late = startCall(nameHdmi2);
    EXPECT_EQ(replyTo(connectHdmi1), normalReply);
    EXPECT_EQ(m_tv->model().source("hdmi2").editName, "Executed");
    const Variant reply = finish(late);
    ASSERT_TRUE(reply) << m_error;
    EXPECT_EQ(textOf(reply.get()), normalReply);
    EXPECT_GE(Clock::now() - start, milliseconds(60));
}

TEST_F(FaultTest, RepliesWithAShorterDelayOvertakeOthers) {
    fault("('late', {'delay': <uint32 3600000>})");
    fault("('late', {'delay': <uint32 1>})");
    const Call later = startCall(connectHdmi1);
    const Call sooner = startCall(connectHdmi1);
    EXPECT_TRUE(finish(sooner));
    EXPECT_FALSE(later.isAnswered());
    fault("('crash', @a{sv} {})");
    EXPECT_FALSE(finish(later));
}

TEST_F(FaultTest, AbsentReplyNeverArrivesWhileOthersDo) {
    fault("('absent', @a{sv} {})");
    const Call lost = startCall(nameHdmi2);
    EXPECT_EQ(replyTo(connectHdmi1), normalReply);
    EXPECT_FALSE(lost.isAnswered());
    EXPECT_EQ(m_tv->model().source("hdmi2").editName, "");
    fault("('crash', @a{sv} {})");
    EXPECT_FALSE(finish(lost));
    EXPECT_THAT(m_error, HasSubstr("NoReply"));
}

TEST_F(FaultTest, CountIsTheNumberOfRepliesThatFail) {
    fault("('refused', {'count': <uint32 3>})");
    for (int answer = 0; answer < 3; ++answer) {
        EXPECT_THAT(replyTo(connectHdmi1), HasSubstr("refused on demand"));
    }
    EXPECT_EQ(replyTo(connectHdmi1), normalReply);
}

TEST_F(FaultTest, OnlyTheNamedCommandFails) {
    fault("('refused', {'command': <'UtilSetSourceEditName'>})");
    EXPECT_EQ(replyTo(connectHdmi1), normalReply);
    EXPECT_THAT(replyTo(nameHdmi2), HasSubstr("refused on demand"));
    EXPECT_EQ(replyTo(nameHdmi2), normalReply);
}

TEST_F(FaultTest, OldestFaultForACommandIsUsedFirst) {
    fault("('dbus-fail', {'command': <'UtilSetSourceEditName'>})");
    fault("('not-json', @a{sv} {})");
    fault("('error', @a{sv} {})");
    EXPECT_THAT(replyTo(connectHdmi1), HasSubstr("no JSON"));
    EXPECT_THAT(replyTo(nameHdmi2), HasSubstr("dbus_result"));
    EXPECT_THAT(replyTo(nameHdmi2), HasSubstr("Error.Failed"));
    EXPECT_EQ(replyTo(nameHdmi2), normalReply);
}

TEST_F(FaultTest, ClearRemovesPendingFaults) {
    fault("('refused', {'count': <uint32 100>})");
    fault("('absent', @a{sv} {})");
    EXPECT_THAT(replyTo(connectHdmi1), HasSubstr("refused on demand"));
    fault("('clear', @a{sv} {})");
    EXPECT_EQ(replyTo(connectHdmi1), normalReply);
}

TEST_F(FaultTest, CrashedServiceIsGoneFromTheBusUntilItIsRestarted) {
    const std::string first = owner();
    EXPECT_THAT(first, StartsWith(":"));
    fault("('crash', @a{sv} {})");
    EXPECT_EQ(owner(), "");
    EXPECT_THAT(replyTo(connectHdmi1), HasSubstr("ServiceUnknown"));
    fault("('restart', @a{sv} {})");
    EXPECT_THAT(owner(), StartsWith(":"));
    EXPECT_NE(owner(), first);
    EXPECT_EQ(replyTo(connectHdmi1), normalReply);
}

TEST_F(FaultTest, RestartKillsARunningService) {
    const std::string first = owner();
    fault("('absent', @a{sv} {})");
    const Call lost = startCall(connectHdmi1);
    EXPECT_EQ(replyTo(connectHdmi1), normalReply);
    fault("('restart', @a{sv} {})");
    EXPECT_FALSE(finish(lost));
    EXPECT_NE(owner(), first);
    EXPECT_EQ(replyTo(connectHdmi1), normalReply);
}

TEST_F(FaultTest, ChangesWhileTheServiceIsDeadAreStoredButNotAnnounced) {
    fault("('crash', @a{sv} {})");
    ASSERT_TRUE(control("Plug", "('usb-stick', @a{sv} {})")) << m_error;
    fault("('restart', @a{sv} {})");
    emitMarker();
    ASSERT_EQ(m_signals.size(), 1U) << "the marker only";
    EXPECT_EQ(m_signals.back().message()["return_data"][7]["uniqueKey"], "usb-stick");
}

TEST_F(FaultTest, PendingFaultsSurviveARestartOfTheService) {
    fault("('refused', @a{sv} {})");
    fault("('restart', @a{sv} {})");
    EXPECT_THAT(replyTo(connectHdmi1), HasSubstr("refused on demand"));
}

TEST_F(FaultTest, DeadServiceCannotCrashOrFlood) {
    fault("('crash', @a{sv} {})");
    EXPECT_THAT(refusalOf("('crash', @a{sv} {})"), HasSubstr("fault restart"));
    EXPECT_THAT(refusalOf("('flood', {'count': <uint32 1>})"), HasSubstr("fault restart"));
}

TEST_F(FaultTest, FloodEmitsTheRequestedNumberOfSignals) {
    fault("('flood', {'count': <uint32 500>})");
    ASSERT_TRUE(serveUntil([&] { return m_signals.size() >= 500; }));
    EXPECT_EQ(m_signals.back().message()["method"], "SourceListChanged");
    EXPECT_EQ(m_signals.back().message()["return_data"], m_tv->model().list());
    emitMarker();
    EXPECT_EQ(m_signals.size(), 501U);
}

TEST_F(FaultTest, FloodKeepsToItsRate) {
    const auto start = Clock::now();
    fault("('flood', {'count': <uint32 5>, 'per_second': <uint32 50>})");
    ASSERT_TRUE(serveUntil([&] { return m_signals.size() == 5; }));
    EXPECT_GE(Clock::now() - start, milliseconds(80));
}

TEST_F(FaultTest, CallsAreAnsweredDuringAFloodAndClearEndsIt) {
    fault("('flood', {'count': <uint32 1000000>, 'per_second': <uint32 1000>})");
    ASSERT_TRUE(serveUntil([&] { return m_signals.size() >= 5; }));
    EXPECT_EQ(replyTo(connectHdmi1), normalReply);
    fault("('clear', @a{sv} {})");
    emitMarker();
    const std::size_t before = m_signals.size();
    emitMarker();
    EXPECT_EQ(m_signals.size(), before + 1);
}

TEST_F(FaultTest, RestartEndsAFlood) {
    fault("('flood', {'count': <uint32 1000000>, 'per_second': <uint32 1000>})");
    ASSERT_TRUE(serveUntil([&] { return m_signals.size() >= 5; }));
    fault("('restart', @a{sv} {})");
    emitMarker();
    const std::size_t before = m_signals.size();
    emitMarker();
    EXPECT_EQ(m_signals.size(), before + 1);
}

TEST_F(FaultTest, InvalidFaultIsRejectedWithTheReason) {
    struct {
        const char *arguments;
        const char *why;
    } const invalid[] = {
        {"('slow', @a{sv} {})", "there is no fault \"slow\"; there are late, not-json"},
        {"('late', @a{sv} {})", "the fault late needs a delay"},
        {"('flood', @a{sv} {})", "the fault flood needs a count"},
        {"('absent', {'count': <uint32 0>})", "a count and a rate per second must be at least 1"},
        {"('flood', {'count': <uint32 1>, 'per_second': <uint32 0>})", "must be at least 1"},
        {"('error', {'delay': <uint32 1>})", "the fault error takes no delay"},
        {"('error', {'per_second': <uint32 1>})", "the fault error takes no rate per second"},
        {"('crash', {'count': <uint32 1>})", "the fault crash takes no count"},
        {"('flood', {'count': <uint32 1>, 'command': <'RunApp'>})", "flood takes no command"},
        {"('error', {'command': <'Run'>})",
         "there is no command \"Run\"; the source service has RunApp, SourceConnect"},
    };
    for (const auto &[arguments, why] : invalid) {
        EXPECT_THAT(refusalOf(arguments), HasSubstr(why));
    }
    EXPECT_EQ(replyTo(connectHdmi1), normalReply);
}

}  // namespace emulated_tv
