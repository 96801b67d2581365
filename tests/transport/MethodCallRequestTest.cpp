// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What a method call sends.
#include <vector>

#include "MessageBuffer.h"
#include "MethodCallTest.h"

using testing::SizeIs;

namespace {

class MethodCallRequestTest : public MethodCallTest {};

TEST_F(MethodCallRequestTest, GoesToThePeersBusNamePathAndInterface) {
    open();
    const SourceTCMessage message;
    EXPECT_EQ(send(&message), 1);
    const ReceivedCall call = service.lastCall();
    EXPECT_EQ(call.destination, "source_service.message");
    EXPECT_EQ(call.path, "/source_service/message");
    EXPECT_EQ(call.interface, "source_service.message");
    EXPECT_EQ(call.member, "SendMessage");
}

TEST_F(MethodCallRequestTest, ThePeersNameIsSanitisedAndItsDotsSplitThePath) {
    open();
    const FakeService odd(bus, "an_odd.peer.message");
    EXPECT_EQ(endpoint.SendMessage("an-odd.peer", nullptr, true, &reply), 1);
    const ReceivedCall call = odd.lastCall();
    EXPECT_EQ(call.destination, "an_odd.peer.message");
    EXPECT_EQ(call.path, "/an_odd/peer/message");
    EXPECT_EQ(call.interface, "an_odd.peer.message");
}

TEST_F(MethodCallRequestTest, AcceptsAnyReplyTypeWithinTheConnectionsDefaultTime) {
    open();
    send();
    const std::vector<BusCall> calls = glib.callsOf("SendMessage");
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].connection, peer.connection);
    EXPECT_EQ(calls[0].replyType, "");
    EXPECT_EQ(calls[0].flags, G_DBUS_CALL_FLAGS_NONE);
    EXPECT_EQ(calls[0].timeout, -1);
    EXPECT_EQ(calls[0].cancellable, nullptr);
}

TEST_F(MethodCallRequestTest, WithoutAMessageAnEmptyBodyIsSent) {
    open();
    EXPECT_EQ(send(nullptr), 1);
    const ReceivedCall call = service.lastCall();
    EXPECT_EQ(call.member, "SendMessage");
    EXPECT_EQ(call.bodyType, "(suss)");
    EXPECT_EQ(call.sender, "source_api");
    EXPECT_EQ(call.number, 0U);
    EXPECT_EQ(call.auxText, "");
    EXPECT_EQ(call.text, "");
}

TEST_F(MethodCallRequestTest, AllFieldsOfAMessageAreSent) {
    open();
    SourceTCMessage message;
    message.SetMessage("two words");
    message.m_AuxNumber = 4294967295U;
    message.m_AuxText = "äuxiliary";
    EXPECT_EQ(send(&message), 1);
    const ReceivedCall call = service.lastCall();
    EXPECT_EQ(call.member, "SendMessage");
    EXPECT_EQ(call.bodyType, "(suss)");
    EXPECT_EQ(call.sender, "source_api");
    EXPECT_EQ(call.number, 4294967295U);
    EXPECT_EQ(call.auxText, "äuxiliary");
    EXPECT_EQ(call.text, "two words");
}

TEST_F(MethodCallRequestTest, TheSendersNameIsSentUnchanged) {
    SourceTCServer odd("an odd-name", SourceTCServer::PROXY);
    ASSERT_EQ(odd.CreateDBusProxy(), 1);
    EXPECT_EQ(odd.SendMessage("source_service", nullptr, true, &reply), 1);
    EXPECT_EQ(service.lastCall().sender, "an odd-name");
    odd.CloseDBusProxy();
}

TEST_F(MethodCallRequestTest, TheCurrentJsonIsSentAndTheMessageIsUnchanged) {
    open();
    SourceTCMessage message;
    message.SetMessage(R"({"old":true})");
    message.m_JsonRoot = Json::Value();
    message.m_JsonRoot["a"] = 1;
    EXPECT_EQ(send(&message), 1);
    EXPECT_EQ(service.lastCall().text, "{\n\t\"a\" : 1\n}");
    EXPECT_EQ(message.m_Message, R"({"old":true})");
}

TEST_F(MethodCallRequestTest, ABufferIsSentByASeparateMethod) {
    open();
    SourceTCMessage message;
    message.SetMessage("text");
    message.m_AuxNumber = 7;
    message.m_AuxText = "auxiliary";
    for (const Bytes &bytes : {Bytes{1, 0, 255}, Bytes{0}, Bytes(100000, 200)}) {
        setBytes(message, bytes);
        EXPECT_EQ(send(&message), 1);
        const ReceivedCall call = service.lastCall();
        EXPECT_EQ(call.member, "SendMessageWithBuffer");
        EXPECT_EQ(call.bodyType, "(sussa(y))");
        EXPECT_EQ(call.destination, "source_service.message");
        EXPECT_EQ(call.path, "/source_service/message");
        EXPECT_EQ(call.interface, "source_service.message");
        EXPECT_EQ(call.sender, "source_api");
        EXPECT_EQ(call.number, 7U);
        EXPECT_EQ(call.auxText, "auxiliary");
        EXPECT_EQ(call.text, "text");
        EXPECT_EQ(call.buffer, bytes);
    }
}

TEST_F(MethodCallRequestTest, ARemovedBufferIsNotSent) {
    open();
    SourceTCMessage message;
    setBytes(message, {1, 2, 3});
    message.SetBuffer(nullptr, 0);
    EXPECT_EQ(send(&message), 1);
    EXPECT_EQ(service.lastCall().member, "SendMessage");
    EXPECT_EQ(service.lastCall().bodyType, "(suss)");
}

TEST_F(MethodCallRequestTest, InvalidUtf8IsSentRepaired) {
    open();
    SourceTCMessage message;
    message.SetMessage("a\xFFz");
    message.m_AuxText = "\xFE";
    EXPECT_EQ(send(&message), 1);
    EXPECT_EQ(service.lastCall().text, "a\xEF\xBF\xBDz");
    EXPECT_EQ(service.lastCall().auxText, "\xEF\xBF\xBD");
}

TEST_F(MethodCallRequestTest, OneMessageMayBeRequestAndReply) {
    open();
    reply.SetMessage(R"({"question":1})");
    EXPECT_EQ(send(&reply), 1);
    EXPECT_EQ(service.lastCall().json, parsedJson(R"({"question":1})"));
    EXPECT_EQ(reply.m_JsonRoot["return_data"], true);
}

}  // namespace
