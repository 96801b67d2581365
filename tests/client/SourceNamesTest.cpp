// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The names and device types of the sources: reading them from the settings store, keeping them,
// and asking for them.
#include <functional>
#include <future>
#include <string>
#include <tuple>

#include "ClientTest.h"
#include "OthersCanLock.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Names = std::multimap<int, SourceNameList>;
// Source type, edit name, detected name, device type, activity index, edit state, setting method.
using Entry = std::tuple<int, std::string, std::string, int, int, int, int>;

constexpr const char *nothingToSay = "unchanged";

std::vector<Entry> entriesOf(const Names &names) {
    std::vector<Entry> entries;
    for (const auto &[type, entry] : names) {
        entries.emplace_back(type, entry.editName, entry.detectedName, entry.deviceType,
                             entry.mbrActivityIndex, entry.editState, entry.settingMethod);
    }
    return entries;
}

class SourceNamesTest : public ClientTest {
 protected:
    // Reads the store; the read must succeed.
    static std::vector<Entry> readStore() {
        Names read;
        EXPECT_TRUE(CSourceAPI::m_GetSourceMap(read));
        return entriesOf(read);
    }
    static std::vector<Entry> cached() { return entriesOf(CSourceAPI::m_SourceDataMap); }
    static bool loaded() { return CSourceAPI::m_bIntializedSourceDataMap; }

    // The name of a source; what it was before when the query failed.
    static std::string nameOf(int sourceType, int index) {
        std::string name = nothingToSay;
        const bool found = CSourceAPI::Get()->GetSourceEditName(sourceType, name, index);
        EXPECT_EQ(found, name != nothingToSay);
        return name;
    }
    // The same of a device type.
    static constexpr unsigned int noDevice = 4711;
    static unsigned int deviceOf(int sourceType, int index) {
        unsigned int device = noDevice;
        const bool found = CSourceAPI::Get()->GetSourceDeviceType(sourceType, &device, index);
        EXPECT_EQ(found, device != noDevice);
        return device;
    }

    const Entry game{7, "Game", "Console", 3, 0, 1, 0};
    const Entry player{7, "", "Player", 4, 1, 0, 2};
};

// Reading the store.

TEST_F(SourceNamesTest, EveryStoredEntryIsReadWithAllItsFields) {
    EXPECT_THAT(readStore(), ElementsAre(game, player));
    EXPECT_THAT(platform.settingReads(), ElementsAre("db/source-list/source-name"));
    EXPECT_THAT(platform.log(),
                ElementsAre(Error("m_GetSourceMap"), Info("[7][3][0][Game][Console][1][0]"),
                            Info("[7][4][1][][Player][0][2]")));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "m_GetSourceMap")));
}

TEST_F(SourceNamesTest, StoreIsReadIntoTheMapWithoutClearingIt) {
    Names read;
    read.emplace(7, SourceNameList());
    EXPECT_TRUE(CSourceAPI::m_GetSourceMap(read));
    EXPECT_THAT(entriesOf(read), ElementsAre(Entry{7, "", "", 0, -2, 0, 0}, game, player));
}

TEST_F(SourceNamesTest, EntriesOfOneTypeKeepTheirOrderAndTypesAreSorted) {
    platform.setSourceNames(R"([{"SourceType":9,"EditName":"a"},{"SourceType":-2,"EditName":"b"},)"
                            R"({"SourceType":9,"EditName":"c"},{"SourceType":9,"EditName":"a"}])");
    EXPECT_THAT(readStore(),
                ElementsAre(Entry{-2, "b", "", 0, 0, 0, 0}, Entry{9, "a", "", 0, 0, 0, 0},
                            Entry{9, "c", "", 0, 0, 0, 0}, Entry{9, "a", "", 0, 0, 0, 0}));
}

TEST_F(SourceNamesTest, MissingKeysReadAsZeroAndEmpty) {
    platform.setSourceNames("[{}]");
    EXPECT_THAT(readStore(), ElementsAre(Entry{0, "", "", 0, 0, 0, 0}));
    EXPECT_THAT(platform.log(), Contains(Info("[0][0][0][][][0][0]")));
}

TEST_F(SourceNamesTest, ObjectServesAsAContainerWhoseMemberNamesAreIgnored) {
    platform.setSourceNames(R"({"z":{"SourceType":1,"EditName":"z"},)"
                            R"("a":{"SourceType":1,"EditName":"a"}})");
    EXPECT_THAT(readStore(),
                ElementsAre(Entry{1, "a", "", 0, 0, 0, 0}, Entry{1, "z", "", 0, 0, 0, 0}));
}

