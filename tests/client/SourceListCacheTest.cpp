// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The cached source list: replacing, comparing and refreshing it, and its lock.
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "LockState.h"
#include "RecordedCallback.h"
#include "SourceListTest.h"

using testing::AnyOf;
using testing::IsEmpty;

namespace {

class SourceListCacheTest : public SourceListTest {};

TEST_F(SourceListCacheTest, NewListReplacesTheCacheAsAWhole) {
    CSourceAPI::Get();
    ClientPeer::setList(parsedJson(threeSources));
    ClientPeer::setList(parsedJson(R"([{"sourceType":1}])"));
    EXPECT_EQ(cache(), parsedJson(R"([{"sourceType":1}])"));
    EXPECT_TRUE(hasList());
}

TEST_F(SourceListCacheTest, AnyValueExceptTheEmptyTextIsStoredAsTheList) {
    CSourceAPI::Get();
    for (const char *text : {"null", "[]", "{}", "0", "false", R"(" ")", threeSources}) {
        SCOPED_TRACE(text);
        ClientPeer::hasList() = false;
        ClientPeer::list() = "old";
        EXPECT_TRUE(ClientPeer::updateList(parsedJson(text)));
        EXPECT_EQ(cache(), parsedJson(text));
        EXPECT_TRUE(hasList());
    }
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(SourceListCacheTest, EmptyTextAsTheListFetchesIt) {
    EXPECT_TRUE(ClientPeer::updateList(Json::Value("")));
    EXPECT_EQ(fetches(), 1);
    EXPECT_EQ(cache(), parsedJson(threeSources));
    EXPECT_TRUE(hasList());
}

TEST_F(SourceListCacheTest, FailedRefetchKeepsTheOldListAndTheNextReadFetchesAgain) {
    readText();
    breakFetch();
    EXPECT_FALSE(ClientPeer::updateList(Json::Value("")));
    EXPECT_FALSE(hasList());
    EXPECT_EQ(cache(), parsedJson(threeSources));
    EXPECT_EQ(readText(), "no list");
    EXPECT_EQ(cache(), parsedJson(threeSources));
    repairFetch();
    serviceHas("[]");
    EXPECT_EQ(readText(), "[]");
    EXPECT_EQ(fetches(), 4);
}

TEST_F(SourceListCacheTest, FailedFetchAfterASignalWithTheEmptyTextIsRepeatedByTheNextRead) {
    readText();
    breakFetch();
    service.emitChange(R"({"return_data":""})");
    ASSERT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_EQ(fetches(), 2);
    EXPECT_FALSE(hasList());
    repairFetch();
    serviceHas("[]");
    EXPECT_EQ(readText(), "[]");
    EXPECT_EQ(fetches(), 3);
}

TEST_F(SourceListCacheTest, RefreshSucceedsWhenBothCachesHoldData) {
    CSourceAPI::Get();
    for (const auto &[namesReadable, listReadable] :
         {std::pair{true, true}, {true, false}, {false, true}, {false, false}}) {
        SCOPED_TRACE(std::to_string(namesReadable) + std::to_string(listReadable));
        platform.setSourceNames(namesReadable ? std::optional<std::string>(names) : std::nullopt);
        listReadable ? repairFetch() : breakFetch();
        ClientPeer::hasAnnounced() = true;
        EXPECT_EQ(ClientPeer::updateCaches(Json::Value("")), namesReadable && listReadable);
        EXPECT_FALSE(ClientPeer::hasAnnounced());
    }
}

TEST_F(SourceListCacheTest, RefreshReadsTheNamesBeforeTheList) {
    CSourceAPI::Get();
    Json::Value listMeanwhile = "not read";
    platform.onSettingRead([&] { listMeanwhile = ClientPeer::list(); });
    EXPECT_TRUE(ClientPeer::updateCaches(parsedJson("[1]")));
    EXPECT_TRUE(listMeanwhile.isNull());
    EXPECT_EQ(cache(), parsedJson("[1]"));
}

TEST_F(SourceListCacheTest, UnreadableNamesFailTheFirstReadOnly) {
    RecordedCallback recorded;
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &recorded);
    platform.setSourceNames(std::nullopt);
    EXPECT_EQ(readText(), "no list");
    EXPECT_EQ(cache(), parsedJson(threeSources));
    EXPECT_NE(readText(), "no list");
    EXPECT_EQ(fetches(), 1);
    EXPECT_THAT(recorded.values(), IsEmpty());
}

TEST_F(SourceListCacheTest, WrongTypesInTheSettingsStoreLeaveBothReadersAsAnException) {
    CSourceAPI *const api = CSourceAPI::Get();
    platform.setSourceNames(R"([{"SourceType":"seven"}])");
    EXPECT_THROW(api->GetSourceList(), Json::Exception);
    RecordsPtr records;
    EXPECT_THROW(api->GetSourceList(&records), Json::Exception);
    ASSERT_NE(records, nullptr);
    EXPECT_THAT(*records, IsEmpty());
    EXPECT_EQ(fetches(), 0);
}

TEST_F(SourceListCacheTest, ListIsChangedWhenItsJsonValueDiffers) {
    CSourceAPI::Get();
    ClientPeer::setList(parsedJson(R"([{"a":1,"b":2},{"c":3}])"));
    platform.clearLog();
    for (const char *text :
         {R"([{"c":3},{"a":1,"b":2}])", R"([{"a":1,"b":2}])", R"([{"a":1.0,"b":2},{"c":3}])",
          R"([{"a":1,"b":2},{"c":"3"}])", R"([{"a":1,"b":2,"d":null},{"c":3}])", "null", "[]"}) {
        EXPECT_TRUE(ClientPeer::isNewList(parsedJson(text))) << text;
    }
    EXPECT_THAT(platform.log(), IsEmpty());
    EXPECT_FALSE(ClientPeer::isNewList(parsedJson(R"([ {"b":2,"a":1}, {"c":3} ])")));
}

TEST_F(SourceListCacheTest, CacheIsRenderedInTheStyledForm) {
    EXPECT_EQ(ClientPeer::listText(), "null\n");
    ClientPeer::setList(parsedJson(R"([{"sourceType":1}])"));
    EXPECT_EQ(ClientPeer::listText(), "[\n\t{\n\t\t\"sourceType\" : 1\n\t}\n]\n");
}

TEST_F(SourceListCacheTest, CacheLockIsFreeDuringTheFetch) {
    CSourceAPI::Get();
    service.hold();
    std::thread reader([] { EXPECT_NE(readText(), "no list"); });
    service.waitForCalls(1);
    EXPECT_TRUE(isFree(m_sourceUtilMutex));
    service.release();
    reader.join();
}

TEST_F(SourceListCacheTest, CacheLockIsFreeWhileReadersBuildAndLog) {
    readText();
    int lines = 0;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "GetSourceList") {
            ++lines;
            EXPECT_TRUE(isFree(m_sourceUtilMutex)) << line;
        }
    });
    readText();
    readRecords();
    EXPECT_EQ(lines, 6);
}

