// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// How a method call handles its reply.
#include <memory>
#include <string>
#include <vector>

#include "MessageBuffer.h"
#include "MethodCallTest.h"
#include "Threads.h"

using testing::ElementsAre;

namespace {

class MethodCallReplyTest : public MethodCallTest {};

TEST_F(MethodCallReplyTest, ASuccessEndsTheCall) {
    open();
    EXPECT_EQ(send(), 1);
    expectNothingInFlight();
}

TEST_F(MethodCallReplyTest, TheReplyGetsTextNumberAndAuxiliaryText) {
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

TEST_F(MethodCallReplyTest, TheReplyGetsTheBuffer) {
    open();
    service.replyWith([](const ReceivedCall &) {
        return bufferBody(R"({"a":1})", {1, 0, 255}, 9, "auxiliary");
    });
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(reply.m_JsonRoot["a"], 1);
    EXPECT_EQ(reply.m_AuxNumber, 9U);
    EXPECT_EQ(reply.m_AuxText, "auxiliary");
    EXPECT_THAT(bytesOf(reply), ElementsAre(1, 0, 255));
}

TEST_F(MethodCallReplyTest, ASingleZeroByteInTheReplyIsNoBuffer) {
    open();
    service.replyWith([](const ReceivedCall &) { return bufferBody("{}", {0}); });
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(reply.m_Buffer, nullptr);
    EXPECT_EQ(reply.m_BufferSize, 0U);
}

TEST_F(MethodCallReplyTest, ASingleOtherByteInTheReplyIsABuffer) {
    open();
    service.replyWith([](const ReceivedCall &) { return bufferBody("{}", {1}); });
    EXPECT_EQ(send(), 1);
    EXPECT_THAT(bytesOf(reply), ElementsAre(1));
}

TEST_F(MethodCallReplyTest, ARepliedBodyReplacesAllButTheOldBuffer) {
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

TEST_F(MethodCallReplyTest, ABodyOfAnotherTypeResetsTheNumberOnly) {
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
}

TEST_F(MethodCallReplyTest, ABodyOfAnotherTypeLeavesAnOldFailureStanding) {
    open();
    reply.SetMessage(R"({"dbus_result":"fail"})");
    service.replyWith([](const ReceivedCall &) { return g_variant_new("(i)", 3); });
    EXPECT_EQ(send(), 0);
}

TEST_F(MethodCallReplyTest, AnEmptyReplyIsASuccess) {
    open();
    service.replyWith([](const ReceivedCall &) -> GVariant * { return nullptr; });
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(reply.m_Message, "");
}

TEST_F(MethodCallReplyTest, AReplyThatIsNotJsonIsASuccessAndKeepsItsText) {
    open();
    service.reply("two words");
    EXPECT_EQ(send(), 1);
    EXPECT_EQ(reply.m_Message, "two words");
    EXPECT_TRUE(reply.m_JsonRoot.isNull());
    EXPECT_NE(reply.GetError(), "no error");
}

TEST_F(MethodCallReplyTest, ACallThatIsNotSynchronousWaitsForItsReplyAllTheSame) {
    open();
    service.hold();
    auto sending = onThread([&] { return send(nullptr, false); });
    service.waitForCalls(1);
    EXPECT_TRUE(staysBlocked(sending));
    service.release();
    EXPECT_EQ(sending.get(), 1);
    EXPECT_EQ(reply.m_JsonRoot["return_data"], true);
}

TEST_F(MethodCallReplyTest, AReplyWithTheResultFailFailsTheCall) {
    open();
    service.replyWith([](const ReceivedCall &) {
        return bufferBody(R"({"dbus_result":"fail"})", {1, 2}, 7, "auxiliary");
    });
    EXPECT_EQ(send(), 0);
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
}

INSTANTIATE_TEST_SUITE_P(Values, OtherResultTest,
                         testing::Values(R"("ok")", R"("")", R"("Fail")", R"("fail ")",
                                         R"("failed")", "null", "false", "5"));

TEST_F(MethodCallReplyTest, AMissingResultIsASuccessAndLeavesANullMemberInTheReply) {
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
    expectNothingInFlight();
    // The endpoint is still usable.
    service.reply("{}");
    EXPECT_EQ(send(), 1);
}

INSTANTIATE_TEST_SUITE_P(Replies, UnreadableResultTest,
                         testing::Values("[]", "[1]", "5", "true", R"("text")",
                                         R"({"dbus_result":{"a":1}})", R"({"dbus_result":[1]})",
                                         R"({"dbus_result":[]})"));

class ReplyBodyTest : public MethodCallTest {
 protected:
    // Following calls get a reply with this text; the release of its body is recorded.
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

TEST_F(ReplyBodyTest, AReplyWithTheResultFailKeepsIt) {
    open();
    answer(R"({"dbus_result":"fail"})");
    EXPECT_EQ(send(), 0);
    EXPECT_FALSE(released);
    g_variant_unref(m_body);
    EXPECT_TRUE(released) << "it was kept once only";
}

}  // namespace