TEST_F(SourceNamesTest, MemberThatIsNoObjectTakesOverTheDetectedNameBeforeIt) {
    platform.setSourceNames(R"([5,{"SourceType":1,"EditName":"e","DetectedName":"d",)"
                            R"("DeviceType":2,"MbrActivityIndex":3,"EditState":4,)"
                            R"("SettingMethod":5},null,"text",{"SourceType":2},[1]])");
    EXPECT_THAT(readStore(),
                ElementsAre(Entry{-1, "", "", 0, -2, 0, 0}, Entry{-1, "", "d", 0, -2, 0, 0},
                            Entry{-1, "", "d", 0, -2, 0, 0}, Entry{-1, "", "", 0, -2, 0, 0},
                            Entry{1, "e", "d", 2, 3, 4, 5}, Entry{2, "", "", 0, 0, 0, 0}));
    EXPECT_THAT(platform.log(), ElementsAre(Error("m_GetSourceMap"), Info("[1][2][3][e][d][4][5]"),
                                            Info("[2][0][0][][][0][0]")));
}

TEST_F(SourceNamesTest, DetectedNameIsNotCarriedFromOneReadToTheNext) {
    readStore();
    platform.setSourceNames("[5]");
    EXPECT_THAT(readStore(), ElementsAre(Entry{-1, "", "", 0, -2, 0, 0}));
}

TEST_F(SourceNamesTest, UnreadableKeyIsAFailedRead) {
    platform.setSourceNames(std::nullopt);
    Names read;
    EXPECT_FALSE(CSourceAPI::m_GetSourceMap(read));
    EXPECT_THAT(read, IsEmpty());
    EXPECT_THAT(platform.log(), ElementsAre(Error("m_GetSourceMap"),
                                            Info("fail to get db/source-list/source-name")));
}

TEST_F(SourceNamesTest, TextThatIsNoJsonIsASuccessfulReadOfNothing) {
    for (const std::string &text :
         {std::string(), std::string("[{"), std::string("names"), std::string(2000, '[')}) {
        SCOPED_TRACE(text);
        platform.setSourceNames(text);
        platform.clearLog();
        EXPECT_THAT(readStore(), IsEmpty());
        EXPECT_THAT(platform.log(), ElementsAre(Error("m_GetSourceMap"), Info("nothing to parse")));
    }
}

TEST_F(SourceNamesTest, EmptyRootIsASuccessfulReadOfNothing) {
    for (const char *text : {"null", "[]", "{}", " [ ] "}) {
        SCOPED_TRACE(text);
        platform.setSourceNames(text);
        platform.clearLog();
        EXPECT_THAT(readStore(), IsEmpty());
        EXPECT_THAT(platform.log(), ElementsAre(Error("m_GetSourceMap"), Info("root is empty")));
    }
}

TEST_F(SourceNamesTest, ScalarRootHasNoMembers) {
    for (const char *text : {"5", R"("text")", "true"}) {
        SCOPED_TRACE(text);
        platform.setSourceNames(text);
        platform.clearLog();
        EXPECT_THAT(readStore(), IsEmpty());
        EXPECT_THAT(platform.log(), ElementsAre(Error("m_GetSourceMap")));
    }
}

TEST_F(SourceNamesTest, ReaderHasTheJsonLibrarysDefaults) {
    platform.setSourceNames("/* names */ [{\"SourceType\":1}] // and more\nrest");
    EXPECT_THAT(readStore(), ElementsAre(Entry{1, "", "", 0, 0, 0, 0}));
}

TEST_F(SourceNamesTest, WrongTypeRaisesTheJsonLibrarysException) {
    for (const char *member :
         {R"({"EditName":[]})", R"({"SourceType":"1"})", R"({"DeviceType":"1"})",
          R"({"MbrActivityIndex":"1"})", R"({"DetectedName":{}})", R"({"EditState":[]})",
          R"({"SettingMethod":"1"})", R"({"SourceType":2147483648})"}) {
        SCOPED_TRACE(member);
        platform.setSourceNames("[" + std::string(member) + "]");
        Names read;
        EXPECT_THROW(CSourceAPI::m_GetSourceMap(read), Json::Exception);
        EXPECT_THAT(read, IsEmpty());
    }
}

