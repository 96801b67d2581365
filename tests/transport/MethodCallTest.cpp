// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "TransportTest.h"

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Bytes = std::vector<unsigned char>;

Bytes bytesOf(const SourceTCMessage &message) {
    unsigned char *data = nullptr;
    const unsigned int size = message.GetBuffer(data);
    return data != nullptr ? Bytes(data, data + size) : Bytes();
}

void setBytes(SourceTCMessage &message, const Bytes &bytes) {
    message.SetBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

class MethodCallTest : public TransportTest {
 protected:
    int send(const SourceTCMessage *message = nullptr, bool sync = true) {
        return endpoint.SendMessage("source_service", message, sync, &reply);
    }

    std::string entryLine(bool sync = true) {
        return std::string("send message to source_service(source_service.message), sync : ") +
               (sync ? "true" : "false") + ", reply : " + pointerText(&reply) + " ";
    }

    unsigned int callsInFlight() {
        return __atomic_load_n(&endpoint.m_SendCount, __ATOMIC_SEQ_CST);
    }

    void expectNothingInFlight() {
        EXPECT_EQ(callsInFlight(), 0U);
        EXPECT_TRUE(isFree(endpoint.m_Mutex));
    }

    void expectOnlyLine(const std::string &text) {
        EXPECT_THAT(platform.log(),
                    ElementsAre(AllOf(Error(text), From("SourceTCServer.cpp", "SendMessage"))));
    }

    SourceTCMessage reply;
};

// What goes out

TEST_F(MethodCallTest, GoesToThePeersBusNamePathAndInterface) {
    open();
    const SourceTCMessage message;
    EXPECT_EQ(send(&message), 1);
    const ReceivedCall call = service.lastCall();
    EXPECT_EQ(call.destination, "source_service.message");
    EXPECT_EQ(call.path, "/source_service/message");
    EXPECT_EQ(call.interface, "source_service.message");
    EXPECT_EQ(call.member, "SendMessage");
}

TEST_F(MethodCallTest, ThePeersNameIsSanitisedAndItsDotsSplitThePath) {
    open();
    const FakeService odd(bus, "an_odd.peer.message");
    EXPECT_EQ(endpoint.SendMessage("an-odd.peer", nullptr, true, &reply), 1);
    const ReceivedCall call = odd.lastCall();
    EXPECT_EQ(call.destination, "an_odd.peer.message");
    EXPECT_EQ(call.path, "/an_odd/peer/message");
    EXPECT_EQ(call.interface, "an_odd.peer.message");
    EXPECT_THAT(platform.log(),
                Contains(Error("send message to an-odd.peer(an_odd.peer.message), sync : true, "
                               "reply : " +
                               pointerText(&reply) + " ")));
}

TEST_F(MethodCallTest, AcceptsAnyReplyTypeWithinTheConnectionsDefaultTime) {
    open();
    send();
    const std::vector<BusCall> calls = glib.callsOf("SendMessage");
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].connection, endpoint.m_Connection);
    EXPECT_EQ(calls[0].replyType, "");
    EXPECT_EQ(calls[0].flags, G_DBUS_CALL_FLAGS_NONE);
    EXPECT_EQ(calls[0].timeout, -1);
    EXPECT_EQ(calls[0].cancellable, nullptr);
}

