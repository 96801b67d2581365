// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Fetching the source list from the service.
#include <cstdlib>
#include <string>
#include <utility>

#include "SourceListTest.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class SourceListFetchTest : public SourceListTest {};

TEST_F(SourceListFetchTest, FetchWaitsForTheReadinessEventFirst) {
    std::size_t waitsBefore = 0;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "m_GetSourceList") {
            waitsBefore = platform.waits().size();
        }
    });
    EXPECT_TRUE(ClientPeer::fetchList());
    EXPECT_EQ(waitsBefore, 1U);
    EXPECT_THAT(platform.waits(), ElementsAre(Pair("/tmp/source_service_ready", 10000)));
}

TEST_F(SourceListFetchTest, EveryFetchWaitsIncludingThatOfANameQuery) {
    EXPECT_TRUE(ClientPeer::fetchList());
    EXPECT_TRUE(ClientPeer::fetchList());
    EXPECT_EQ(platform.waits().size(), 2U);
    service.reply(R"({"return_data":true})");
    EXPECT_TRUE(CSourceAPI::Get()->SetSourceEditName(7, "new", 0));
    std::string name;
    EXPECT_TRUE(CSourceAPI::Get()->GetSourceEditName(7, name, 0));
    EXPECT_EQ(platform.waits().size(), 3U);
}

TEST_F(SourceListFetchTest, FetchContinuesWithAnyResultOfTheWait) {
    platform.setWaitResult(-1);
    EXPECT_EQ(keysOf(*readRecords()).size(), 3U);
}

TEST_F(SourceListFetchTest, OnlyTheFetchWaitsForTheReadinessEvent) {
    service.reply(R"({"return_data":true,"SourceIconPath":""})");
    CSourceAPI *const api = CSourceAPI::Get();
    std::string text;
    std::pair<std::string, std::string> icons;
    unsigned int deviceType = 0;
    EXPECT_TRUE(api->GetSourceEditName(7, text, 0));
    EXPECT_TRUE(api->GetSourceDeviceType(7, &deviceType, 0));
    api->GetSourceOSDText(7, text);
    EXPECT_TRUE(api->Connect(3));
    EXPECT_TRUE(api->RunApp(3, "key"));
    EXPECT_TRUE(api->SetSourceEditName(7, "name", 0));
    EXPECT_TRUE(api->GetCustomIconPath(7, text, icons, 0));
    std::free(CSourceAPI::GetUsbData("key"));
    EXPECT_EQ(service.calls().size(), 5U);
    EXPECT_THAT(platform.waits(), IsEmpty());
}

TEST_F(SourceListFetchTest, FailedFetchChangesNeitherTheCacheNorItsFlag) {
    readText();
    breakFetch();
    EXPECT_FALSE(ClientPeer::fetchList());
    EXPECT_TRUE(hasList());
    EXPECT_EQ(cache(), parsedJson(threeSources));
    ClientPeer::hasList() = false;
    EXPECT_FALSE(ClientPeer::fetchList());
    EXPECT_FALSE(hasList());
}

TEST_F(SourceListFetchTest, ReplyThatIsNoObjectIsAFailedFetch) {
    CSourceAPI::Get();
    for (const char *text : {"[1]", "5", R"({"dbus_result":{},"return_data":[]})"}) {
        SCOPED_TRACE(text);
        service.replyTo("UtilGetSourceList", text);
        EXPECT_FALSE(ClientPeer::fetchList());
        EXPECT_FALSE(hasList());
    }
}

TEST_F(SourceListFetchTest, ReplyWithoutReturnDataLoadsANullList) {
    for (const char *text : {"{}", R"({"other":1})", "no JSON", "", R"({"return_data":null})"}) {
        SCOPED_TRACE(text);
        ClientPeer::hasList() = false;
        service.replyTo("UtilGetSourceList", text);
        EXPECT_EQ(readText(), "null");
        EXPECT_TRUE(hasList());
        EXPECT_THAT(*readRecords(), IsEmpty());
    }
}

TEST_F(SourceListFetchTest, EmptyTextAsAFetchedListIsStoredAndNotFetchedAgain) {
    serviceHas(R"("")");
    EXPECT_EQ(readText(), R"("")");
    EXPECT_THAT(*readRecords(), IsEmpty());
    EXPECT_EQ(fetches(), 1);
}

TEST_F(SourceListFetchTest, ReadsFailWhileTheServiceIsNotOnTheBus) {
    service.releaseName();
    expectFailedReads();
    service.ownName();
    EXPECT_NE(readText(), "no list");
}

TEST_F(SourceListFetchTest, ReadsFailWhileTheCallFails) {
    breakFetch();
    expectFailedReads();
    repairFetch();
    EXPECT_NE(readText(), "no list");
}

TEST_F(SourceListFetchTest, ReadsFailWhileTheReplyHasTheResultFail) {
    service.replyTo("UtilGetSourceList", R"({"dbus_result":"fail","return_data":[]})");
    expectFailedReads();
    serviceHas("[]");
    EXPECT_EQ(readText(), "[]");
}

TEST_F(SourceListFetchTest, ReadsFailWhileTheReplyIsNoObject) {
    service.replyTo("UtilGetSourceList", "[1]");
    expectFailedReads();
    serviceHas("[]");
    EXPECT_EQ(readText(), "[]");
}

TEST_F(SourceListFetchTest, CachedListOutlivesTheBus) {
    const std::string text = readText();
    bus.lose();
    EXPECT_EQ(readText(), text);
    EXPECT_EQ(readRecords()->size(), 3U);
    ClientPeer::hasList() = false;
    EXPECT_EQ(readText(), "no list");
}

}  // namespace
