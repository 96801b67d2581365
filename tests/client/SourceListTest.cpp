// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The cached source list: fetching it, and reading it as text and as records.
#include <cstdlib>
#include <thread>

#include "ClientTest.h"
#include "OthersCanLock.h"
#include "RecordedCallback.h"

using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

namespace {

using Records = std::multimap<int, CSourceItem>;
using RecordsPtr = std::shared_ptr<Records>;

constexpr const char *threeSources =
    R"([{"sourceType":8,"uniqueKey":"stick"},{"sourceType":3,"uniqueKey":"hdmi"},)"
    R"({"sourceType":8,"uniqueKey":"disk"}])";

class SourceListTest : public ClientTest {
 protected:
    SourceListTest() { serviceHas(threeSources); }

    void serviceHas(const std::string &list) {
        service.replyTo("UtilGetSourceList", R"({"return_data":)" + list + "}");
    }
    void breakFetch() { service.replyWithError("test.Error.Refused", "not today"); }
    void mendFetch() { service.reply("{}"); }
    int fetches() const { return service.countOf("UtilGetSourceList"); }

    // The list as text; "no list" when the read failed.
    static std::string readText() {
        const std::unique_ptr<char, decltype(&std::free)> text(CSourceAPI::Get()->GetSourceList(),
                                                               std::free);
        return text ? text.get() : "no list";
    }

    static std::vector<std::string> keysOf(const Records &records) {
        std::vector<std::string> keys;
        for (const auto &[type, item] : records) {
            keys.push_back(item.uniqueKey);
        }
        return keys;
    }

    // Reads the records of what the service has; the read must succeed.
    static RecordsPtr readRecords() {
        RecordsPtr records;
        EXPECT_TRUE(CSourceAPI::Get()->GetSourceList(&records));
        return records;
    }

    // Both forms fail, and each of them asks the service.
    void expectFailedReads() {
        EXPECT_EQ(readText(), "no list");
        RecordsPtr records;
        EXPECT_FALSE(CSourceAPI::Get()->GetSourceList(&records));
        ASSERT_NE(records, nullptr);
        EXPECT_THAT(*records, IsEmpty());
        EXPECT_EQ(platform.count(errorPriority, "Failed to get sourcelist!"), 2);
        EXPECT_EQ(platform.count(errorPriority, "update sourcelist"), 2);
        EXPECT_FALSE(hasList());
        EXPECT_TRUE(CSourceAPI::m_bIntializedSourceDataMap);
    }

    static Json::Value cache() { return CSourceAPI::m_sourceItemArray; }
    static bool hasList() { return CSourceAPI::m_bIntializedSourceItemArray; }
};

TEST_F(SourceListTest, MakingTheClientDoesNotFetchTheList) {
    CSourceAPI::Get();
    EXPECT_THAT(service.calls(), IsEmpty());
    EXPECT_TRUE(CSourceAPI::m_bIntializedSourceDataMap);
    EXPECT_FALSE(hasList());
    EXPECT_TRUE(cache().isNull());
}

// The text form.

TEST_F(SourceListTest, FirstReadSendsExactlyOneRequestForTheList) {
    EXPECT_NE(readText(), "no list");
    ASSERT_EQ(service.calls().size(), 1U);
    EXPECT_EQ(service.lastCall().member, "SendMessage");
    EXPECT_EQ(service.lastCall().json, parsedJson(R"({"method":"UtilGetSourceList","data":null})"));
}

TEST_F(SourceListTest, TextIsTheStyledListWithoutItsNewlines) {
    serviceHas(R"([{"uniqueKey":"a\nb","sourceType":3},{}])");
    EXPECT_EQ(readText(), "[\t{\t\t\"sourceType\" : 3,\t\t\"uniqueKey\" : \"a\\nb\"\t},\t{}]");
}

TEST_F(SourceListTest, FirstReadAsTextAnnouncesZeroToEveryRegistrationOnce) {
    RecordedCallback first;
    RecordedCallback second;
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &first);
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &second);
    readText();
    EXPECT_THAT(first.values(), ElementsAre(0));
    EXPECT_THAT(second.values(), ElementsAre(0));
}

