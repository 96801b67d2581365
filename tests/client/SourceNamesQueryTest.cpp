// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Queries of names, device types and on-screen texts.
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "LockState.h"
#include "SourceNamesTest.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class SourceNamesQueryTest : public SourceNamesTest {};

TEST_F(SourceNamesQueryTest, NameIsTheUsersAndElseTheDetectedOne) {
    EXPECT_EQ(nameOf(7, 0), "Game");
    EXPECT_EQ(nameOf(7, 1), "Player");
}

TEST_F(SourceNamesQueryTest, EditStateDoesNotAffectTheName) {
    platform.setSourceNames(
        R"([{"SourceType":1,"EditName":"e","DetectedName":"d","EditState":0},)"
        R"({"SourceType":2,"EditName":"","DetectedName":"d","EditState":1},{"SourceType":3}])");
    EXPECT_EQ(nameOf(1, 0), "e");
    EXPECT_EQ(nameOf(2, 0), "d");
    EXPECT_EQ(nameOf(3, 0), "");
}

TEST_F(SourceNamesQueryTest, DeviceTypeIsTheEntrys) {
    EXPECT_EQ(deviceOf(7, 0), 3U);
    EXPECT_EQ(deviceOf(7, 1), 4U);
}

TEST_F(SourceNamesQueryTest, NegativeDeviceTypeIsHandedOutAsUnsigned) {
    platform.setSourceNames(R"([{"SourceType":1,"DeviceType":-1}])");
    EXPECT_EQ(deviceOf(1, 0), 4294967295U);
}

TEST_F(SourceNamesQueryTest, FirstOfSeveralMatchingEntriesIsUsed) {
    platform.setSourceNames(R"([{"SourceType":1,"EditName":"other","MbrActivityIndex":5},)"
                            R"({"SourceType":1,"EditName":"first","DeviceType":1},)"
                            R"({"SourceType":1,"EditName":"second","DeviceType":2}])");
    EXPECT_EQ(nameOf(1, 0), "first");
    EXPECT_EQ(deviceOf(1, 0), 1U);
}

TEST_F(SourceNamesQueryTest, EntryOfAMemberThatIsNoObjectIsFoundUnderItsUnusualKey) {
    platform.setSourceNames(R"([{"SourceType":1,"DetectedName":"carried"},5])");
    EXPECT_EQ(nameOf(-1, -2), "carried");
    EXPECT_EQ(deviceOf(-1, -2), 0U);
    EXPECT_EQ(nameOf(-1, 0), unchanged);
}

TEST_F(SourceNamesQueryTest, UnknownTypeOrIndexLeavesTheOutputUnchanged) {
    for (const auto &[type, index] : {std::pair{7, 2}, std::pair{8, 0}, std::pair{0, 0}}) {
        EXPECT_EQ(nameOf(type, index), unchanged);
        EXPECT_EQ(deviceOf(type, index), noDevice);
    }
}