// The text of the exception tells which key was read first.
TEST_F(SourceNamesTest, KeysAreReadInTheirOrder) {
    constexpr const char *noText = "Type is not convertible to string";
    constexpr const char *noInt = "Value is not convertible to Int.";
    const std::vector<std::pair<const char *, const char *>> table = {
        {R"({"EditName":[],"SourceType":"x"})", noText},
        {R"({"SourceType":"x","DetectedName":[]})", noInt},
        {R"({"DeviceType":"x","DetectedName":[]})", noInt},
        {R"({"MbrActivityIndex":"x","DetectedName":[]})", noInt},
        {R"({"DetectedName":[],"EditState":"x"})", noText},
        {R"({"DetectedName":[],"SettingMethod":"x"})", noText}};
    for (const auto &[member, text] : table) {
        SCOPED_TRACE(member);
        platform.setSourceNames("[" + std::string(member) + "]");
        Names read;
        try {
            CSourceAPI::m_GetSourceMap(read);
            ADD_FAILURE() << "nothing thrown";
        } catch (const Json::Exception &exception) {
            EXPECT_STREQ(exception.what(), text);
        }
    }
}

// The cache.

TEST_F(SourceNamesTest, CacheIsReplacedAsAWhole) {
    CSourceAPI::m_UpdateSourceDataMapCache();
    platform.clearLog();
    Names other;
    other.emplace(1, SourceNameList());
    CSourceAPI::m_SetSourceMapCache(other);
    EXPECT_THAT(cached(), ElementsAre(Entry{1, "", "", 0, -2, 0, 0}));
    EXPECT_THAT(other, SizeIs(1));
    EXPECT_THAT(platform.log(), ElementsAre(Info("m_SetSourceMapCache")));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "m_SetSourceMapCache")));
}

TEST_F(SourceNamesTest, UpdateReadsTheStoreIntoTheCache) {
    CSourceAPI::m_UpdateSourceDataMapCache();
    EXPECT_THAT(cached(), ElementsAre(game, player));
    EXPECT_TRUE(loaded());
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("m_UpdateSourceDataMapCache"), Error("m_GetSourceMap"),
                            InfoWith("Game"), InfoWith("Player"), Info("m_SetSourceMapCache")));
}

TEST_F(SourceNamesTest, FailedReadEmptiesTheCacheAndClearsTheFlag) {
    CSourceAPI::m_UpdateSourceDataMapCache();
    platform.setSourceNames(std::nullopt);
    CSourceAPI::m_UpdateSourceDataMapCache();
    EXPECT_THAT(cached(), IsEmpty());
    EXPECT_FALSE(loaded());
    EXPECT_EQ(platform.count(infoPriority, "m_SetSourceMapCache"), 2);
}

TEST_F(SourceNamesTest, ReadOfNothingEmptiesTheCacheAndSetsTheFlag) {
    for (const char *text : {"no JSON", "[]", "{}", "null"}) {
        SCOPED_TRACE(text);
        platform.setSourceNames(names);
        CSourceAPI::m_UpdateSourceDataMapCache();
        ASSERT_THAT(cached(), SizeIs(2));
        CSourceAPI::m_bIntializedSourceDataMap = false;
        platform.setSourceNames(text);
        CSourceAPI::m_UpdateSourceDataMapCache();
        EXPECT_THAT(cached(), IsEmpty());
        EXPECT_TRUE(loaded());
    }
}

TEST_F(SourceNamesTest, FlagIsStoredAfterTheNewMapIsInPlace) {
    std::vector<bool> flagBeforeTheSwap;
    platform.onLog([&](const LogLine &line) {
        if (line.text == "m_SetSourceMapCache") {
            flagBeforeTheSwap.push_back(loaded());
        }
    });
    CSourceAPI::m_UpdateSourceDataMapCache();
    EXPECT_THAT(flagBeforeTheSwap, ElementsAre(false));
    EXPECT_TRUE(loaded());
}

TEST_F(SourceNamesTest, AChangeWhileTheStoreIsReadIsNotLost) {
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
    CSourceAPI::m_UpdateSourceDataMapCache();
    platform.onSettingRead(nullptr);
    EXPECT_EQ(platform.settingReads().size(), reads + 2);
    EXPECT_TRUE(loaded());
    EXPECT_EQ(nameOf(9, 0), "new");
}