TEST_F(SourceListTest, SecondReadIsServedFromTheCache) {
    RecordedCallback recorded;
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &recorded);
    const std::string first = readText();
    const std::size_t settingReads = platform.settingReads().size();
    serviceHas("[]");
    EXPECT_EQ(readText(), first);
    EXPECT_EQ(readRecords()->size(), 3U);
    EXPECT_EQ(service.calls().size(), 1U);
    EXPECT_EQ(platform.settingReads().size(), settingReads);
    EXPECT_EQ(platform.waits().size(), 1U);
    EXPECT_THAT(recorded.values(), ElementsAre(0));
}

TEST_F(SourceListTest, ReadingAsTextLogsEveryStep) {
    const std::string text = readText();
    EXPECT_THAT(
        platform.logOf("GetSourceList"),
        ElementsAre(Error("GetSourceList!"), Error("Notify Source List Changed!"), Info(text)));
    platform.clearLog();
    readText();
    EXPECT_THAT(platform.log(), ElementsAre(Error("GetSourceList!"), Info(text)));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "GetSourceList")));
}

TEST_F(SourceListTest, FailedReadAsTextIsNullAndAnnouncesNothing) {
    RecordedCallback recorded;
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &recorded);
    breakFetch();
    EXPECT_EQ(CSourceAPI::Get()->GetSourceList(), nullptr);
    EXPECT_THAT(platform.logOf("GetSourceList"),
                ElementsAre(Error("GetSourceList!"), Error("Failed to get sourcelist!")));
    EXPECT_THAT(recorded.values(), IsEmpty());
}

TEST_F(SourceListTest, EmptyListIsTwoBracketsAndNoRecord) {
    serviceHas("[]");
    EXPECT_EQ(readText(), "[]");
    EXPECT_THAT(*readRecords(), IsEmpty());
}

// The record form.

TEST_F(SourceListTest, FirstReadAsRecordsAsksOnceAndAnnouncesNothing) {
    RecordedCallback recorded;
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &recorded);
    readRecords();
    readText();
    EXPECT_EQ(service.calls().size(), 1U);
    EXPECT_THAT(recorded.values(), IsEmpty());
    EXPECT_EQ(platform.count(errorPriority, "Notify Source List Changed!"), 0);
    EXPECT_THAT(platform.logOf("m_NotifySourceListChanged"), IsEmpty());
}

TEST_F(SourceListTest, RecordsAreOrderedBySourceTypeAndKeepTheListOrderWithinOne) {
    EXPECT_THAT(keysOf(*readRecords()), ElementsAre("hdmi", "stick", "disk"));
}

TEST_F(SourceListTest, RecordCarriesEveryFieldOfItsElementButTheSettingMethod) {
    serviceHas(
        R"([{"sourceType":3,"editName":"My%20TV","detectedName":"B%C3%A4r","iconPath":"/i%20.png",)"
        R"("uniqueKey":"k%20","connectionState":true,"powerState":2,"mbrActivityIndex":5,)"
        R"("settingMethod":9}])");
    const RecordsPtr records = readRecords();
    ASSERT_EQ(records->size(), 1U);
    EXPECT_EQ(records->begin()->first, 3);
    const CSourceItem &item = records->begin()->second;
    EXPECT_EQ(item.sourceType, 3);
    EXPECT_EQ(item.editName, "My TV");
    EXPECT_EQ(item.detectedName, "B\xC3\xA4r");
    EXPECT_EQ(item.iconPath, "/i%20.png");
    EXPECT_EQ(item.uniqueKey, "k%20");
    EXPECT_TRUE(item.connectionState);
    EXPECT_EQ(item.powerState, 2);
    EXPECT_EQ(item.mbrActivityIndex, 5);
    EXPECT_EQ(item.settingMethod, 0);
}