TEST_F(MethodCallTest, WithoutAMessageAnEmptyBodyGoesOut) {
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

TEST_F(MethodCallTest, AMessageGoesOutFieldByField) {
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

TEST_F(MethodCallTest, TheSendersNameGoesOutAsGiven) {
    SourceTCServer odd("an odd-name", SourceTCServer::PROXY);
    ASSERT_EQ(odd.CreateDBusProxy(), 1);
    EXPECT_EQ(odd.SendMessage("source_service", nullptr, true, &reply), 1);
    EXPECT_EQ(service.lastCall().sender, "an odd-name");
    odd.CloseDBusProxy();
}

TEST_F(MethodCallTest, JsonGoesOutAsItIsNowAndTheMessageStaysAsItWas) {
    open();
    SourceTCMessage message;
    message.SetMessage(R"({"old":true})");
    message.m_JsonRoot = Json::Value();
    message.m_JsonRoot["a"] = 1;
    EXPECT_EQ(send(&message), 1);
    EXPECT_EQ(service.lastCall().text, "{\n\t\"a\" : 1\n}");
    EXPECT_EQ(message.m_Message, R"({"old":true})");
}

TEST_F(MethodCallTest, ABufferGoesOutByAMethodOfItsOwn) {
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

TEST_F(MethodCallTest, ABufferThatWasRemovedDoesNotGoOut) {
    open();
    SourceTCMessage message;
    setBytes(message, {1, 2, 3});
    message.SetBuffer(nullptr, 0);
    EXPECT_EQ(send(&message), 1);
    EXPECT_EQ(service.lastCall().member, "SendMessage");
    EXPECT_EQ(service.lastCall().bodyType, "(suss)");
}

TEST_F(MethodCallTest, TextThatIsNotUtf8GoesOutRepairedAndEndsNoProcess) {
    open();
    SourceTCMessage message;
    message.SetMessage("a\xFFz");
    message.m_AuxText = "\xFE";
    EXPECT_EQ(send(&message), 1);
    EXPECT_EQ(service.lastCall().text, "a\xEF\xBF\xBDz");
    EXPECT_EQ(service.lastCall().auxText, "\xEF\xBF\xBD");
}

TEST_F(MethodCallTest, OneMessageMayBeRequestAndReply) {
    open();
    reply.SetMessage(R"({"question":1})");
    EXPECT_EQ(send(&reply), 1);
    EXPECT_EQ(service.lastCall().json, parsedJson(R"({"question":1})"));
    EXPECT_EQ(reply.m_JsonRoot["return_data"], true);
}

// What comes back

TEST_F(MethodCallTest, SuccessIsLoggedInOrder) {
    open();
    EXPECT_EQ(send(), 1);
    EXPECT_THAT(
        platform.log(),
        ElementsAre(AllOf(Error(entryLine()), From("SourceTCServer.cpp", "SendMessage")),
                    AllOf(Info("(suss)"), From("SourceTCServer.cpp", "m_AnalyseMsg")),
                    AllOf(Error("send success!"), From("SourceTCServer.cpp", "SendMessage"))));
    expectNothingInFlight();
}

TEST_F(MethodCallTest, TheReplyGetsTextNumberAndAuxiliaryText) {
    open();
    service.replyWith(
        [](const ReceivedCall &) { return plainBody(R"({"a":1})", 4294967295U, "auxiliary"); });
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(reply.m_Message, R"({"a":1})");
    EXPECT_EQ(reply.m_JsonRoot["a"], 1);
    EXPECT_EQ(reply.m_AuxNumber, 4294967295U);
    EXPECT_EQ(reply.m_AuxText, "auxiliary");
    EXPECT_EQ(reply.m_Buffer, nullptr);
}

TEST_F(MethodCallTest, TheReplyGetsTheBuffer) {
    open();
    service.replyWith([](const ReceivedCall &) {
        return bufferBody(R"({"a":1})", {1, 0, 255}, 9, "auxiliary");
    });
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(reply.m_JsonRoot["a"], 1);
    EXPECT_EQ(reply.m_AuxNumber, 9U);
    EXPECT_EQ(reply.m_AuxText, "auxiliary");
    EXPECT_THAT(bytesOf(reply), ElementsAre(1, 0, 255));
    EXPECT_THAT(platform.log(), Contains(Info("(sussa(y))")));
}

TEST_F(MethodCallTest, ASingleZeroByteInTheReplyIsNoBuffer) {
    open();
    service.replyWith([](const ReceivedCall &) { return bufferBody("{}", {0}); });
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(reply.m_Buffer, nullptr);
    EXPECT_EQ(reply.m_BufferSize, 0U);
}

TEST_F(MethodCallTest, ASingleOtherByteInTheReplyIsABuffer) {
    open();
    service.replyWith([](const ReceivedCall &) { return bufferBody("{}", {1}); });
    EXPECT_EQ(send(), 1);
    EXPECT_THAT(bytesOf(reply), ElementsAre(1));
}

TEST_F(MethodCallTest, ARepliedBodyReplacesAllButTheOldBuffer) {
    open();
    reply.SetMessage(R"({"old":true})");
    reply.m_AuxNumber = 5;
    reply.m_AuxText = "old";
    setBytes(reply, {1, 2});
    service.replyWith([](const ReceivedCall &) { return plainBody(R"({"a":1})"); });
    EXPECT_EQ(send(), 1);
    EXPECT_FALSE(reply.m_JsonRoot.isMember("old"));
    EXPECT_EQ(reply.m_AuxNumber, 0U);
    EXPECT_EQ(reply.m_AuxText, "");
    EXPECT_THAT(bytesOf(reply), ElementsAre(1, 2)) << "nothing came to replace it";
}

TEST_F(MethodCallTest, ABodyOfAnotherTypeResetsTheNumberOnly) {
    open();
    reply.SetMessage(R"({"old":true})");
    reply.m_AuxNumber = 5;
    reply.m_AuxText = "old";
    setBytes(reply, {1, 2});
    service.replyWith([](const ReceivedCall &) { return g_variant_new("(i)", 3); });
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(reply.m_AuxNumber, 0U);
    EXPECT_EQ(reply.m_Message, R"({"old":true})");
    EXPECT_EQ(reply.m_JsonRoot["old"], true);
    EXPECT_EQ(reply.m_AuxText, "old");
    EXPECT_THAT(bytesOf(reply), ElementsAre(1, 2));
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("(i)"), Error("send success!")));
}

TEST_F(MethodCallTest, ABodyOfAnotherTypeLeavesAnOldFailureStanding) {
    open();
    reply.SetMessage(R"({"dbus_result":"fail"})");
    service.replyWith([](const ReceivedCall &) { return g_variant_new("(i)", 3); });
    EXPECT_EQ(send(), 0);
}

TEST_F(MethodCallTest, AnEmptyReplyIsASuccess) {
    open();
    service.replyWith([](const ReceivedCall &) -> GVariant * { return nullptr; });
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(reply.m_Message, "");
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("()"), Info(" NOT JSON TYPE MESSAGE!"),
                            Error("send success!")));
}

