// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The commands that describe a source to the service, and the query of its icons.
#include <unistd.h>

#include <functional>
#include <ostream>
#include <stdexcept>

#include "ClientTest.h"

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

namespace {

using Icons = std::pair<std::string, std::string>;

// One command: the call and its request, in which "$PID" is replaced by the caller's process id.
struct Command {
    std::string operation;
    std::function<bool(CSourceAPI &)> call;
    std::string request;
    bool makesNamesStale;
};

std::ostream &operator<<(std::ostream &out, const Command &command) {
    return out << command.operation;
}

const Command commands[] = {
    {"SetSourceDetectedNameAndDeviceType",
     [](CSourceAPI &api) {
         return api.SetSourceDetectedNameAndDeviceType(7, "Console", 4294967295U, -2);
     },
     R"({"method":"UtilSetSourceDetectedNameAndDeviceType","data":{"SourceType":7,)"
     R"("DetectedName":"Console","DetectedDeviceType":4294967295,"MBRActivityIndex":-2}})",
     true},
    {"SetSourceEditName", [](CSourceAPI &api) { return api.SetSourceEditName(7, "My TV", 3); },
     R"({"method":"UtilSetSourceEditName",)"
     R"("data":{"SourceType":7,"EditName":"My TV","MBRActivityIndex":3}})",
     true},
    {"SetSourceDeviceType",
     [](CSourceAPI &api) { return api.SetSourceDeviceType(-7, 4294967295U, 3); },
     R"({"method":"UtilSetSourceDeviceType",)"
     R"("data":{"SourceType":-7,"DeviceType":4294967295,"MBRActivityIndex":3}})",
     true},
    {"SetCustomIconPath",
     [](CSourceAPI &api) {
         return api.SetCustomIconPath(7, "/s", {"/focused", "/unfocused"}, 3);
     },
     R"({"method":"UtilSetCustomIconPath","data":{"SourceType":7,"Pid":$PID,)"
     R"("MbrActivityIndex":3,"SourceIconPath":"/s","LauncherFocusedIconPath":"/focused",)"
     R"("LauncherUnfocusedIconPath":"/unfocused"}})",
     false},
};

class SettingsCommandTest : public ClientTest, public testing::WithParamInterface<Command> {
 protected:
    static bool run() { return GetParam().call(*CSourceAPI::Get()); }
    static bool namesAreFresh() { return ClientPeer::hasNames(); }

    static Json::Value request() {
        std::string text = GetParam().request;
        const std::size_t pid = text.find("$PID");
        if (pid != std::string::npos) {
            text.replace(pid, 4, std::to_string(getpid()));
        }
        return parsedJson(text);
    }
};

INSTANTIATE_TEST_SUITE_P(Every, SettingsCommandTest, testing::ValuesIn(commands),
                         [](const auto &test) { return test.param.operation; });

TEST_P(SettingsCommandTest, SendsExactlyItsMethodAndItsData) {
    EXPECT_TRUE(run());
    ASSERT_THAT(service.calls(), SizeIs(1));
    EXPECT_EQ(service.lastCall().json, request());
    EXPECT_THAT(service.lastCall().bodyType, "(suss)");
}

TEST_P(SettingsCommandTest, SuccessMakesTheNamesStaleExceptForIcons) {
    CSourceAPI::Get();
    ASSERT_TRUE(namesAreFresh());
    EXPECT_TRUE(run());
    EXPECT_EQ(namesAreFresh(), !GetParam().makesNamesStale);
}

TEST_P(SettingsCommandTest, NextNameQueryRefreshesFirstExceptAfterIcons) {
    service.replyTo("UtilGetSourceList", R"({"return_data":[]})");
    EXPECT_TRUE(run());
    platform.setSourceNames(R"([{"SourceType":7,"EditName":"Renamed"}])");
    std::string name;
    EXPECT_TRUE(CSourceAPI::Get()->GetSourceEditName(7, name, 0));
    EXPECT_EQ(name, GetParam().makesNamesStale ? "Renamed" : "Game");
    EXPECT_EQ(service.countOf("UtilGetSourceList"), GetParam().makesNamesStale ? 1 : 0);
}

TEST_P(SettingsCommandTest, StaleNamesStayStale) {
    CSourceAPI::Get();
    ClientPeer::hasNames() = false;
    EXPECT_TRUE(run());
    EXPECT_FALSE(namesAreFresh());
}

TEST_P(SettingsCommandTest, AnyOtherReplyIsAFailureAndLeavesTheNames) {
    CSourceAPI::Get();
    for (const char *reply :
         {R"({"return_data":false})", R"({"return_data":0})", "{}", "no JSON",
          R"({"return_data":"true"})", "[true]", R"({"dbus_result":"fail","return_data":true})"}) {
        SCOPED_TRACE(reply);
        service.reply(reply);
        EXPECT_FALSE(run());
        EXPECT_TRUE(namesAreFresh());
    }
}

TEST_P(SettingsCommandTest, CallThatCannotBeMadeIsAFailureAndLeavesTheNames) {
    CSourceAPI::Get();
    service.replyWithError("test.Error.Refused", "not today");
    EXPECT_FALSE(run());
    EXPECT_THAT(service.calls(), SizeIs(1));
    service.releaseName();
    EXPECT_FALSE(run());
    EXPECT_THAT(service.calls(), SizeIs(1));
    EXPECT_TRUE(namesAreFresh());
}

TEST_P(SettingsCommandTest, GoesThroughTheOneObject) {
    const auto other = ClientPeer::makeAnother();
    EXPECT_TRUE(GetParam().call(*other));
    EXPECT_EQ(clientsMade(), 2U);
}

TEST_P(SettingsCommandTest, OtherExceptionsThanTheJsonLibrarysPassTheCommand) {
    CSourceAPI::Get();
    platform.onLog([](const LogLine &line) {
        if (line.function == "m_MakeAPICall") {
            throw std::runtime_error("foreign");
        }
    });
    EXPECT_THROW(run(), std::runtime_error);
    EXPECT_TRUE(namesAreFresh());
}

class SourceSettingsTest : public ClientTest {
 protected:
    static constexpr const char *before = "before";