TEST_F(SourceNamesTest, AChangeWhileTheListIsFetchedDoesNotFailTheQuery) {
    service.reply(R"({"return_data":true})");
    service.replyTo("UtilGetSourceList", R"({"return_data":[]})");
    CSourceAPI::Get();
    CSourceAPI::m_bIntializedSourceDataMap = false;
    platform.onLog([&](const LogLine &line) {
        if (line.text == "m_UpdateSourceListCache") {
            platform.onLog(nullptr);
            EXPECT_TRUE(CSourceAPI::Get()->SetSourceEditName(7, "new", 0));
        }
    });
    EXPECT_EQ(nameOf(7, 0), "Game");
    EXPECT_FALSE(loaded());
}

TEST_F(SourceNamesTest, WrongTypeLeavesTheCacheAndItsFlag) {
    CSourceAPI::m_UpdateSourceDataMapCache();
    platform.setSourceNames(R"([{"SourceType":1},{"SourceType":"x"}])");
    EXPECT_THROW(CSourceAPI::m_UpdateSourceDataMapCache(), Json::Exception);
    EXPECT_THAT(cached(), ElementsAre(game, player));
    EXPECT_TRUE(loaded());
    CSourceAPI::m_bIntializedSourceDataMap = false;
    EXPECT_THROW(CSourceAPI::m_UpdateSourceDataMapCache(), Json::Exception);
    EXPECT_FALSE(loaded());
}

TEST_F(SourceNamesTest, StoreIsReadOutsideTheLock) {
    bool free = false;
    platform.onSettingRead([&] { free = othersCanLock(m_sourceUtilMutex); });
    CSourceAPI::m_UpdateSourceDataMapCache();
    EXPECT_TRUE(free);
}

TEST_F(SourceNamesTest, CacheIsReplacedUnderTheLock) {
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    std::future<void> update =
        std::async(std::launch::async, CSourceAPI::m_UpdateSourceDataMapCache);
    EXPECT_TRUE(iterateUntil([&] {
        g_main_context_wakeup(nullptr);
        return platform.count(infoPriority, "m_SetSourceMapCache") == 1;
    }));
    EXPECT_THAT(cached(), IsEmpty());
    EXPECT_FALSE(loaded());
    m_sourceUtilMutex.unlock();
    update.get();
    m_sourceUtilMutex.lock();
    EXPECT_THAT(cached(), SizeIs(2));
}

// The queries.

TEST_F(SourceNamesTest, NameIsTheUsersAndElseTheDetectedOne) {
    EXPECT_EQ(nameOf(7, 0), "Game");
    EXPECT_EQ(nameOf(7, 1), "Player");
}

TEST_F(SourceNamesTest, EditStatePlaysNoPartInTheName) {
    platform.setSourceNames(
        R"([{"SourceType":1,"EditName":"e","DetectedName":"d","EditState":0},)"
        R"({"SourceType":2,"EditName":"","DetectedName":"d","EditState":1},{"SourceType":3}])");
    EXPECT_EQ(nameOf(1, 0), "e");
    EXPECT_EQ(nameOf(2, 0), "d");
    EXPECT_EQ(nameOf(3, 0), "");
}

TEST_F(SourceNamesTest, DeviceTypeIsTheEntrys) {
    EXPECT_EQ(deviceOf(7, 0), 3U);
    EXPECT_EQ(deviceOf(7, 1), 4U);
}

TEST_F(SourceNamesTest, NegativeDeviceTypeIsHandedOutAsUnsigned) {
    platform.setSourceNames(R"([{"SourceType":1,"DeviceType":-1}])");
    EXPECT_EQ(deviceOf(1, 0), 4294967295U);
    EXPECT_THAT(platform.log(),
                Contains(Info("nSourceType[1], nDeviceType[-1], nMbrActivityIndex[0]")));
}

TEST_F(SourceNamesTest, FirstOfSeveralMatchingEntriesAnswers) {
    platform.setSourceNames(R"([{"SourceType":1,"EditName":"other","MbrActivityIndex":5},)"
                            R"({"SourceType":1,"EditName":"first","DeviceType":1},)"
                            R"({"SourceType":1,"EditName":"second","DeviceType":2}])");
    EXPECT_EQ(nameOf(1, 0), "first");
    EXPECT_EQ(deviceOf(1, 0), 1U);
}

TEST_F(SourceNamesTest, EntryOfAMemberThatIsNoObjectAnswersUnderItsOddKey) {
    platform.setSourceNames(R"([{"SourceType":1,"DetectedName":"carried"},5])");
    EXPECT_EQ(nameOf(-1, -2), "carried");
    EXPECT_EQ(deviceOf(-1, -2), 0U);
    EXPECT_EQ(nameOf(-1, 0), nothingToSay);
}