TEST_F(MethodCallTest, AReplyThatIsNotJsonIsASuccessAndKeepsItsText) {
    open();
    service.reply("two words");
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(reply.m_Message, "two words");
    EXPECT_TRUE(reply.m_JsonRoot.isNull());
    EXPECT_NE(reply.GetError(), "no error");
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("(suss)"), Info(" NOT JSON TYPE MESSAGE!"),
                            Info(" NOT JSON TYPE MESSAGE!"), Error("send success!")));
}

TEST_F(MethodCallTest, ACallThatIsNotSynchronousWaitsForItsReplyAllTheSame) {
    open();
    service.hold();
    auto sending = onThread([&] { return send(nullptr, false); });
    service.waitForCalls(1);
    EXPECT_TRUE(staysBlocked(sending));
    service.release();
    EXPECT_EQ(sending.get(), 1);
    EXPECT_EQ(reply.m_JsonRoot["return_data"], true);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine(false)), Info("(suss)"), Error("send success!")));
}

// "dbus_result"

TEST_F(MethodCallTest, AReplyThatSaysFailFailsTheCall) {
    open();
    service.replyWith([](const ReceivedCall &) {
        return bufferBody(R"({"dbus_result":"fail"})", {1, 2}, 7, "auxiliary");
    });
    EXPECT_EQ(send(), 0);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("(sussa(y))"),
                            Error(R"(send sync message fail: {"dbus_result":"fail"})"),
                            Error("send fail!")));
    EXPECT_EQ(reply.m_JsonRoot["dbus_result"], "fail") << "the reply is handed over";
    EXPECT_EQ(reply.m_AuxNumber, 7U);
    EXPECT_EQ(reply.m_AuxText, "auxiliary");
    EXPECT_THAT(bytesOf(reply), ElementsAre(1, 2));
    expectNothingInFlight();
}

