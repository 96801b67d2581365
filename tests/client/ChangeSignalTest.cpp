// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Handling a change signal: what is refreshed, and when the callbacks are called.
#include <optional>
#include <string>
#include <vector>

#include "LockState.h"
#include "NotificationTest.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class ChangeSignalTest : public NotificationTest {};

TEST_F(ChangeSignalTest, SignalCallsEveryCallbackWithItsResult) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::RegisterSourceAPICallback(second, &q);
    change(R"([{"sourceType":3}])", 5);
    EXPECT_THAT(calls, ElementsAre(Pair("first", 5), Pair("second", 5)));
}

TEST_F(ChangeSignalTest, SignalRefreshesListAndNamesWithoutARequest) {
    platform.setSourceNames(R"([{"SourceType":9,"EditName":"New","MbrActivityIndex":0}])");
    const std::size_t reads = platform.settingReads().size();
    change(R"([{"sourceType":3}])", 1);
    EXPECT_EQ(readText(), "[\t{\t\t\"sourceType\" : 3\t}]");
    EXPECT_EQ(nameOf(9), "New");
    EXPECT_EQ(platform.settingReads().size(), reads + 1);
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(ChangeSignalTest, SignalWithoutRegistrationsStillRefreshes) {
    change(R"([{"sourceType":3}])", 1);
    EXPECT_EQ(cache(), parsedJson(R"([{"sourceType":3}])"));
    EXPECT_TRUE(ClientPeer::hasAnnounced());
}

TEST_F(ChangeSignalTest, SecondSignalWithTheSameListDoesNothing) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change(R"([{"a":1,"b":2}])", 5);
    const std::size_t reads = platform.settingReads().size();
    change(R"([{"b":2,"a":1}])", 6);
    EXPECT_THAT(calls, ElementsAre(Pair("first", 5)));
    EXPECT_EQ(platform.settingReads().size(), reads);
    EXPECT_TRUE(ClientPeer::hasAnnounced());
}

TEST_F(ChangeSignalTest, LaterSignalAnnouncesWhenItsListDiffers) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change(R"([{"a":1}])", 1);
    change(R"([{"a":1.0}])", 2);
    change(R"([{"a":1.0},{"b":2}])", 3);
    change(R"([{"b":2},{"a":1.0}])", 4);
    EXPECT_THAT(
        calls, ElementsAre(Pair("first", 1), Pair("first", 2), Pair("first", 3), Pair("first", 4)));
    EXPECT_EQ(cache(), parsedJson(R"([{"b":2},{"a":1.0}])"));
}

TEST_F(ChangeSignalTest, FirstSignalAfterARefreshIsAnnouncedWithAnyList) {
    service.replyTo("UtilGetSourceList", R"({"return_data":[1]})");
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    EXPECT_EQ(readText(), "[\t1]");
    change("[1]", 5);
    change("[1]", 6);
    ClientPeer::updateCaches(parsedJson("[1]"));
    change("[1]", 7);
    EXPECT_THAT(calls, ElementsAre(Pair("first", 0), Pair("first", 5), Pair("first", 7)));
}

TEST_F(ChangeSignalTest, ListIsNotComparedBeforeAnyWasAnnounced) {
    ClientPeer::setList(parsedJson("[1]"));
    change("[1]", 5);
    EXPECT_THAT(platform.logOf("m_IsUpdated"), IsEmpty());
}

TEST_F(ChangeSignalTest, AnnouncedFlagIsClearedAfterTheRefresh) {
    change("[1]", 5);
    std::vector<bool> announced;
    platform.onSettingRead([&] { announced.push_back(ClientPeer::hasAnnounced()); });
    platform.onLog([&](const LogLine &line) {
        if (line.function == "m_SetSourceListCache" || line.function == "m_UpdateCache" ||
            line.function == "m_NotifySourceListChanged") {
            announced.push_back(ClientPeer::hasAnnounced());
        }
    });
    change("[2]", 6);
    // Names read, list replaced, refresh logged; then the announcement begins and finds no
    // callback.
    EXPECT_THAT(announced, ElementsAre(true, true, true, false, false));
}