    // Asks for the icons of a source; what the outputs hold afterwards.
    bool askForIcons() {
        return CSourceAPI::Get()->GetCustomIconPath(7, sourceIcon, launcherIcons, -3);
    }
    std::vector<std::string> outputs() const {
        return {sourceIcon, launcherIcons.first, launcherIcons.second};
    }

    std::string sourceIcon = before;
    Icons launcherIcons{before, before};
};

TEST_F(SourceSettingsTest, EmptyTextsAreSentAsEmptyTexts) {
    CSourceAPI *const api = CSourceAPI::Get();
    EXPECT_TRUE(api->SetSourceEditName(0, "", 0));
    EXPECT_THAT(service.lastCall().json["data"]["EditName"], Json::Value(""));
    EXPECT_TRUE(api->SetSourceDetectedNameAndDeviceType(0, "", 0, 0));
    EXPECT_THAT(service.lastCall().json["data"]["DetectedName"], Json::Value(""));
    EXPECT_TRUE(api->SetCustomIconPath(0, "", {"", ""}, 0));
    for (const char *key :
         {"SourceIconPath", "LauncherFocusedIconPath", "LauncherUnfocusedIconPath"}) {
        EXPECT_THAT(service.lastCall().json["data"][key], Json::Value(""));
    }
}

TEST_F(SourceSettingsTest, LargestDeviceTypeIsSentAsAPositiveNumber) {
    CSourceAPI::Get()->SetSourceDeviceType(7, 4294967295U, 0);
    EXPECT_THAT(service.lastCall().text, AllOf(HasSubstr("4294967295"), Not(HasSubstr("-1"))));
}

TEST_F(SourceSettingsTest, TextsAreSentUnchanged) {
    const std::string odd = "B\xC3\xA4r \"%20\"\n+\\";
    EXPECT_TRUE(CSourceAPI::Get()->SetSourceEditName(7, odd, 0));
    EXPECT_EQ(service.lastCall().json["data"]["EditName"], odd);
}

// The query of the icons.

TEST_F(SourceSettingsTest, IconQuerySendsTypeAndIndexAndNoProcessId) {
    askForIcons();
    ASSERT_THAT(service.calls(), SizeIs(1));
    EXPECT_EQ(service.lastCall().json,
              parsedJson(R"({"method":"UtilGetCustomIconPath",)"
                         R"("data":{"SourceType":7,"MbrActivityIndex":-3}})"));
}

TEST_F(SourceSettingsTest, IconsAreReadFromTheReplyItself) {
    service.reply(R"({"SourceIconPath":"/s","LauncherFocusedIconPath":"/f",)"
                  R"("LauncherUnfocusedIconPath":"/u",)"
                  R"("return_data":{"SourceIconPath":"/wrong"}})");
    EXPECT_TRUE(askForIcons());
    EXPECT_THAT(outputs(), ElementsAre("/s", "/f", "/u"));
}

TEST_F(SourceSettingsTest, IconsThatTheReplyLacksAreEmpty) {
    for (const char *reply : {"{}", "no JSON", "null", R"({"return_data":true})"}) {
        SCOPED_TRACE(reply);
        service.reply(reply);
        sourceIcon = launcherIcons.first = launcherIcons.second = before;
        EXPECT_TRUE(askForIcons());
        EXPECT_THAT(outputs(), ElementsAre("", "", ""));
    }
    service.reply(R"({"LauncherFocusedIconPath":"/f"})");
    EXPECT_TRUE(askForIcons());
    EXPECT_THAT(outputs(), ElementsAre("", "/f", ""));
}

TEST_F(SourceSettingsTest, IconQueryDoesNotLookAtReturnData) {
    for (const char *value : {"false", R"("text")", "[]", "null"}) {
        SCOPED_TRACE(value);
        service.reply(R"({"SourceIconPath":"/s","return_data":)" + std::string(value) + "}");
        EXPECT_TRUE(askForIcons());
        EXPECT_EQ(sourceIcon, "/s");
    }
}

TEST_F(SourceSettingsTest, IconsAreConvertedAsTheJsonLibraryDoes) {
    service.reply(R"({"SourceIconPath":3,"LauncherFocusedIconPath":true,)"
                  R"("LauncherUnfocusedIconPath":null})");
    EXPECT_TRUE(askForIcons());
    EXPECT_THAT(outputs(), ElementsAre("3", "true", ""));
}

TEST_F(SourceSettingsTest, IconQueryThatCannotBeMadeLeavesTheOutputs) {
    service.replyWithError("test.Error.Refused", "not today");
    EXPECT_FALSE(askForIcons());
    service.reply(R"({"dbus_result":"fail","SourceIconPath":"/s"})");
    EXPECT_FALSE(askForIcons());
    EXPECT_THAT(service.calls(), SizeIs(2));
    service.releaseName();
    EXPECT_FALSE(askForIcons());
    EXPECT_THAT(outputs(), Each(before));
}

TEST_F(SourceSettingsTest, UnreadableIconLeavesItsOutputAndTheFollowingOnes) {
    const std::vector<std::pair<const char *, std::vector<std::string>>> table = {
        {"SourceIconPath", {before, before, before}},
        {"LauncherFocusedIconPath", {"/new", before, before}},
        {"LauncherUnfocusedIconPath", {"/new", "/new", before}}};
    for (const auto &[bad, expected] : table) {
        SCOPED_TRACE(bad);
        Json::Value reply;
        for (const auto &row : table) {
            reply[row.first] = "/new";
        }
        reply[bad] = Json::arrayValue;
        service.reply(jsonText(reply));
        sourceIcon = launcherIcons.first = launcherIcons.second = before;
        EXPECT_FALSE(askForIcons());
        EXPECT_EQ(outputs(), expected);
    }
}

TEST_F(SourceSettingsTest, ReplyThatIsNoObjectFailsTheIconQuery) {
    service.reply("[1]");
    EXPECT_FALSE(askForIcons());
    EXPECT_THAT(outputs(), Each(before));
}

TEST_F(SourceSettingsTest, IconQueryLeavesTheNames) {
    EXPECT_TRUE(askForIcons());
    EXPECT_TRUE(ClientPeer::hasNames());
}

TEST_F(SourceSettingsTest, IconQueryGoesThroughTheOneObject) {
    const auto other = ClientPeer::makeAnother();
    EXPECT_TRUE(other->GetCustomIconPath(7, sourceIcon, launcherIcons, 0));
    EXPECT_EQ(clientsMade(), 2U);
}

TEST_F(SourceSettingsTest, ForeignExceptionPassesTheIconQuery) {
    CSourceAPI::Get();
    platform.onLog([](const LogLine &line) {
        if (line.function == "m_SendMessageSync") {
            throw std::runtime_error("foreign");
        }
    });
    EXPECT_THROW(askForIcons(), std::runtime_error);
    EXPECT_THAT(outputs(), Each(before));
}

}  // namespace