class OtherResultTest : public MethodCallTest, public testing::WithParamInterface<const char *> {};

TEST_P(OtherResultTest, IsASuccess) {
    open();
    service.reply(std::string(R"({"dbus_result":)") + GetParam() + "}");
    EXPECT_EQ(send(), 1);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("(suss)"), Error("send success!")));
}

INSTANTIATE_TEST_SUITE_P(Values, OtherResultTest,
                         testing::Values(R"("ok")", R"("")", R"("Fail")", R"("fail ")",
                                         R"("failed")", "null", "false", "5"));

TEST_F(MethodCallTest, AMissingResultIsASuccessAndLeavesANullMemberInTheReply) {
    open();
    for (const char *text : {R"({"a":1})", "{}", "null"}) {
        service.reply(text);
        EXPECT_EQ(send(), 1) << text;
        EXPECT_TRUE(reply.m_JsonRoot.isMember("dbus_result")) << text;
        EXPECT_TRUE(reply.m_JsonRoot["dbus_result"].isNull()) << text;
        EXPECT_EQ(reply.m_Message, text) << "the text is not made anew";
    }
}

class UnreadableResultTest : public MethodCallTest,
                             public testing::WithParamInterface<const char *> {};

TEST_P(UnreadableResultTest, PassesTheJsonLibrarysException) {
    open();
    service.reply(GetParam());
    EXPECT_THROW(send(), Json::Exception);
    EXPECT_EQ(reply.m_Message, GetParam());
    EXPECT_THAT(platform.log(), ElementsAre(Error(entryLine()), Info("(suss)")));
    expectNothingInFlight();
    // The endpoint is as good as before.
    service.reply("{}");
    EXPECT_EQ(send(), 1);
}

INSTANTIATE_TEST_SUITE_P(Replies, UnreadableResultTest,
                         testing::Values("[]", "[1]", "5", "true", R"("text")",
                                         R"({"dbus_result":{"a":1}})", R"({"dbus_result":[1]})",
                                         R"({"dbus_result":[]})"));

// Who keeps the reply's body

class ReplyBodyTest : public MethodCallTest {
 protected:
    // Has following calls answered with this text; the body's end is noted.
    void answer(const std::string &text) {
        const std::unique_ptr<GVariant, decltype(&g_variant_unref)> body(
            g_variant_ref_sink(plainBody(text)), g_variant_unref);
        const auto *const data = static_cast<const char *>(g_variant_get_data(body.get()));
        m_bytes.assign(data, data + g_variant_get_size(body.get()));
        m_body = g_variant_ref_sink(g_variant_new_from_data(
            G_VARIANT_TYPE("(suss)"), m_bytes.data(), m_bytes.size(), TRUE,
            [](gpointer test) { static_cast<ReplyBodyTest *>(test)->released = true; }, this));
        glib.answerCalls([this](GError ** /*error*/) { return m_body; });
    }

    std::vector<char> m_bytes;
    GVariant *m_body = nullptr;
    bool released = false;
};

TEST_F(ReplyBodyTest, ASuccessReleasesIt) {
    open();
    answer("{}");
    EXPECT_EQ(send(), 1);
    EXPECT_TRUE(released);
}