TEST_F(SourceListCacheTest, ReadersNeverSeeAMixtureOfTwoLists) {
    const std::string three = readText();
    std::thread refresher([] {
        for (int round = 0; round < 200; ++round) {
            ClientPeer::setList(parsedJson(round % 2 == 0 ? "[]" : threeSources));
        }
    });
    for (int round = 0; round < 200; ++round) {
        EXPECT_THAT(readText(), AnyOf("[]", three));
        EXPECT_THAT(readRecords()->size(), AnyOf(0U, 3U));
    }
    refresher.join();
    EXPECT_EQ(readText(), three);
}

TEST_F(SourceListCacheTest, CacheLockIsRecursive) {
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    ClientPeer::setList(parsedJson("[]"));
    EXPECT_FALSE(ClientPeer::isNewList(parsedJson("[]")));
    EXPECT_EQ(ClientPeer::listText(), "[]\n");
}

TEST_F(SourceListCacheTest, LastRefreshDeterminesTheList) {
    CSourceAPI::Get();
    service.hold();
    std::thread reader([] { readText(); });
    service.waitForCalls(1);
    service.emitChange(R"({"return_data":[{"sourceType":1}]})");
    ASSERT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_EQ(cache(), parsedJson(R"([{"sourceType":1}])"));
    service.release();
    reader.join();
    EXPECT_EQ(cache(), parsedJson(threeSources));
}

}  // namespace
