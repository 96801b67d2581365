// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The C functions with the prefix sourceapi_.
#include <cstddef>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <thread>

#include "ClientTest.h"
#include "LockState.h"
#include "RecordLayout.h"
#include "RecordedCallback.h"
#include "source_api.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

struct ReleaseRecord {
    void operator()(sourceapi_source_item *record) const {
        std::free(record->editName);
        std::free(record->detectedName);
        std::free(record->iconPath);
        std::free(record->uniqueKey);
        std::free(record->osdText);
        std::free(record);
    }
};

struct ReceivedRecord {
    int key;
    std::unique_ptr<sourceapi_source_item, ReleaseRecord> item;
    bool last;
};

std::vector<ReceivedRecord> received;

void receive(int key, sourceapi_source_item *item, bool last) {
    received.push_back({key, std::unique_ptr<sourceapi_source_item, ReleaseRecord>(item), last});
}

class SourceApiInterfaceTest : public ClientTest {
 protected:
    SourceApiInterfaceTest() {
        serviceHas(R"([{"sourceType":8,"uniqueKey":"stick"},{"sourceType":3,"uniqueKey":"hdmi"},)"
                   R"({"sourceType":8,"uniqueKey":"disk"}])");
        platform.setOnScreenName(3, "HDMI");
    }
    ~SourceApiInterfaceTest() override { received.clear(); }

    void serviceHas(const std::string &list) {
        service.replyTo("UtilGetSourceList", R"({"return_data":)" + list + "}");
    }

    // The lines that the C functions themselves have written.
    std::vector<LogLine> ownLog() const { return platform.logOfFile("source_api.cpp"); }

    // Expects that `call` sends exactly that request, returns the service's result, and logs
    // nothing.
    template <class Call>
    void expectCommand(Call call, const char *request) {
        EXPECT_TRUE(call());
        EXPECT_EQ(service.lastCall().json, parsedJson(request)) << service.lastCall().text;
        service.reply(R"({"return_data":false})");
        EXPECT_FALSE(call());
        service.releaseName();
        EXPECT_FALSE(call());
        EXPECT_EQ(service.calls().size(), 2U);
        EXPECT_THAT(ownLog(), IsEmpty());
    }
};

TEST_F(SourceApiInterfaceTest, RecordHasTheLayoutOfACCompiler) {
    using Item = sourceapi_source_item;
    const std::size_t layout[] = {offsetof(Item, sourceType),       offsetof(Item, editName),
                                  offsetof(Item, detectedName),     offsetof(Item, iconPath),
                                  offsetof(Item, uniqueKey),        offsetof(Item, osdText),
                                  offsetof(Item, connectionState),  offsetof(Item, powerState),
                                  offsetof(Item, mbrActivityIndex), sizeof(Item)};
    EXPECT_THAT(layout, ElementsAreArray(recordLayout));
    static_assert(std::is_same_v<decltype(Item::sourceType), int>);
    static_assert(std::is_same_v<decltype(Item::osdText), char *>);
    static_assert(std::is_same_v<decltype(Item::connectionState), bool> && sizeof(bool) == 1);
    static_assert(std::is_same_v<decltype(Item::mbrActivityIndex), int>);
}

TEST_F(SourceApiInterfaceTest, SourcesAreOrderedByKeyAndThenAsInTheList) {
    EXPECT_TRUE(sourceapi_get_sourcelist(receive));
    ASSERT_EQ(received.size(), 3U);
    EXPECT_EQ(received[0].key, 3);
    EXPECT_STREQ(received[0].item->uniqueKey, "hdmi");
    EXPECT_EQ(received[1].key, 8);
    EXPECT_STREQ(received[1].item->uniqueKey, "stick");
    EXPECT_EQ(received[2].key, 8);
    EXPECT_STREQ(received[2].item->uniqueKey, "disk");
}

TEST_F(SourceApiInterfaceTest, EveryRecordIsASeparateAllocationAndNoneIsMarkedLast) {
    EXPECT_TRUE(sourceapi_get_sourcelist(receive));
    std::set<void *> blocks;
    for (const ReceivedRecord &each : received) {
        EXPECT_FALSE(each.last);
        blocks.insert({each.item.get(), each.item->editName, each.item->detectedName,
                       each.item->iconPath, each.item->uniqueKey, each.item->osdText});
    }
    EXPECT_EQ(blocks.size(), 18U);
    EXPECT_EQ(blocks.count(nullptr), 0U);
}