TEST_F(ReplyBodyTest, AReplyThatIsNotJsonReleasesIt) {
    open();
    answer("two words");
    EXPECT_EQ(send(), 1);
    EXPECT_TRUE(released);
}

TEST_F(ReplyBodyTest, AnExceptionReleasesIt) {
    open();
    answer("[1]");
    EXPECT_THROW(send(), Json::Exception);
    EXPECT_TRUE(released);
}

TEST_F(ReplyBodyTest, AReplyThatSaysFailKeepsIt) {
    open();
    answer(R"({"dbus_result":"fail"})");
    EXPECT_EQ(send(), 0);
    EXPECT_FALSE(released);
    g_variant_unref(m_body);
    EXPECT_TRUE(released) << "it was kept once only";
}

// Failures

TEST_F(MethodCallTest, WithoutAPeersNameItFails) {
    open();
    EXPECT_EQ(endpoint.SendMessage(nullptr, nullptr, true, &reply), 0);
    expectOnlyLine("No dest information");
    platform.clearLog();
    EXPECT_EQ(endpoint.SendMessage("", nullptr, true, &reply), 0);
    expectOnlyLine("No dest information");
    EXPECT_THAT(service.calls(), IsEmpty());
    expectNothingInFlight();
}

TEST_F(MethodCallTest, ThePeersNameIsLookedAtBeforeTheLock) {
    const HeldElsewhere held(endpoint.m_Mutex);
    EXPECT_EQ(endpoint.SendMessage("", nullptr, true, &reply), 0);
    expectOnlyLine("No dest information");
}

TEST_F(MethodCallTest, TheLockIsLookedAtBeforeTheConnection) {
    const HeldElsewhere held(endpoint.m_Mutex);
    EXPECT_EQ(send(), 0);
    expectOnlyLine("Server is going to be closed!");
}

TEST_F(MethodCallTest, GivesUpAfterAMillisecondWhileTheLockIsHeld) {
    open();
    const HeldElsewhere held(endpoint.m_Mutex);
    const gint64 shortest = shortestTimeOf([&] {
        platform.clearLog();
        EXPECT_EQ(send(), 0);
        expectOnlyLine("Server is going to be closed!");
    });
    EXPECT_GE(shortest, 1000);
    EXPECT_LT(shortest, G_USEC_PER_SEC / 2) << "1000 of a larger unit is a second at least";
    EXPECT_EQ(callsInFlight(), 0U);
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(MethodCallTest, TheThreadThatHoldsTheLockMaySendAndKeepsTheLock) {
    open();
    endpoint.m_Mutex.Lock();
    EXPECT_EQ(send(), 1);
    EXPECT_FALSE(isFree(endpoint.m_Mutex));
    endpoint.m_Mutex.Unlock();
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(MethodCallTest, OnAClosedEndpointItFails) {
    EXPECT_EQ(send(), 0);
    expectOnlyLine("dbus connection is not open");
    expectNothingInFlight();
}

TEST_F(MethodCallTest, OnALostBusItFails) {
    openOnALostBus();
    EXPECT_EQ(send(), 0);
    expectOnlyLine("dbus connection is not open");
    expectNothingInFlight();
}

TEST_F(MethodCallTest, AnErrorFromThePeerIsLoggedWithItsMessageAndCode) {
    open();
    service.replyWithError("test.Error.Broken", "it broke");
    reply.SetMessage(R"({"old":true})");
    EXPECT_EQ(send(), 0);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()),
                            Error("Fail to invoking sync message call(GDBus.Error:test.Error."
                                  "Broken: it broke " +
                                  std::to_string(G_IO_ERROR_DBUS_ERROR) + ")"),
                            Error("send fail!")));
    EXPECT_THAT(platform.log(), Each(From("SourceTCServer.cpp", "SendMessage")));
    EXPECT_EQ(reply.m_Message, R"({"old":true})") << "the reply is left alone";
    expectNothingInFlight();
}