TEST_F(SourceListTest, ReadingAsRecordsLogsEachElementOnOneLineInListOrder) {
    readRecords();
    EXPECT_THAT(platform.logOf("GetSourceList"),
                ElementsAre(Error("GetSourceList!"),
                            Info("[8] {\t\"sourceType\" : 8,\t\"uniqueKey\" : \"stick\"}"),
                            Info("[3] {\t\"sourceType\" : 3,\t\"uniqueKey\" : \"hdmi\"}"),
                            Info("[8] {\t\"sourceType\" : 8,\t\"uniqueKey\" : \"disk\"}")));
    EXPECT_THAT(platform.logOf("GetSourceList"), Each(From("SourceAPI.cpp", "GetSourceList")));
}

TEST_F(SourceListTest, CallersMapIsReplacedAndItsOtherOwnersKeepTheirs) {
    RecordsPtr records = readRecords();
    const RecordsPtr kept = records;
    CSourceAPI::m_SetSourceListCache(parsedJson(R"([{"sourceType":1,"uniqueKey":"new"}])"));
    EXPECT_TRUE(CSourceAPI::Get()->GetSourceList(&records));
    EXPECT_THAT(keysOf(*records), ElementsAre("new"));
    EXPECT_THAT(keysOf(*kept), ElementsAre("hdmi", "stick", "disk"));
}

TEST_F(SourceListTest, CallersMapIsReleasedWithItsLastOwner) {
    RecordsPtr records = std::make_shared<Records>();
    const std::weak_ptr<Records> old = records;
    EXPECT_TRUE(CSourceAPI::Get()->GetSourceList(&records));
    EXPECT_TRUE(old.expired());
}

TEST_F(SourceListTest, FailedReadAsRecordsLeavesANewEmptyMap) {
    RecordsPtr records = readRecords();
    const RecordsPtr kept = records;
    CSourceAPI::m_bIntializedSourceItemArray = false;
    breakFetch();
    platform.clearLog();
    EXPECT_FALSE(CSourceAPI::Get()->GetSourceList(&records));
    EXPECT_NE(records, kept);
    ASSERT_NE(records, nullptr);
    EXPECT_THAT(*records, IsEmpty());
    EXPECT_EQ(kept->size(), 3U);
    EXPECT_THAT(platform.logOf("GetSourceList"),
                ElementsAre(Error("GetSourceList!"), Error("Failed to get sourcelist!")));
}

TEST_F(SourceListTest, ElementWithoutSourceTypeGetsANullMemberAndTheKeyZero) {
    serviceHas(R"([{"uniqueKey":"odd"},null])");
    const RecordsPtr records = readRecords();
    EXPECT_THAT(keysOf(*records), ElementsAre("odd", ""));
    EXPECT_EQ(records->count(0), 2U);
    EXPECT_THAT(platform.log(),
                Contains(Info("[0] {\t\"sourceType\" : null,\t\"uniqueKey\" : \"odd\"}")));
    EXPECT_THAT(platform.log(), Contains(Info("[0] {\t\"sourceType\" : null}")));
    EXPECT_EQ(cache(), parsedJson(R"([{"uniqueKey":"odd"},null])"));
}

TEST_F(SourceListTest, UnreadableElementEndsTheReadAndKeepsTheRecordsBeforeIt) {
    CSourceAPI::Get();
    for (const char *element : {R"({"sourceType":"three"})", "5", "[1]", R"("text")"}) {
        SCOPED_TRACE(element);
        CSourceAPI::m_SetSourceListCache(
            parsedJson(std::string(R"([{"sourceType":1,"uniqueKey":"before"},)") + element +
                       R"(,{"sourceType":1,"uniqueKey":"after"}])"));
        platform.clearLog();
        RecordsPtr records;
        EXPECT_FALSE(CSourceAPI::Get()->GetSourceList(&records));
        EXPECT_THAT(keysOf(*records), ElementsAre("before"));
        EXPECT_THAT(platform.log(), ElementsAre(Error("GetSourceList!"), InfoWith("[1] {"),
                                                ErrorWith("Exception occured! [")));
    }
    CSourceAPI::m_SetSourceListCache(parsedJson(R"([{"sourceType":"three"}])"));
    RecordsPtr records;
    EXPECT_FALSE(CSourceAPI::Get()->GetSourceList(&records));
    EXPECT_THAT(platform.log(),
                Contains(Error("Exception occured! [Value is not convertible to Int.]")));
}

