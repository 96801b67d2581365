// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Commands: the service's answer as a bool.
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ConnectionTest.h"

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
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
        platform.clearLog();
        EXPECT_EQ(ClientPeer::command("Anything", Json::objectValue), expected);
        EXPECT_THAT(platform.logOf("m_MakeAPICall"),
                    ElementsAre(InfoWith("ret_data {"),
                                Info(expected ? " Return data = 1" : " Return data = 0")));
    }
}

TEST_F(CommandTest, CommandLogsTheReplyInItsStyledForm) {
    EXPECT_TRUE(ClientPeer::command("Anything", Json::objectValue));
    EXPECT_THAT(platform.logOf("m_MakeAPICall"),
                ElementsAre(Info("ret_data {\n\t\"dbus_result\" : null,\n\t\"return_data\" : "
                                 "true\n}\n"),
                            Info(" Return data = 1")));
    EXPECT_THAT(platform.logOf("m_MakeAPICall"), Each(From("SourceAPI.cpp", "m_MakeAPICall")));
}

TEST_F(CommandTest, ReplyWithoutReturnDataIsRefused) {
    for (const char *reply : {R"({"done":true})", "{}", "null", "no JSON", ""}) {
        SCOPED_TRACE(reply);
        service.reply(reply);
        platform.clearLog();
        EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
        EXPECT_THAT(
            platform.logOf("m_MakeAPICall"),
            ElementsAre(InfoWith("ret_data "), Error("Error: no response or return_data!")));
    }
}

TEST_F(CommandTest, ReplyWithoutABodyIsRefused) {
    service.replyWith([](const ReceivedCall & /*call*/) -> GVariant * { return nullptr; });
    EXPECT_FALSE(connectToThree());
    EXPECT_THAT(platform.logOf("m_MakeAPICall"),
                ElementsAre(Info("ret_data null\n"), Error("Error: no response or return_data!")));
}

TEST_F(CommandTest, ReturnDataThatIsNoBoolIsRefusedWithTheExceptionsText) {
    for (const char *value : {R"("true")", "[]", R"({"a":1})"}) {
        SCOPED_TRACE(value);
        service.reply(R"({"return_data":)" + std::string(value) + "}");
        platform.clearLog();
        EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
        EXPECT_THAT(platform.logOf("m_MakeAPICall"),
                    ElementsAre(InfoWith("ret_data {"),
                                Error("Exception occured! [Value is not convertible to bool.]"),
                                Error("Error: no response or return_data!")));
    }
}

TEST_F(CommandTest, ReplyThatIsNoObjectIsRefusedWithTheExceptionsText) {
    for (const char *reply : {"[true]", "5", R"({"dbus_result":[],"return_data":true})"}) {
        SCOPED_TRACE(reply);
        service.reply(reply);
        platform.clearLog();
        EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
        EXPECT_THAT(platform.logOf("m_MakeAPICall"),
                    ElementsAre(AllOf(ErrorWith("Exception occured! ["), Not(ErrorWith("[]"))),
                                Error("Error: no response or return_data!")));
    }
}

TEST_F(CommandTest, FailedRequestFailsTheCommandWithoutALineOfItsOwn) {
    service.replyWithError("test.Error.Refused", "not today");
    EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
    service.reply(R"({"dbus_result":"fail","return_data":true})");
    EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
    EXPECT_THAT(service.calls(), SizeIs(2));
    service.releaseName();
    EXPECT_FALSE(ClientPeer::command("Anything", Json::objectValue));
    EXPECT_THAT(platform.logOf("m_MakeAPICall"), IsEmpty());
}

TEST_F(CommandTest, ExceptionsThatAreNotTheJsonLibrarysPass) {
    platform.onLog([](const LogLine &line) {
        if (line.text.rfind("ret_data", 0) == 0) {
            throw std::runtime_error("foreign");
        }
    });
    EXPECT_THROW(ClientPeer::command("Anything", Json::objectValue), std::runtime_error);
}

TEST_F(CommandTest, ConnectSendsExactlyTheMethodAndItsData) {
    EXPECT_TRUE(CSourceAPI::Get()->Connect(3));
    EXPECT_EQ(service.lastCall().json,
              parsedJson(R"({"method":"SourceConnect","data":{"SourceType":3}})"));
    EXPECT_THAT(platform.logOf("Connect"), ElementsAre(Error("connecting source type = [3]")));
    EXPECT_THAT(platform.logOf("Connect"), Each(From("SourceAPI.cpp", "Connect")));
}

TEST_F(CommandTest, RunAppSendsExactlyTheMethodAndItsData) {
    EXPECT_TRUE(CSourceAPI::Get()->RunApp(3, "key"));
    EXPECT_EQ(service.lastCall().json, parsedJson(R"({"method":"RunApp",)"
                                                  R"("data":{"SourceType":3,)"
                                                  R"("SourceUniqueKey":"key"}})"));
    EXPECT_THAT(platform.logOf("RunApp"), ElementsAre(Error("connecting source type = [3],[key]")));
    EXPECT_THAT(platform.logOf("RunApp"), Each(From("SourceAPI.cpp", "RunApp")));
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