TEST_F(MethodCallTest, APeerThatIsNotThereIsAFailedCall) {
    open();
    EXPECT_EQ(endpoint.SendMessage("nobody", nullptr, true, &reply), 0);
    EXPECT_THAT(
        platform.log(),
        ElementsAre(ErrorWith("send message to nobody(nobody.message)"),
                    ErrorWith("Fail to invoking sync message call(GDBus.Error:org.freedesktop."
                              "DBus.Error.ServiceUnknown"),
                    Error("send fail!")));
    expectNothingInFlight();
}

TEST_F(MethodCallTest, ABusThatIsLostDuringACallFailsIt) {
    open();
    service.hold();
    auto sending = onThread([&] { return send(); });
    service.waitForCalls(1);
    bus.stop();
    EXPECT_EQ(sending.get(), 0);
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), ErrorWith("Fail to invoking sync message call("),
                            Error("send fail!")));
    expectNothingInFlight();
}

TEST_F(MethodCallTest, ANameThatCannotBeABusNameFailsWithoutAnError) {
    open();
    {
        const ExpectedCritical refused;
        EXPECT_EQ(endpoint.SendMessage("1st", nullptr, true, &reply), 0);
    }
    EXPECT_THAT(platform.log(),
                ElementsAre(ErrorWith("send message to 1st(1st.message)"), Error("send fail!")));
    expectNothingInFlight();
}

TEST_F(MethodCallTest, AnExceptionBeforeTheCallCountsItDown) {
    open();
    throwAtLine("send message to");
    EXPECT_THROW(send(), std::runtime_error);
    EXPECT_THAT(service.calls(), IsEmpty());
    expectNothingInFlight();
}

// Side by side

TEST_F(MethodCallTest, CallsRunSideBySideWithoutTheLock) {
    open();
    service.hold();
    constexpr unsigned int callers = 4;
    std::array<SourceTCMessage, callers> replies;
    std::vector<std::future<int>> sending;
    for (SourceTCMessage &own : replies) {
        sending.push_back(onThread([&] {
            SourceTCMessage question;
            question.m_JsonRoot["number"] = static_cast<int>(&own - replies.data());
            return endpoint.SendMessage("source_service", &question, true, &own);
        }));
    }
    service.replyWith([](const ReceivedCall &call) { return plainBody(call.text); });
    EXPECT_THAT(service.waitForCalls(callers), SizeIs(callers));
    EXPECT_EQ(callsInFlight(), callers);
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
    service.release();
    for (unsigned int caller = 0; caller < callers; ++caller) {
        EXPECT_EQ(sending[caller].get(), 1);
        EXPECT_EQ(replies[caller].m_JsonRoot["number"].asUInt(), caller)
            << "everyone gets its own reply";
    }
    expectNothingInFlight();
}

TEST_F(MethodCallTest, ACallThatIsHeldUpWithTheLockIsNotTakenForAClose) {
    open();
    std::promise<void> heldUp;
    std::promise<void> goesOn;
    std::once_flag first;
    glib.onHandleOfThread([&](GThread *thread) {
        if (__atomic_load_n(&endpoint.m_Mutex.m_Owner, __ATOMIC_SEQ_CST) == thread) {
            std::call_once(first, [&] {
                heldUp.set_value();
                goesOn.get_future().wait();
            });
        }
    });
    auto sending = onThread([&] { return send(); });
    EXPECT_TRUE(ends(heldUp.get_future()));
    SourceTCMessage otherReply;
    auto other = onThread(
        [&] { return endpoint.SendMessage("source_service", nullptr, true, &otherReply); });
    EXPECT_TRUE(staysBlocked(other));
    goesOn.set_value();
    EXPECT_EQ(sending.get(), 1);
    EXPECT_EQ(other.get(), 1);
    glib.onHandleOfThread(nullptr);
    expectNothingInFlight();
}

