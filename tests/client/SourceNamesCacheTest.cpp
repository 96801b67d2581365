// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The cached names and device types.
#include <future>
#include <optional>
#include <vector>

#include "LockState.h"
#include "SourceNamesTest.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class SourceNamesCacheTest : public SourceNamesTest {};

TEST_F(SourceNamesCacheTest, CacheIsReplacedAsAWhole) {
    ClientPeer::updateNames();
    Names other;
    other.emplace(1, SourceNameList());
    ClientPeer::setNames(other);
    EXPECT_THAT(cached(), ElementsAre(Entry{1, "", "", 0, -2, 0, 0}));
    EXPECT_THAT(other, SizeIs(1));
}

TEST_F(SourceNamesCacheTest, UpdateReadsTheStoreIntoTheCache) {
    ClientPeer::updateNames();
    EXPECT_THAT(cached(), ElementsAre(game, player));
    EXPECT_TRUE(loaded());
}

TEST_F(SourceNamesCacheTest, FailedReadEmptiesTheCacheAndClearsTheFlag) {
    ClientPeer::updateNames();
    platform.setSourceNames(std::nullopt);
    ClientPeer::updateNames();
    EXPECT_THAT(cached(), IsEmpty());
    EXPECT_FALSE(loaded());
}

TEST_F(SourceNamesCacheTest, ReadOfNothingEmptiesTheCacheAndSetsTheFlag) {
    for (const char *text : {"no JSON", "[]", "{}", "null"}) {
        SCOPED_TRACE(text);
        platform.setSourceNames(names);
        ClientPeer::updateNames();
        ASSERT_THAT(cached(), SizeIs(2));
        ClientPeer::hasNames() = false;
        platform.setSourceNames(text);
        ClientPeer::updateNames();
        EXPECT_THAT(cached(), IsEmpty());
        EXPECT_TRUE(loaded());
    }
}

TEST_F(SourceNamesCacheTest, FlagIsStoredAfterTheNewMapIsInPlace) {
    std::vector<bool> flagBeforeTheSwap;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "m_SetSourceMapCache") {
            flagBeforeTheSwap.push_back(loaded());
        }
    });
    ClientPeer::updateNames();
    EXPECT_THAT(flagBeforeTheSwap, ElementsAre(false));
    EXPECT_TRUE(loaded());
}

TEST_F(SourceNamesCacheTest, AChangeWhileTheStoreIsReadIsNotLost) {
    service.reply(R"({"return_data":true})");
    CSourceAPI::Get();
    const std::size_t reads = platform.settingReads().size();
    platform.onSettingRead([&] {
        if (platform.settingReads().size() > reads + 1) {
            platform.setSourceNames(R"([{"SourceType":9,"EditName":"new"}])");
        } else {
            EXPECT_TRUE(CSourceAPI::Get()->SetSourceEditName(9, "new", 0));
        }
    });
    ClientPeer::updateNames();
    EXPECT_EQ(platform.settingReads().size(), reads + 1) << "one reading, whatever was changed";
    EXPECT_FALSE(loaded());
    EXPECT_EQ(nameOf(9, 0), "new");
    platform.onSettingRead(nullptr);
    EXPECT_EQ(platform.settingReads().size(), reads + 2);
    EXPECT_TRUE(loaded());
}

TEST_F(SourceNamesCacheTest, AChangeWhileTheListIsFetchedDoesNotFailTheQuery) {
    service.reply(R"({"return_data":true})");
    service.replyTo("UtilGetSourceList", R"({"return_data":[]})");
    CSourceAPI::Get();
    ClientPeer::hasNames() = false;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "m_UpdateSourceListCache") {
            platform.onLog(nullptr);
            EXPECT_TRUE(CSourceAPI::Get()->SetSourceEditName(7, "new", 0));
        }
    });
    EXPECT_EQ(nameOf(7, 0), "Game");
    EXPECT_FALSE(loaded());
}

TEST_F(SourceNamesCacheTest, WrongTypeLeavesTheCacheAndItsFlag) {
    ClientPeer::updateNames();
    platform.setSourceNames(R"([{"SourceType":1},{"SourceType":"x"}])");
    EXPECT_THROW(ClientPeer::updateNames(), Json::Exception);
    EXPECT_THAT(cached(), ElementsAre(game, player));
    EXPECT_TRUE(loaded());
    ClientPeer::hasNames() = false;
    EXPECT_THROW(ClientPeer::updateNames(), Json::Exception);
    EXPECT_FALSE(loaded());
}

TEST_F(SourceNamesCacheTest, StoreIsReadOutsideTheLock) {
    bool free = false;
    platform.onSettingRead([&] { free = isFree(m_sourceUtilMutex); });
    ClientPeer::updateNames();
    EXPECT_TRUE(free);
}

TEST_F(SourceNamesCacheTest, CacheIsReplacedUnderTheLock) {
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    std::future<void> update = std::async(std::launch::async, ClientPeer::updateNames);
    EXPECT_TRUE(iterateUntil([&] {
        g_main_context_wakeup(nullptr);
        return !platform.logOf("m_SetSourceMapCache").empty();
    }));
    EXPECT_THAT(cached(), IsEmpty());
    EXPECT_FALSE(loaded());
    m_sourceUtilMutex.unlock();
    update.get();
    m_sourceUtilMutex.lock();
    EXPECT_THAT(cached(), SizeIs(2));
}

}  // namespace
