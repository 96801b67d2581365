// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "TvOnBusTest.h"

namespace emulated_tv {

class ServiceOnBusTest : public TvOnBusTest {};

TEST_F(ServiceOnBusTest, ReplyToARequestWithoutABufferHasNoBuffer) {
    const Variant reply = send(
        "SendMessage",
        R"(('source_api', uint32 0, '', '{"method":"SourceConnect","data":{"SourceType":3}}'))");
    ASSERT_TRUE(reply) << m_error;
    EXPECT_EQ(textOf(reply.get()), R"(('source_service', uint32 0, '', '{"return_data":true}'))");
    EXPECT_EQ(m_tv->model().selected(), "hdmi1");
}

TEST_F(ServiceOnBusTest, ReplyToARequestWithABufferHasTheZeroByteOfAnEmptyBuffer) {
    const Variant reply = send("SendMessageWithBuffer",
                               R"(('source_api', uint32 7, 'aside',
                                   '{"method":"SourceConnect","data":{"SourceType":3}}',
                                   [(byte 0x01,), (byte 0x02,), (byte 0x03,)]))");
    ASSERT_TRUE(reply) << m_error;
    EXPECT_EQ(textOf(reply.get()),
              R"(('source_service', uint32 0, '', '{"return_data":true}', [(byte 0x00,)]))");
}

TEST_F(ServiceOnBusTest, ListIsInTheReply) {
    const Variant reply =
        send("SendMessage",
             R"(('source_api', uint32 0, '', '{"method":"UtilGetSourceList","data":null}'))");
    ASSERT_TRUE(reply) << m_error;
    const char *text = nullptr;
    g_variant_get_child(reply.get(), 3, "&s", &text);
    EXPECT_EQ(support::parseJson(text).value_or("")["return_data"], m_tv->model().list());
}

TEST_F(ServiceOnBusTest, UnreadableTextGetsAReply) {
    const Variant reply = send("SendMessage", "('', uint32 0, '', '')");
    ASSERT_TRUE(reply) << m_error;
    EXPECT_THAT(textOf(reply.get()), testing::HasSubstr(R"("dbus_result":"fail")"));
}

TEST_F(ServiceOnBusTest, UnexpectedSignatureOrMethodGetsAnErrorReply) {
    EXPECT_FALSE(send("SendMessage", "('source_api',)"));
    EXPECT_NE(m_error, "");
    EXPECT_FALSE(send("SendMessageWithBuffer", "('source_api', uint32 0, '', '{}')"));
    EXPECT_NE(m_error, "");
    EXPECT_FALSE(send("NoSuchMethod", "('source_api', uint32 0, '', '{}')"));
    EXPECT_NE(m_error, "");
}

TEST_F(ServiceOnBusTest, IntrospectionShowsTheInterface) {
    const Variant reply = call(busName, objectPath, "org.freedesktop.DBus.Introspectable",
                               "Introspect", parsed("()"));
    ASSERT_TRUE(reply) << m_error;
    EXPECT_THAT(textOf(reply.get()), testing::HasSubstr("SendMessageWithBuffer"));
}

TEST_F(ServiceOnBusTest, SecondServiceOnOneBusIsRefused) {
    const TemporaryFolder root;
    EXPECT_THROW(EmulatedTv(g_test_dbus_get_bus_address(m_bus.get()), root.path()),
                 std::runtime_error);
}

TEST_F(ServiceOnBusTest, NameIsReleasedWithTheService) {
    m_control.reset();
    m_tv.reset();
    EXPECT_NO_THROW(EmulatedTv(g_test_dbus_get_bus_address(m_bus.get()), m_root.path()));
}

TEST_F(ServiceOnBusTest, ChangeSignalCarriesTheCompleteList) {
    ASSERT_TRUE(send("SendMessage", R"(('source_api', uint32 0, '',
        '{"method":"UtilSetSourceEditName",
          "data":{"SourceType":4,"EditName":"Neuer Name","MBRActivityIndex":0}}'))"));
    ASSERT_TRUE(serveUntil([&] { return !m_signals.empty(); }));
    const Signal &signal = m_signals.front();
    EXPECT_EQ(signal.path, objectPath);
    EXPECT_EQ(signal.interface, busName);
    EXPECT_STREQ(g_variant_get_type_string(signal.body.get()), "(suss)");
    EXPECT_THAT(textOf(signal.body.get()),
                testing::StartsWith("('source_service', uint32 0, '', "));
    EXPECT_EQ(signal.message()["method"], "SourceListChanged");
    EXPECT_EQ(signal.message()["data"], *support::parseJson(R"({"result":3})"));
    EXPECT_EQ(signal.message()["return_data"], m_tv->model().list());
    EXPECT_EQ(signal.message()["return_data"][2]["editName"], "Neuer%20Name");
}

TEST_F(ServiceOnBusTest, EachKindOfChangeHasItsOwnResult) {
    struct {
        const char *method;
        const char *body;
        int result;
    } const changes[] = {
        {"Plug", "('hdmi3', {'name': <'Laptop'>, 'device_type': <uint32 4>})", 1},
        {"Plug", "('usb-stick', @a{sv} {})", 1},
        {"Unplug", "('usb-stick',)", 2},
        {"Rename", "('av', 'Björns Ecke')", 3},
        {"SetPower", "('hdmi2', true)", 4},
    };
    for (const auto &change : changes) {
        m_signals.clear();
        ASSERT_TRUE(control(change.method, change.body)) << m_error;
        ASSERT_TRUE(serveUntil([&] { return !m_signals.empty(); })) << change.body;
        EXPECT_EQ(m_signals.front().message()["data"]["result"], change.result);
        EXPECT_EQ(m_signals.front().message()["return_data"], m_tv->model().list());
    }
    EXPECT_EQ(m_tv->model().source("hdmi3").deviceType, 4U);
}

TEST_F(ServiceOnBusTest, UnchangedListIsNotAnnounced) {
    ASSERT_TRUE(control("Plug", "('hdmi2', @a{sv} {})")) << m_error;
    ASSERT_TRUE(send(
        "SendMessage",
        R"(('source_api', uint32 0, '', '{"method":"SourceConnect","data":{"SourceType":3}}'))"));
    // A signal that was sent before this one would arrive before it.
    ASSERT_TRUE(control("SetPower", "('hdmi2', true)")) << m_error;
    ASSERT_TRUE(serveUntil([&] { return !m_signals.empty(); }));
    EXPECT_EQ(m_signals.size(), 1U);
    EXPECT_EQ(m_signals.front().message()["data"]["result"], 4);
}

TEST_F(ServiceOnBusTest, RefusalIsReturnedToTheCaller) {
    EXPECT_FALSE(control("Unplug", "('hdmi9',)"));
    EXPECT_THAT(m_error, testing::HasSubstr("there is no source \"hdmi9\"; the TV has tuner"));
    EXPECT_FALSE(control("SetPower", "('hdmi3', true)"));
    EXPECT_THAT(m_error, testing::HasSubstr("nothing is plugged into \"hdmi3\""));
}

}  // namespace emulated_tv