TEST_F(SourceListTest, UnreadableFieldLeavesAPartialRecordInAGoodRead) {
    serviceHas(R"([{"sourceType":3,"uniqueKey":"k","powerState":"on","mbrActivityIndex":2}])");
    const RecordsPtr records = readRecords();
    ASSERT_EQ(records->count(3), 1U);
    const CSourceItem &item = records->find(3)->second;
    EXPECT_EQ(item.uniqueKey, "k");
    EXPECT_EQ(item.mbrActivityIndex, 0);
    EXPECT_THAT(platform.logOf("m_ConvertJsonToSourceItemObject"),
                ElementsAre(ErrorWith("Exception occured! [")));
}

// The fetch.

TEST_F(SourceListTest, FetchFirstWaitsForTheServiceToComeUp) {
    std::size_t waitsBefore = 0;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "m_GetSourceList" && line.text == "m_GetSourceList") {
            waitsBefore = platform.waits().size();
        }
    });
    EXPECT_TRUE(CSourceAPI::m_GetSourceList());
    EXPECT_EQ(waitsBefore, 1U);
    EXPECT_THAT(platform.waits(), ElementsAre(Pair("/tmp/source_service_ready", 10000)));
}

TEST_F(SourceListTest, FetchGoesOnWhateverTheWaitResults) {
    platform.setWaitResult(-1);
    EXPECT_EQ(keysOf(*readRecords()).size(), 3U);
}