TEST_F(ChangeSignalTest, SignalWithTheEmptyTextFetchesTheListAndAnnounces) {
    service.replyTo("UtilGetSourceList", R"({"return_data":[1]})");
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change(R"("")", 5);
    EXPECT_THAT(service.lastCall().json,
                parsedJson(R"({"method":"UtilGetSourceList","data":null})"));
    EXPECT_EQ(cache(), parsedJson("[1]"));
    change(R"("")", 6);
    EXPECT_EQ(service.countOf("UtilGetSourceList"), 2);
    EXPECT_THAT(calls, ElementsAre(Pair("first", 5), Pair("first", 6)));
}

TEST_F(ChangeSignalTest, FailedRefreshIsAnnounced) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    platform.setSourceNames(std::nullopt);
    service.releaseName();
    change(R"("")", 5);
    EXPECT_FALSE(ClientPeer::hasNames());
    EXPECT_FALSE(ClientPeer::hasList());
    EXPECT_THAT(calls, ElementsAre(Pair("first", 5)));
    EXPECT_TRUE(ClientPeer::hasAnnounced());
}

TEST_F(ChangeSignalTest, MissingListReadsAsNull) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change("[1]", 1);
    signal(R"({"data":{"result":5}})");
    EXPECT_TRUE(cache().isNull());
    EXPECT_TRUE(ClientPeer::hasList());
    EXPECT_THAT(calls, ElementsAre(Pair("first", 1), Pair("first", 5)));
}

TEST_F(ChangeSignalTest, MissingResultIsZero) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    for (const char *data : {R"({})", R"({"data":null})", R"({"data":{}})",
                             R"({"data":{"result":null}})", R"({"data":{"other":5}})"}) {
        SCOPED_TRACE(data);
        calls.clear();
        ClientPeer::hasAnnounced() = false;
        signal(data);
        EXPECT_THAT(calls, ElementsAre(Pair("first", 0)));
    }
}

TEST_F(ChangeSignalTest, ResultIsAnyValueThatConvertsToAnInt) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    ClientPeer::hasAnnounced() = false;
    signal(R"({"data":{"result":-2147483648}})");
    ClientPeer::hasAnnounced() = false;
    signal(R"({"data":{"result":true}})");
    EXPECT_THAT(calls, ElementsAre(Pair("first", -2147483647 - 1), Pair("first", 1)));
}

TEST_F(ChangeSignalTest, UnreadableResultThrowsAfterTheRefresh) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    for (const char *data : {R"({"result":"5"})", R"({"result":[]})", R"({"result":4294967296})",
                             R"("text")", "5", "[1]"}) {
        SCOPED_TRACE(data);
        ClientPeer::list() = Json::Value();
        ClientPeer::hasAnnounced() = false;
        const std::string text = R"({"return_data":[1],"data":)" + std::string(data) + "}";
        EXPECT_THROW(handle(text), Json::Exception);
        EXPECT_EQ(cache(), parsedJson("[1]"));
        EXPECT_FALSE(ClientPeer::hasAnnounced());
    }
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_TRUE(isFree(m_sourceAPICallbackDataMutex));
}

TEST_F(ChangeSignalTest, UnreadableSignalIsDropped) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    for (const char *text : {R"({"return_data":[1],"data":{"result":"5"}})", "[1]", "5"}) {
        SCOPED_TRACE(text);
        signal(text);
    }
    EXPECT_THAT(calls, IsEmpty());
    change("[2]", 5);
    EXPECT_THAT(calls, ElementsAre(Pair("first", 5)));
}

TEST_F(ChangeSignalTest, WrongTypesInTheSettingsStoreLeaveTheCachesAndAnnounceNothing) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change("[1]", 1);
    platform.setSourceNames(R"([{"SourceType":"seven"}])");
    change("[2]", 2);
    EXPECT_THAT(calls, ElementsAre(Pair("first", 1)));
    EXPECT_EQ(cache(), parsedJson("[1]"));
    EXPECT_EQ(nameOf(7), "Game");
}

TEST_F(ChangeSignalTest, SignalThatIsNoJsonIsAnEmptyListAndZero) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change("[1]", 1);
    service.emit("/any/path", "any.interface", "source_api", g_variant_new("(i)", 5));
    ASSERT_TRUE(deliverSignalsOf(service.connection()));
    signal("no JSON");
    EXPECT_TRUE(cache().isNull());
    EXPECT_THAT(calls, ElementsAre(Pair("first", 1), Pair("first", 0)));
}

}  // namespace