TEST_F(SourceNamesTest, UnknownTypeOrIndexLeavesTheOutputUnchanged) {
    for (const auto &[type, index] : {std::pair{7, 2}, std::pair{8, 0}, std::pair{0, 0}}) {
        EXPECT_EQ(nameOf(type, index), nothingToSay);
        EXPECT_EQ(deviceOf(type, index), noDevice);
    }
}

TEST_F(SourceNamesTest, NameQueryLogsItsEntryAndWhatItFound) {
    CSourceAPI::Get();
    platform.clearLog();
    nameOf(7, 0);
    nameOf(7, 1);
    nameOf(8, -5);
    EXPECT_THAT(
        platform.log(),
        ElementsAre(Error("GetSourceEditName"),
                    Info("nSourceType[7], strSourceName[Game], nMbrActivityIndex[0] (EditName: "
                         "Game, DetectedName: Console)"),
                    Error("GetSourceEditName"),
                    Info("nSourceType[7], strSourceName[Player], nMbrActivityIndex[1] (EditName: , "
                         "DetectedName: Player)"),
                    Error("GetSourceEditName"), Info("get GetSourceEditName fail[8][-5]")));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "GetSourceEditName")));
}

TEST_F(SourceNamesTest, DeviceTypeQueryLogsItsEntryAndWhatItFound) {
    CSourceAPI::Get();
    platform.clearLog();
    deviceOf(7, 0);
    deviceOf(8, -5);
    EXPECT_THAT(
        platform.log(),
        ElementsAre(Error("GetSourceDeviceType"),
                    Info("nSourceType[7], nDeviceType[3], nMbrActivityIndex[0]"),
                    Error("GetSourceDeviceType"), Info("get GetSourceDeviceType fail[8][-5]")));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "GetSourceDeviceType")));
}