TEST_F(SourceListTest, NothingButTheFetchWaitsForTheService) {
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

TEST_F(SourceListTest, FetchLogsItsTwoLinesAtErrorLevel) {
    EXPECT_TRUE(CSourceAPI::m_GetSourceList());
    EXPECT_THAT(platform.logOf("m_GetSourceList"),
                ElementsAre(Error("m_GetSourceList"), Error("update sourcelist")));
    EXPECT_THAT(platform.logOf("m_GetSourceList"), Each(From("SourceAPI.cpp", "m_GetSourceList")));
}

TEST_F(SourceListTest, FailedFetchTouchesNeitherTheCacheNorItsFlag) {
    readText();
    breakFetch();
    EXPECT_FALSE(CSourceAPI::m_GetSourceList());
    EXPECT_TRUE(hasList());
    EXPECT_EQ(cache(), parsedJson(threeSources));
    CSourceAPI::m_bIntializedSourceItemArray = false;
    EXPECT_FALSE(CSourceAPI::m_GetSourceList());
    EXPECT_FALSE(hasList());
}

TEST_F(SourceListTest, ReplyThatIsNoObjectIsAFailedFetchWithTwoMoreLines) {
    CSourceAPI::Get();
    for (const char *text : {"[1]", "5", R"({"dbus_result":{},"return_data":[]})"}) {
        SCOPED_TRACE(text);
        service.replyTo("UtilGetSourceList", text);
        platform.clearLog();
        EXPECT_FALSE(CSourceAPI::m_GetSourceList());
        EXPECT_THAT(platform.logOf("m_GetSourceList"),
                    ElementsAre(Error("m_GetSourceList"), Error("update sourcelist"),
                                AllOf(ErrorWith("Exception occured! ["),
                                      Not(Error("Exception occured! []"))),
                                Error("Error: no response or return_data!")));
        EXPECT_FALSE(hasList());
    }
}

TEST_F(SourceListTest, ReplyWithoutReturnDataLoadsANullList) {
    for (const char *text : {"{}", R"({"other":1})", "no JSON", "", R"({"return_data":null})"}) {
        SCOPED_TRACE(text);
        CSourceAPI::m_bIntializedSourceItemArray = false;
        service.replyTo("UtilGetSourceList", text);
        EXPECT_EQ(readText(), "null");
        EXPECT_TRUE(hasList());
        EXPECT_THAT(*readRecords(), IsEmpty());
    }
}

TEST_F(SourceListTest, EmptyTextAsAFetchedListIsStoredAndNotFetchedAgain) {
    serviceHas(R"("")");
    EXPECT_EQ(readText(), R"("")");
    EXPECT_THAT(*readRecords(), IsEmpty());
    EXPECT_EQ(fetches(), 1);
}

TEST_F(SourceListTest, ReadsFailWhileTheServiceIsNotOnTheBus) {
    service.releaseName();
    expectFailedReads();
    EXPECT_EQ(platform.count(errorPriority, "source-service server is not available yet!!!"), 2);
    service.ownName();
    EXPECT_NE(readText(), "no list");
}

TEST_F(SourceListTest, ReadsFailWhileTheCallFails) {
    breakFetch();
    expectFailedReads();
    mendFetch();
    EXPECT_NE(readText(), "no list");
}

TEST_F(SourceListTest, ReadsFailWhileTheServiceAnswersFail) {
    service.replyTo("UtilGetSourceList", R"({"dbus_result":"fail","return_data":[]})");
    expectFailedReads();
    serviceHas("[]");
    EXPECT_EQ(readText(), "[]");
}

TEST_F(SourceListTest, ReadsFailWhileTheReplyIsNoObject) {
    service.replyTo("UtilGetSourceList", "[1]");
    expectFailedReads();
    serviceHas("[]");
    EXPECT_EQ(readText(), "[]");
}

TEST_F(SourceListTest, CachedListOutlivesTheBus) {
    const std::string text = readText();
    const BusConnection shared = sharedConnection();
    bus.stop();
    ASSERT_TRUE(iterateUntil([&] { return g_dbus_connection_is_closed(shared.get()) != FALSE; }));
    EXPECT_EQ(readText(), text);
    EXPECT_EQ(readRecords()->size(), 3U);
    CSourceAPI::m_bIntializedSourceItemArray = false;
    EXPECT_EQ(readText(), "no list");
}

// The refresh.

TEST_F(SourceListTest, NewListReplacesTheCacheAsAWhole) {
    CSourceAPI::Get();
    CSourceAPI::m_SetSourceListCache(parsedJson(threeSources));
    platform.clearLog();
    CSourceAPI::m_SetSourceListCache(parsedJson(R"([{"sourceType":1}])"));
    EXPECT_EQ(cache(), parsedJson(R"([{"sourceType":1}])"));
    EXPECT_TRUE(hasList());
    EXPECT_THAT(platform.log(), ElementsAre(Info("m_SetSourceListCache")));
}

TEST_F(SourceListTest, AnyValueButTheEmptyTextIsTakenAsTheList) {
    CSourceAPI::Get();
    for (const char *text : {"null", "[]", "{}", "0", "false", R"(" ")", threeSources}) {
        SCOPED_TRACE(text);
        CSourceAPI::m_bIntializedSourceItemArray = false;
        CSourceAPI::m_sourceItemArray = "old";
        platform.clearLog();
        EXPECT_TRUE(CSourceAPI::m_UpdateSourceListCache(parsedJson(text)));
        EXPECT_EQ(cache(), parsedJson(text));
        EXPECT_TRUE(hasList());
        EXPECT_THAT(platform.log(), ElementsAre(Info("m_UpdateSourceListCache"),
                                                Info("update source list from callback data"),
                                                Info("m_SetSourceListCache")));
    }
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(SourceListTest, EmptyTextAsTheListFetchesIt) {
    EXPECT_TRUE(CSourceAPI::m_UpdateSourceListCache(Json::Value("")));
    EXPECT_EQ(fetches(), 1);
    EXPECT_EQ(cache(), parsedJson(threeSources));
    EXPECT_TRUE(hasList());
    EXPECT_THAT(platform.logOf("m_UpdateSourceListCache"),
                ElementsAre(Info("m_UpdateSourceListCache")));
}

TEST_F(SourceListTest, FailedRefetchKeepsTheOldListButTheNextReaderFetchesAgain) {
    readText();
    breakFetch();
    EXPECT_FALSE(CSourceAPI::m_UpdateSourceListCache(Json::Value("")));
    EXPECT_FALSE(hasList());
    EXPECT_EQ(cache(), parsedJson(threeSources));
    EXPECT_EQ(readText(), "no list");
    EXPECT_EQ(cache(), parsedJson(threeSources));
    mendFetch();
    serviceHas("[]");
    EXPECT_EQ(readText(), "[]");
    EXPECT_EQ(fetches(), 4);
}

TEST_F(SourceListTest, SignalWithTheEmptyTextWhoseFetchFailsLeavesTheFetchToTheNextReader) {
    readText();
    breakFetch();
    service.emitChange(R"({"return_data":""})");
    ASSERT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_EQ(fetches(), 2);
    EXPECT_FALSE(hasList());
    mendFetch();
    serviceHas("[]");
    EXPECT_EQ(readText(), "[]");
    EXPECT_EQ(fetches(), 3);
}

TEST_F(SourceListTest, RefreshTellsWhichCachesHoldData) {
    CSourceAPI::Get();
    struct Case {
        bool names;
        bool list;
        const char *line;
    };
    for (const Case &each :
         {Case{true, true, "Update SourceDataMap[1] SourceItemArray[1] --> [1]"},
          Case{true, false, "Update SourceDataMap[1] SourceItemArray[0] --> [0]"},
          Case{false, true, "Update SourceDataMap[0] SourceItemArray[1] --> [0]"},
          Case{false, false, "Update SourceDataMap[0] SourceItemArray[0] --> [0]"}}) {
        SCOPED_TRACE(each.line);
        platform.setSourceNames(each.names ? std::optional<std::string>(names) : std::nullopt);
        each.list ? mendFetch() : breakFetch();
        CSourceAPI::m_bNotified = true;
        platform.clearLog();
        EXPECT_EQ(CSourceAPI::m_UpdateCache(Json::Value("")), each.names && each.list);
        EXPECT_THAT(platform.logOf("m_UpdateCache"), ElementsAre(Info(each.line)));
        EXPECT_FALSE(CSourceAPI::m_bNotified);
    }
}

TEST_F(SourceListTest, RefreshReadsTheNamesBeforeTheList) {
    CSourceAPI::Get();
    platform.clearLog();
    EXPECT_TRUE(CSourceAPI::m_UpdateCache(parsedJson("[]")));
    std::vector<std::string> steps;
    for (const LogLine &line : platform.log()) {
        if (line.function.rfind("m_Update", 0) == 0 && line.text == line.function) {
            steps.push_back(line.text);
        }
    }
    EXPECT_THAT(steps, ElementsAre("m_UpdateSourceDataMapCache", "m_UpdateSourceListCache"));
    EXPECT_THAT(platform.log().back(), From("SourceAPI.cpp", "m_UpdateCache"));
}

TEST_F(SourceListTest, UnreadableNamesFailTheFirstReadOnly) {
    RecordedCallback recorded;
    CSourceAPI::RegisterSourceAPICallback(RecordedCallback::call, &recorded);
    platform.setSourceNames(std::nullopt);
    EXPECT_EQ(readText(), "no list");
    EXPECT_EQ(cache(), parsedJson(threeSources));
    EXPECT_NE(readText(), "no list");
    EXPECT_EQ(fetches(), 1);
    EXPECT_THAT(recorded.values(), IsEmpty());
}

TEST_F(SourceListTest, WrongTypesInTheSettingsStoreLeaveBothReadersAsAnException) {
    CSourceAPI *const api = CSourceAPI::Get();
    platform.setSourceNames(R"([{"SourceType":"seven"}])");
    EXPECT_THROW(api->GetSourceList(), Json::Exception);
    RecordsPtr records;
    EXPECT_THROW(api->GetSourceList(&records), Json::Exception);
    ASSERT_NE(records, nullptr);
    EXPECT_THAT(*records, IsEmpty());
    EXPECT_EQ(fetches(), 0);
}

TEST_F(SourceListTest, ListIsChangedWhenItsJsonValueDiffers) {
    CSourceAPI::Get();
    CSourceAPI::m_SetSourceListCache(parsedJson(R"([{"a":1,"b":2},{"c":3}])"));
    platform.clearLog();
    for (const char *text :
         {R"([{"c":3},{"a":1,"b":2}])", R"([{"a":1,"b":2}])", R"([{"a":1.0,"b":2},{"c":3}])",
          R"([{"a":1,"b":2},{"c":"3"}])", R"([{"a":1,"b":2,"d":null},{"c":3}])", "null", "[]"}) {
        EXPECT_TRUE(CSourceAPI::m_IsUpdated(parsedJson(text))) << text;
    }
    EXPECT_THAT(platform.log(), IsEmpty());
    EXPECT_FALSE(CSourceAPI::m_IsUpdated(parsedJson(R"([ {"b":2,"a":1}, {"c":3} ])")));
    EXPECT_THAT(platform.log(), ElementsAre(Info("Sourcelist is not changed")));
}

TEST_F(SourceListTest, CacheIsRenderedInTheStyledForm) {
    EXPECT_EQ(CSourceAPI::m_GetSourceItemArrayString(), "null\n");
    CSourceAPI::m_SetSourceListCache(parsedJson(R"([{"sourceType":1}])"));
    EXPECT_EQ(CSourceAPI::m_GetSourceItemArrayString(), "[\n\t{\n\t\t\"sourceType\" : 1\n\t}\n]\n");
}

// Threads.

TEST_F(SourceListTest, CacheLockIsFreeDuringTheFetch) {
    CSourceAPI::Get();
    service.hold();
    std::thread reader([] { EXPECT_NE(readText(), "no list"); });
    service.waitForCalls(1);
    EXPECT_TRUE(othersCanLock(m_sourceUtilMutex));
    service.release();
    reader.join();
}

TEST_F(SourceListTest, CacheLockIsFreeWhileReadersBuildAndLog) {
    readText();
    int lines = 0;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "GetSourceList") {
            ++lines;
            EXPECT_TRUE(othersCanLock(m_sourceUtilMutex)) << line;
        }
    });
    readText();
    readRecords();
    EXPECT_EQ(lines, 6);
}

TEST_F(SourceListTest, ReadersSeeOneListOrTheOtherWhileRefreshesRun) {
    const std::string three = readText();
    std::thread refresher([] {
        for (int round = 0; round < 200; ++round) {
            CSourceAPI::m_SetSourceListCache(parsedJson(round % 2 == 0 ? "[]" : threeSources));
        }
    });
    for (int round = 0; round < 200; ++round) {
        EXPECT_THAT(readText(), AnyOf("[]", three));
        EXPECT_THAT(readRecords()->size(), AnyOf(0U, 3U));
    }
    refresher.join();
    EXPECT_EQ(readText(), three);
}

TEST_F(SourceListTest, CacheLockIsRecursive) {
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    CSourceAPI::m_SetSourceListCache(parsedJson("[]"));
    EXPECT_FALSE(CSourceAPI::m_IsUpdated(parsedJson("[]")));
    EXPECT_EQ(CSourceAPI::m_GetSourceItemArrayString(), "[]\n");
}

TEST_F(SourceListTest, WhicheverRefreshRunsLastLeavesItsList) {
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
