// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Commands: the service's answer as a bool.
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ConnectionTest.h"

using testing::SizeIs;

namespace {

class CommandTest : public ConnectionTest {};

TEST_F(CommandTest, CommandCarriesItsMethodAndItsData) {
    Json::Value data;
    data["a"] = 1;
    EXPECT_TRUE(ClientPeer::command("Anything", data));
    EXPECT_EQ(service.lastCall().json, parsedJson(R"({"method":"Anything","data":{"a":1}})"));
    EXPECT_THAT(service.calls(), SizeIs(1));
}

TEST_F(CommandTest, CommandReturnsTheReturnDataReadAsABool) {
    const std::vector<std::pair<std::string, bool>> table = {
        {"true", true}, {"1", true},    {"-1", true},    {"0.5", true},   {"4294967296", true},
        {"0", false},   {"0.0", false}, {"null", false}, {"false", false}};
    for (const auto &[value, expected] : table) {
        SCOPED_TRACE(value);
        service.reply(R"({"other":1,"return_data":)" + value + "}");
        EXPECT_EQ(ClientPeer::command("Anything", Json::objectValue), expected);
    }
}

TEST_F(CommandTest, ReplyWithoutReturnDataIsRefused) {
    for (const char *reply : {R"({"done":true})", "{}", "null", "no JSON", ""}) {
        SCOPED_TRACE(reply);
        service.reply(reply);
        EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
    }
}

TEST_F(CommandTest, ReplyWithoutABodyIsRefused) {
    service.replyWith([](const ReceivedCall & /*call*/) -> GVariant * { return nullptr; });
    EXPECT_FALSE(connectToThree());
}

TEST_F(CommandTest, ReturnDataThatIsNoBoolIsRefused) {
    for (const char *value : {R"("true")", "[]", R"({"a":1})"}) {
        SCOPED_TRACE(value);
        service.reply(R"({"return_data":)" + std::string(value) + "}");
        EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
    }
}

TEST_F(CommandTest, ReplyThatIsNoObjectIsRefused) {
    for (const char *reply : {"[true]", "5", R"({"dbus_result":[],"return_data":true})"}) {
        SCOPED_TRACE(reply);
        service.reply(reply);
        EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
    }
}

TEST_F(CommandTest, FailedRequestFailsTheCommand) {
    service.replyWithError("test.Error.Refused", "not today");
    EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
    service.reply(R"({"dbus_result":"fail","return_data":true})");
    EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
    EXPECT_THAT(service.calls(), SizeIs(2));
    service.releaseName();
    EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
}

TEST_F(CommandTest, OtherExceptionsThanTheJsonLibrarysPass) {
    platform.onLog([](const LogLine &line) {
        if (line.function == "m_MakeAPICall") {
            throw std::runtime_error("foreign");
        }
    });
    EXPECT_THROW(ClientPeer::command("Anything", Json::objectValue), std::runtime_error);
}

TEST_F(CommandTest, ConnectSendsExactlyTheMethodAndItsData) {
    EXPECT_TRUE(CSourceAPI::Get()->Connect(3));
    EXPECT_EQ(service.lastCall().json,
              parsedJson(R"({"method":"SourceConnect","data":{"SourceType":3}})"));
}

TEST_F(CommandTest, RunAppSendsExactlyTheMethodAndItsData) {
    EXPECT_TRUE(CSourceAPI::Get()->RunApp(3, "key"));
    EXPECT_EQ(service.lastCall().json, parsedJson(R"({"method":"RunApp",)"
                                                  R"("data":{"SourceType":3,)"
                                                  R"("SourceUniqueKey":"key"}})"));
}

TEST_F(CommandTest, ConnectAndRunAppReturnTheServicesAnswer) {
    CSourceAPI *const api = CSourceAPI::Get();
    service.reply(R"({"return_data":false})");
    EXPECT_FALSE(api->Connect(-3));
    EXPECT_EQ(service.lastCall().json["data"]["SourceType"], -3);
    EXPECT_FALSE(api->RunApp(-3, ""));
    EXPECT_EQ(service.lastCall().json["data"]["SourceUniqueKey"], "");
}

}  // namespace