TEST_F(SourceNamesQueryTest, LoadedNamesAreServedWithoutTheStoreAndTheService) {
    CSourceAPI::Get();
    platform.setSourceNames("[]");
    EXPECT_EQ(nameOf(7, 0), "Game");
    EXPECT_EQ(deviceOf(7, 0), 3U);
    EXPECT_THAT(platform.settingReads(), SizeIs(1));
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(SourceNamesQueryTest, EmptyNamesCountAsLoadedAndEveryQueryFails) {
    for (const char *text : {"[]", "{}"}) {
        SCOPED_TRACE(text);
        platform.setSourceNames(text);
        ClientPeer::updateNames();
        CSourceAPI::Get();
        const std::size_t reads = platform.settingReads().size();
        EXPECT_EQ(nameOf(7, 0), unchanged);
        EXPECT_EQ(deviceOf(7, 0), noDevice);
        EXPECT_EQ(platform.settingReads().size(), reads);
        EXPECT_THAT(service.calls(), IsEmpty());
    }
}

TEST_F(SourceNamesQueryTest, StaleNamesAreRefreshedTogetherWithTheListBeforeTheQuery) {
    service.replyTo("UtilGetSourceList", R"({"return_data":[]})");
    CSourceAPI::Get();
    for (const auto &query : {std::function<void()>([] { EXPECT_EQ(nameOf(9, 0), "new"); }),
                              std::function<void()>([] { EXPECT_EQ(deviceOf(9, 0), 6U); })}) {
        platform.setSourceNames(R"([{"SourceType":9,"EditName":"new","DeviceType":6}])");
        ClientPeer::setNames({});
        ClientPeer::hasNames() = false;
        const std::size_t reads = platform.settingReads().size();
        const int fetches = service.countOf("UtilGetSourceList");
        query();
        EXPECT_EQ(platform.settingReads().size(), reads + 1);
        EXPECT_EQ(service.countOf("UtilGetSourceList"), fetches + 1);
        EXPECT_TRUE(loaded());
        query();
        EXPECT_EQ(platform.settingReads().size(), reads + 1);
    }
}

TEST_F(SourceNamesQueryTest, UnreadableNamesFailTheQueriesAndAreReadAgainEachTime) {
    platform.setSourceNames(std::nullopt);
    service.replyTo("UtilGetSourceList", R"({"return_data":[]})");
    CSourceAPI::Get();
    const std::size_t reads = platform.settingReads().size();
    EXPECT_EQ(nameOf(7, 0), unchanged);
    EXPECT_EQ(deviceOf(7, 0), noDevice);
    EXPECT_EQ(platform.settingReads().size(), reads + 2);
    platform.setSourceNames(names);
    EXPECT_EQ(nameOf(7, 0), "Game");
}

TEST_F(SourceNamesQueryTest, FailedListFetchFailsTheRefreshingQueryButNotTheNext) {
    CSourceAPI::Get();
    ClientPeer::hasNames() = false;
    service.replyWithError("test.Error.Refused", "not today");
    EXPECT_EQ(nameOf(7, 0), unchanged);
    EXPECT_TRUE(loaded());
    EXPECT_EQ(nameOf(7, 0), "Game");
}

TEST_F(SourceNamesQueryTest, WrongTypesMakeTheQueriesThrow) {
    CSourceAPI *const api = CSourceAPI::Get();
    ClientPeer::hasNames() = false;
    platform.setSourceNames(R"([{"SourceType":"seven"}])");
    std::string name = unchanged;
    unsigned int device = noDevice;
    EXPECT_THROW(api->GetSourceEditName(7, name, 0), Json::Exception);
    EXPECT_THROW(api->GetSourceDeviceType(7, &device, 0), Json::Exception);
    EXPECT_EQ(name, unchanged);
    EXPECT_EQ(device, noDevice);
    EXPECT_THAT(cached(), ElementsAre(game, player));
}

TEST_F(SourceNamesQueryTest, QueriesLookUpUnderTheLockAndReleaseIt) {
    CSourceAPI::Get();
    std::vector<bool> free;
    platform.onLog([&](const LogLine &) { free.push_back(isFree(m_sourceUtilMutex)); });
    for (const int type : {7, 8}) {
        free.clear();
        nameOf(type, 0);
        deviceOf(type, 0);
        EXPECT_THAT(free, ElementsAre(true, false, true, false));
        EXPECT_TRUE(isFree(m_sourceUtilMutex));
    }
}

TEST_F(SourceNamesQueryTest, OnScreenTextIsThePlatforms) {
    platform.setOnScreenName(7, "HDMI1");
    CSourceAPI *const api = CSourceAPI::Get();
    std::string text;
    EXPECT_TRUE(api->GetSourceOSDText(7, text));
    EXPECT_EQ(text, "HDMI1");
}

TEST_F(SourceNamesQueryTest, UnknownTypeIsShownAsDashesAndIsAFailure) {
    CSourceAPI *const api = CSourceAPI::Get();
    std::string text = "before";
    EXPECT_FALSE(api->GetSourceOSDText(99, text));
    EXPECT_EQ(text, "----");
}

TEST_F(SourceNamesQueryTest, OnlyFourDashesMeanUnknown) {
    CSourceAPI *const api = CSourceAPI::Get();
    std::string text;
    for (const char *name : {"", "---", "-----", "---- "}) {
        platform.setOnScreenName(1, name);
        EXPECT_TRUE(api->GetSourceOSDText(1, text));
        EXPECT_EQ(text, name);
    }
}

TEST_F(SourceNamesQueryTest, OnScreenTextReadsNeitherTheStoreNorTheServiceNorTheNames) {
    CSourceAPI *const api = CSourceAPI::Get();
    ClientPeer::hasNames() = false;
    const std::size_t reads = platform.settingReads().size();
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    std::future<bool> known = std::async(std::launch::async, [&] {
        std::string text;
        return api->GetSourceOSDText(7, text);
    });
    EXPECT_FALSE(known.get());
    EXPECT_EQ(platform.settingReads().size(), reads);
    EXPECT_THAT(service.calls(), IsEmpty());
    EXPECT_FALSE(loaded());
}

}  // namespace