TEST_F(MethodCallTest, ClosingWaitsForCallsInFlightAndTurnsNewOnesAway) {
    open();
    service.hold();
    auto sending = onThread([&] { return send(); });
    service.waitForCalls(1);
    const AwaitedLine waiting("waiting all send message/signal finished 1d");
    const auto closing = onThread([&] { endpoint.CloseDBusProxy(); });
    ASSERT_TRUE(waiting.comes());

    SourceTCMessage lateReply;
    EXPECT_EQ(endpoint.SendMessage("source_service", nullptr, true, &lateReply), 0);
    EXPECT_TRUE(staysBlocked(closing));

    service.release();
    EXPECT_EQ(sending.get(), 1);
    EXPECT_EQ(reply.m_JsonRoot["return_data"], true);
    ASSERT_TRUE(ends(closing));
    EXPECT_EQ(endpoint.m_Connection, nullptr);
    EXPECT_THAT(service.calls(), SizeIs(1));
    EXPECT_THAT(platform.log(),
                ElementsAre(Error(entryLine()), Info("close source_api begin"),
                            Info("waiting all send message/signal finished 1d"),
                            Error("Server is going to be closed!"), Info("(suss)"),
                            Error("send success!"), Info("all send message/signal finished"),
                            Info("close connection and all close motion finished")));
}

TEST_F(MethodCallTest, SubscribingWhileTheEndpointClosesWaitsAndFindsItClosed) {
    open();
    service.hold();
    auto sending = onThread([&] { return send(); });
    service.waitForCalls(1);
    const AwaitedLine waiting("waiting all send message/signal finished 1d");
    const auto closing = onThread([&] { endpoint.CloseDBusProxy(); });
    ASSERT_TRUE(waiting.comes());
    auto subscribing = onThread([&] { return endpoint.SubscribeSignal("late", nullptr, nullptr); });
    EXPECT_TRUE(staysBlocked(subscribing));
    service.release();
    EXPECT_EQ(subscribing.get(), 0);
    EXPECT_THAT(platform.logOf("SubscribeSignal"),
                ElementsAre(Error("dbus connection is not open")));
    EXPECT_TRUE(ends(closing));
    EXPECT_EQ(sending.get(), 1);
}

TEST_F(MethodCallTest, ACallerMayTryUntilAnotherThreadHasOpenedTheEndpoint) {
    for (int round = 0; round < 20; ++round) {
        std::promise<void> trying;
        auto caller = onThread([&] {
            SourceTCMessage own;
            EXPECT_EQ(endpoint.SendMessage("source_service", nullptr, true, &own), 0);
            trying.set_value();
            const gint64 limit = g_get_monotonic_time() + waitLimit * 1000;
            while (g_get_monotonic_time() < limit) {
                if (endpoint.SendMessage("source_service", nullptr, true, &own) == 1) {
                    return true;
                }
                // Each attempt leaves a line in the log.
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
            return false;
        });
        trying.get_future().wait();
        EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
        EXPECT_TRUE(caller.get());
        endpoint.CloseDBusProxy();
    }
    expectNothingInFlight();
}

TEST_F(MethodCallTest, ClosingAndOpeningUnderCallsFromOtherThreadsIsSafe) {
    constexpr int rounds = 50;
    open();
    const auto sendOften = [&] {
        int succeeded = 0;
        for (int round = 0; round < rounds; ++round) {
            SourceTCMessage own;
            succeeded += endpoint.SendMessage("source_service", nullptr, true, &own);
        }
        return succeeded;
    };
    auto one = onThread(sendOften);
    auto other = onThread(sendOften);
    for (int round = 0; round < rounds; ++round) {
        endpoint.CloseDBusProxy();
        EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    }
    const int succeeded = one.get() + other.get();
    EXPECT_EQ(static_cast<int>(service.calls().size()), succeeded);
    expectNothingInFlight();
    EXPECT_EQ(send(), 1);
}

}  // namespace