TEST_F(SourceApiInterfaceTest, RecordCarriesItsSource) {
    serviceHas(
        R"([{"sourceType":3,"editName":"My%20TV","detectedName":"B%C3%A4r","iconPath":"/i%20.png",)"
        R"("uniqueKey":"k%20","connectionState":true,"powerState":-2,"mbrActivityIndex":5,)"
        R"("settingMethod":9}])");
    EXPECT_TRUE(sourceapi_get_sourcelist(receive));
    ASSERT_EQ(received.size(), 1U);
    const sourceapi_source_item &item = *received[0].item;
    EXPECT_EQ(item.sourceType, 3);
    EXPECT_STREQ(item.editName, "My TV");
    EXPECT_STREQ(item.detectedName, "B\xC3\xA4r");
    EXPECT_STREQ(item.iconPath, "/i%20.png");
    EXPECT_STREQ(item.uniqueKey, "k%20");
    EXPECT_STREQ(item.osdText, "HDMI");
    EXPECT_TRUE(item.connectionState);
    EXPECT_EQ(item.powerState, -2);
    EXPECT_EQ(item.mbrActivityIndex, 5);
}

TEST_F(SourceApiInterfaceTest, SourceWithoutMembersHasEmptyTextsAndZeroes) {
    serviceHas("[{}]");
    EXPECT_TRUE(sourceapi_get_sourcelist(receive));
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].key, 0);
    const sourceapi_source_item &item = *received[0].item;
    for (const char *text : {item.editName, item.detectedName, item.iconPath, item.uniqueKey}) {
        EXPECT_STREQ(text, "");
    }
    EXPECT_STREQ(item.osdText, "----");
    EXPECT_FALSE(item.connectionState);
    EXPECT_THAT((std::vector<int>{item.sourceType, item.powerState, item.mbrActivityIndex}),
                Each(0));
}

TEST_F(SourceApiInterfaceTest, EverySourceIsLoggedBeforeTheCallback) {
    serviceHas(R"([{"sourceType":3,"editName":"My%20TV"},{"sourceType":4}])");
    static FakePlatform &log = platform;
    static std::vector<std::size_t> linesBefore;
    EXPECT_TRUE(sourceapi_get_sourcelist([](int key, sourceapi_source_item *item, bool last) {
        linesBefore.push_back(log.logOf("sourceapi_get_sourcelist").size());
        receive(key, item, last);
    }));
    EXPECT_THAT(linesBefore, ElementsAre(1, 2));
}

TEST_F(SourceApiInterfaceTest, OnScreenTextIsReadOnceForEachSource) {
    EXPECT_TRUE(sourceapi_get_sourcelist(receive));
    EXPECT_THAT(platform.onScreenNameReads(), ElementsAre(3, 8, 8));
    EXPECT_STREQ(received[0].item->osdText, "HDMI");
    EXPECT_STREQ(received[1].item->osdText, "----");
}

TEST_F(SourceApiInterfaceTest, EmptyListSucceedsWithoutACall) {
    serviceHas("[]");
    EXPECT_TRUE(sourceapi_get_sourcelist(receive));
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(ownLog(), IsEmpty());
}