TEST_F(SourceNamesTest, LoadedNamesAreServedWithoutTheStoreAndTheService) {
    CSourceAPI::Get();
    platform.setSourceNames("[]");
    EXPECT_EQ(nameOf(7, 0), "Game");
    EXPECT_EQ(deviceOf(7, 0), 3U);
    EXPECT_THAT(platform.settingReads(), SizeIs(1));
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(SourceNamesTest, EmptyNamesCountAsLoadedAndEveryQueryFails) {
    for (const char *text : {"[]", "{}"}) {
        SCOPED_TRACE(text);
        platform.setSourceNames(text);
        CSourceAPI::m_UpdateSourceDataMapCache();
        CSourceAPI::Get();
        const std::size_t reads = platform.settingReads().size();
        EXPECT_EQ(nameOf(7, 0), nothingToSay);
        EXPECT_EQ(deviceOf(7, 0), noDevice);
        EXPECT_EQ(platform.settingReads().size(), reads);
        EXPECT_THAT(service.calls(), IsEmpty());
    }
}

TEST_F(SourceNamesTest, StaleNamesAreRefreshedTogetherWithTheListBeforeTheAnswer) {
    service.replyTo("UtilGetSourceList", R"({"return_data":[]})");
    CSourceAPI::Get();
    for (const auto &query : {std::function<void()>([] { EXPECT_EQ(nameOf(9, 0), "new"); }),
                              std::function<void()>([] { EXPECT_EQ(deviceOf(9, 0), 6U); })}) {
        platform.setSourceNames(R"([{"SourceType":9,"EditName":"new","DeviceType":6}])");
        CSourceAPI::m_SetSourceMapCache({});
        CSourceAPI::m_bIntializedSourceDataMap = false;
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

TEST_F(SourceNamesTest, RefreshPrecedesTheEntryLine) {
    service.replyTo("UtilGetSourceList", R"({"return_data":[]})");
    CSourceAPI::Get();
    CSourceAPI::m_bIntializedSourceDataMap = false;
    platform.clearLog();
    nameOf(7, 0);
    const std::vector<LogLine> log = platform.log();
    ASSERT_THAT(log, SizeIs(testing::Gt(2U)));
    EXPECT_THAT(log.front(), Info("m_UpdateSourceDataMapCache"));
    EXPECT_THAT(log[log.size() - 2], Error("GetSourceEditName"));
    EXPECT_THAT(log.back(), From("SourceAPI.cpp", "GetSourceEditName"));
}

TEST_F(SourceNamesTest, UnreadableNamesFailTheQueriesAndAreReadAgainEachTime) {
    platform.setSourceNames(std::nullopt);
    service.replyTo("UtilGetSourceList", R"({"return_data":[]})");
    CSourceAPI::Get();
    const std::size_t reads = platform.settingReads().size();
    EXPECT_EQ(nameOf(7, 0), nothingToSay);
    EXPECT_EQ(deviceOf(7, 0), noDevice);
    EXPECT_EQ(platform.settingReads().size(), reads + 2);
    EXPECT_THAT(platform.logOf("GetSourceEditName"),
                ElementsAre(Error("Failed to get sourcemap!")));
    EXPECT_THAT(platform.logOf("GetSourceDeviceType"),
                ElementsAre(Error("Failed to get sourcemap!")));
    platform.setSourceNames(names);
    EXPECT_EQ(nameOf(7, 0), "Game");
}

TEST_F(SourceNamesTest, FailedListFetchFailsTheRefreshingQueryButNotTheNext) {
    CSourceAPI::Get();
    CSourceAPI::m_bIntializedSourceDataMap = false;
    service.replyWithError("test.Error.Refused", "not today");
    EXPECT_EQ(nameOf(7, 0), nothingToSay);
    EXPECT_TRUE(loaded());
    EXPECT_THAT(platform.logOf("GetSourceEditName"),
                ElementsAre(Error("Failed to get sourcemap!")));
    EXPECT_EQ(nameOf(7, 0), "Game");
}

TEST_F(SourceNamesTest, WrongTypesLeaveTheQueriesAsAnException) {
    CSourceAPI *const api = CSourceAPI::Get();
    CSourceAPI::m_bIntializedSourceDataMap = false;
    platform.setSourceNames(R"([{"SourceType":"seven"}])");
    std::string name = nothingToSay;
    unsigned int device = noDevice;
    EXPECT_THROW(api->GetSourceEditName(7, name, 0), Json::Exception);
    EXPECT_THROW(api->GetSourceDeviceType(7, &device, 0), Json::Exception);
    EXPECT_EQ(name, nothingToSay);
    EXPECT_EQ(device, noDevice);
    EXPECT_THAT(cached(), ElementsAre(game, player));
}

TEST_F(SourceNamesTest, QueriesLookUpUnderTheLockAndReleaseIt) {
    CSourceAPI::Get();
    std::vector<bool> free;
    platform.onLog([&](const LogLine &) { free.push_back(othersCanLock(m_sourceUtilMutex)); });
    for (const int type : {7, 8}) {
        free.clear();
        nameOf(type, 0);
        deviceOf(type, 0);
        EXPECT_THAT(free, ElementsAre(true, false, true, false));
        EXPECT_TRUE(othersCanLock(m_sourceUtilMutex));
    }
}

// On-screen texts.

TEST_F(SourceNamesTest, OnScreenTextIsThePlatforms) {
    platform.setOnScreenName(7, "HDMI1");
    CSourceAPI *const api = CSourceAPI::Get();
    platform.clearLog();
    std::string text;
    EXPECT_TRUE(api->GetSourceOSDText(7, text));
    EXPECT_EQ(text, "HDMI1");
    EXPECT_THAT(platform.log(), ElementsAre(Error("GetSourceOSDText"), Info("HDMI1")));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "GetSourceOSDText")));
}

TEST_F(SourceNamesTest, UnknownTypeHasDashesOnScreenAndIsAFailure) {
    CSourceAPI *const api = CSourceAPI::Get();
    platform.clearLog();
    std::string text = "before";
    EXPECT_FALSE(api->GetSourceOSDText(99, text));
    EXPECT_EQ(text, "----");
    EXPECT_THAT(platform.log(), ElementsAre(Error("GetSourceOSDText"), Info("----")));
}

TEST_F(SourceNamesTest, OnlyFourDashesMeanUnknown) {
    CSourceAPI *const api = CSourceAPI::Get();
    std::string text;
    for (const char *name : {"", "---", "-----", "---- "}) {
        platform.setOnScreenName(1, name);
        EXPECT_TRUE(api->GetSourceOSDText(1, text));
        EXPECT_EQ(text, name);
    }
}

TEST_F(SourceNamesTest, OnScreenTextAsksNeitherTheStoreNorTheServiceNorTheNames) {
    CSourceAPI *const api = CSourceAPI::Get();
    CSourceAPI::m_bIntializedSourceDataMap = false;
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
