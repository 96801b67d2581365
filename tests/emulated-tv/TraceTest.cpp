// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "Trace.h"
#include "TvOnBusTest.h"

namespace emulated_tv {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

constexpr auto connectHdmi1 = R"(('source_api', uint32 7, 'aside',
    '{"method":"SourceConnect","data":{"SourceType":3}}'))";

}  // namespace

class TraceTest : public TvOnBusTest {
 protected:
    // The next decoded messages.
    std::vector<Json::Value> traced(std::size_t count) {
        std::vector<Json::Value> messages;
        EXPECT_TRUE(serveUntil([&] {
            while (messages.size() < count) {
                const auto monitored = m_monitor.nextIfAny();
                if (!monitored) {
                    return false;
                }
                if (auto message = m_decoder.decode(*monitored)) {
                    messages.push_back(std::move(*message));
                }
            }
            return true;
        }));
        messages.resize(count);
        return messages;
    }
    void fault(const char *kind) {
        ASSERT_TRUE(control("Fault", ("('" + std::string(kind) + "', @a{sv} {})").c_str()));
    }

    Monitor m_monitor{g_test_dbus_get_bus_address(m_bus.get())};
    MessageDecoder m_decoder;
};

TEST_F(TraceTest, CallAndReplyAreRecordedInOrderWithAllFields) {
    ASSERT_TRUE(send("SendMessage", connectHdmi1)) << m_error;
    const auto messages = traced(2);
    const Json::Value &call = messages[0];
    EXPECT_EQ(call["kind"], "call");
    EXPECT_EQ(call["from"], g_dbus_connection_get_unique_name(m_client.get()));
    EXPECT_EQ(call["to"], busName);
    EXPECT_EQ(call["member"], "SendMessage");
    EXPECT_EQ(call["sender"], "source_api");
    EXPECT_EQ(call["number"].asInt(), 7);
    EXPECT_EQ(call["auxiliaryText"], "aside");
    EXPECT_EQ(call["json"]["data"]["SourceType"], 3);
    EXPECT_THAT(call["time"].asString(),
                MatchesRegex("[0-9-]{10}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z"));
    const Json::Value &answer = messages[1];
    EXPECT_EQ(answer["kind"], "answer");
    EXPECT_EQ(answer["to"], call["from"]);
    EXPECT_EQ(answer["member"], "SendMessage");
    EXPECT_EQ(answer["sender"], "source_service");
    EXPECT_EQ(answer["json"], *support::parseJson(R"({"return_data":true})"));
    EXPECT_GE(answer["time"].asString(), call["time"].asString());
}

TEST_F(TraceTest, BufferIsRecordedWithItsSizeAndBytes) {
    ASSERT_TRUE(send("SendMessageWithBuffer", R"(('source_api', uint32 0, '',
        '{"method":"SourceConnect","data":{"SourceType":3}}', [(byte 0x01,), (byte 0xff,)]))"));
    const auto messages = traced(2);
    EXPECT_EQ(support::jsonLine(messages[0]["buffer"]), R"({"hex":"01ff","size":2})");
    EXPECT_THAT(traceLine(messages[0]), HasSubstr(" buffer of 2: 01ff"));
    EXPECT_EQ(support::jsonLine(messages[1]["buffer"]), R"({"hex":"00","size":1})");
}

TEST_F(TraceTest, SignalIsRecordedWithItsJson) {
    ASSERT_TRUE(control("SetPower", "('hdmi2', true)")) << m_error;
    const Json::Value signal = traced(1)[0];
    EXPECT_EQ(signal["kind"], "signal");
    EXPECT_EQ(signal["member"], "source_api");
    EXPECT_FALSE(signal.isMember("to"));
    EXPECT_EQ(signal["json"]["data"]["result"], 4);
    EXPECT_THAT(traceLine(signal), HasSubstr(" -> * source_api \"source_service\" 0 \"\" {"));
}

TEST_F(TraceTest, ErrorsOfTheServiceAndOfTheBusAreRecorded) {
    fault("error");
    EXPECT_FALSE(send("SendMessage", connectHdmi1));
    fault("crash");
    EXPECT_FALSE(send("SendMessage", connectHdmi1));
    const auto messages = traced(4);
    EXPECT_EQ(messages[1]["kind"], "error");
    EXPECT_EQ(messages[1]["error"], "org.freedesktop.DBus.Error.Failed");
    EXPECT_EQ(messages[1]["text"], "refused on demand");
    EXPECT_EQ(messages[3]["kind"], "error");
    EXPECT_EQ(messages[3]["from"], "org.freedesktop.DBus");
    EXPECT_THAT(traceLine(messages[3]), HasSubstr("org.freedesktop.DBus.Error.ServiceUnknown: "));
}

TEST_F(TraceTest, MessagesOutsideTheProtocolAreRecordedUndecoded) {
    fault("not-json");
    ASSERT_TRUE(send("SendMessage", connectHdmi1));
    fault("other-body");
    ASSERT_TRUE(send("SendMessage", connectHdmi1));
    fault("empty-body");
    ASSERT_TRUE(send("SendMessage", connectHdmi1));
    const auto messages = traced(6);
    EXPECT_EQ(messages[1]["text"], "no JSON on demand");
    EXPECT_FALSE(messages[1].isMember("json"));
    EXPECT_THAT(traceLine(messages[1]), HasSubstr("not JSON: \"no JSON on demand\""));
    EXPECT_EQ(messages[3]["type"], "(i)");
    EXPECT_EQ(messages[3]["value"], "(0,)");
    EXPECT_EQ(messages[5]["type"], "()");
}

TEST_F(TraceTest, TextLineHasEveryFieldAndNoControlCharacter) {
    ASSERT_TRUE(send("SendMessage", R"(('source\x1b[2J', uint32 7, 'Bär',
        '{"method":"SourceConnect","data":{"SourceType":3}}'))"));
    const std::string line = traceLine(traced(1)[0]);
    EXPECT_THAT(line, MatchesRegex("[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} call   :[0-9.]+ -> "
                                   "source_service\\.message SendMessage .*"));
    EXPECT_THAT(line, HasSubstr(R"( 7 "Bär" {"data":{"SourceType":3},"method":"SourceConnect"})"));
    EXPECT_THAT(line, Not(HasSubstr("\x1b")));
}

TEST_F(TraceTest, CallsSucceedWhileMonitored) {
    for (int call = 0; call < 20; ++call) {
        ASSERT_TRUE(send("SendMessage", connectHdmi1)) << m_error;
    }
    EXPECT_EQ(traced(40).back()["kind"], "answer");
}

TEST_F(TraceTest, MonitorEndsWithTheBusAfterTheLastMessage) {
    ASSERT_TRUE(send("SendMessage", connectHdmi1));
    m_control.reset();
    m_tv.reset();
    g_test_dbus_stop(m_bus.get());
    int messages = 0;
    while (const auto message = m_monitor.next()) {
        messages += m_decoder.decode(*message) ? 1 : 0;
    }
    EXPECT_EQ(messages, 2);
}

}  // namespace emulated_tv