TEST_F(SourceApiInterfaceTest, UnreachableServiceFailsWithoutACallback) {
    service.releaseName();
    EXPECT_FALSE(sourceapi_get_sourcelist(receive));
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(SourceApiInterfaceTest, UnreadableListFailsWithoutACallback) {
    serviceHas(R"([{"sourceType":3},{"sourceType":"four"}])");
    EXPECT_FALSE(sourceapi_get_sourcelist(receive));
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(SourceApiInterfaceTest, ReadingTheListAnnouncesNothing) {
    RecordedCallback recorded;
    sourceapi_register_source_api_cb(RecordedCallback::call, &recorded);
    EXPECT_TRUE(sourceapi_get_sourcelist(receive));
    EXPECT_THAT(recorded.values(), IsEmpty());
}

TEST_F(SourceApiInterfaceTest, CallbackRunsOnTheCallersThreadWithNoLockHeld) {
    static std::vector<std::thread::id> threads;
    static bool free = true;
    std::thread caller([] {
        EXPECT_TRUE(sourceapi_get_sourcelist([](int key, sourceapi_source_item *item, bool last) {
            threads.push_back(std::this_thread::get_id());
            free = free && isFree(m_sourceUtilMutex) && isFree(m_sourceAPICallbackDataMutex);
            receive(key, item, last);
        }));
    });
    const std::thread::id expected = caller.get_id();
    caller.join();
    EXPECT_THAT(threads, ElementsAre(expected, expected, expected));
    EXPECT_TRUE(free);
}

TEST_F(SourceApiInterfaceTest, ExceptionOfTheCallbackPassesAndLeavesItTheRecords) {
    EXPECT_THROW(sourceapi_get_sourcelist([](int key, sourceapi_source_item *item, bool last) {
                     receive(key, item, last);
                     if (received.size() == 2) {
                         throw std::runtime_error("callback");
                     }
                 }),
                 std::runtime_error);
    ASSERT_EQ(received.size(), 2U);
    EXPECT_STREQ(received[1].item->uniqueKey, "stick");
}

TEST_F(SourceApiInterfaceTest, ExceptionWhileARecordIsMadePassesAndReleasesTheRecord) {
    platform.onLog([](const LogLine &line) {
        if (line.function == "GetSourceOSDText") {
            throw std::runtime_error("from the platform");
        }
    });
    EXPECT_THROW(sourceapi_get_sourcelist(receive), std::runtime_error);
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(SourceApiInterfaceTest, DeviceTypeIsReturned) {
    platform.setSourceNames(R"([{"SourceType":7,"DeviceType":3},{"SourceType":8,"DeviceType":-1},)"
                            R"({"SourceType":9,"DeviceType":0}])");
    EXPECT_EQ(sourceapi_get_source_device_type(7, 0), 3U);
    EXPECT_EQ(sourceapi_get_source_device_type(8, 0), 4294967295U);
    EXPECT_EQ(sourceapi_get_source_device_type(9, 0), 0U);
}

TEST_F(SourceApiInterfaceTest, UnknownDeviceTypeIsZero) {
    EXPECT_EQ(sourceapi_get_source_device_type(7, 2), 0U);
}

TEST_F(SourceApiInterfaceTest, SourceIsConnectedByItsType) {
    expectCommand([] { return sourceapi_connect(-3); },
                  R"({"method":"SourceConnect","data":{"SourceType":-3}})");
}

TEST_F(SourceApiInterfaceTest, SourceWithAUniqueKeyIsConnectedByRunApp) {
    expectCommand([] { return sourceapi_run_app(3, "key"); },
                  R"({"method":"RunApp","data":{"SourceType":3,"SourceUniqueKey":"key"}})");
}

TEST_F(SourceApiInterfaceTest, NullUniqueKeyRaisesTheLogicErrorAndSendsNothing) {
    EXPECT_THROW(sourceapi_run_app(3, nullptr), std::logic_error);
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(SourceApiInterfaceTest, WrongTypesInTheSettingsStoreCrossTheBoundaryAsAnException) {
    CSourceAPI::Get();
    platform.setSourceNames(R"([{"SourceType":"seven"}])");
    EXPECT_THROW(sourceapi_get_sourcelist(receive), Json::Exception);
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(SourceApiInterfaceTest, CallbacksAreRegisteredAndUnregisteredByTheirUserData) {
    RecordedCallback kept;
    RecordedCallback removed;
    sourceapi_register_source_api_cb(RecordedCallback::call, &kept);
    sourceapi_register_source_api_cb(RecordedCallback::call, &removed);
    sourceapi_unregister_source_api_cb(&removed);
    letTheBusCatchUp();
    service.emitChange(R"({"return_data":[1],"data":{"result":5}})");
    ASSERT_TRUE(deliverSignalsOf(service.connection()));
    EXPECT_THAT(kept.values(), ElementsAre(5));
    EXPECT_THAT(removed.values(), IsEmpty());
    EXPECT_THAT(ownLog(), IsEmpty());
}

TEST_F(SourceApiInterfaceTest, NullCallbackIsRefusedByTheClient) {
    sourceapi_register_source_api_cb(nullptr, nullptr);
    EXPECT_THAT(ClientPeer::registrations(), IsEmpty());
}

}  // namespace
