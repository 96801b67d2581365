// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <atomic>
#include <functional>
#include <future>
#include <thread>

#include "ClientTest.h"

namespace {

// Whether somebody holds a lock; asked from another thread, since its holder may get it again.
template <class Lock>
bool isHeld(Lock &lock) {
    return std::async(std::launch::async,
                      [&] {
                          if (!lock.try_lock()) {
                              return true;
                          }
                          lock.unlock();
                          return false;
                      })
        .get();
}

bool isHeld(SourceTCMutex &lock) {
    return std::async(std::launch::async,
                      [&] {
                          if (lock.Try(0) == 0) {
                              return true;
                          }
                          lock.Unlock();
                          return false;
                      })
        .get();
}

class LockRulesTest : public ClientTest {
 protected:
    LockRulesTest() { service.replyTo("UtilGetSourceList", list); }

    // Runs a request while the service withholds its answer, and looks at the locks meanwhile.
    void expectNoLockDuring(const std::function<void()> &request) {
        const std::size_t before = service.calls().size();
        service.hold();
        std::thread caller(request);
        service.waitForCalls(before + 1);
        EXPECT_FALSE(isHeld(m_sourceUtilMutex));
        EXPECT_FALSE(isHeld(m_sourceAPICallbackDataMutex));
        EXPECT_FALSE(isHeld(CSourceAPI::dBusHandler->m_Mutex));
        service.release();
        caller.join();
    }

    static constexpr const char *list = R"({"return_data":[{"sourceType":3}]})";
};

TEST_F(LockRulesTest, NoLockIsHeldWhileACommandIsUnderWay) {
    CSourceAPI *const api = CSourceAPI::Get();
    expectNoLockDuring([api] { EXPECT_TRUE(api->Connect(3)); });
    expectNoLockDuring([api] { EXPECT_TRUE(api->SetSourceEditName(7, "Game", 0)); });
}

TEST_F(LockRulesTest, NoLockIsHeldWhileTheListIsFetched) {
    CSourceAPI *const api = CSourceAPI::Get();
    expectNoLockDuring([api] { std::free(api->GetSourceList()); });
}

TEST_F(LockRulesTest, NoLockIsHeldWhileTheNamesAreRefreshed) {
    CSourceAPI *const api = CSourceAPI::Get();
    CSourceAPI::m_bIntializedSourceDataMap = false;
    expectNoLockDuring([api] {
        std::string name;
        EXPECT_TRUE(api->GetSourceEditName(7, name, 0));
    });
}

TEST_F(LockRulesTest, NoLockIsHeldWhileADeviceIsAskedFor) {
    CSourceAPI::Get();
    expectNoLockDuring([] { std::free(CSourceAPI::GetUsbData("usb")); });
}

TEST_F(LockRulesTest, NoLockIsHeldWhileTheSettingsStoreIsRead) {
    int reads = 0;
    platform.onSettingRead([&] {
        ++reads;
        EXPECT_FALSE(isHeld(m_sourceUtilMutex));
        EXPECT_FALSE(isHeld(m_sourceAPICallbackDataMutex));
    });
    std::free(CSourceAPI::Get()->GetSourceList());
    EXPECT_EQ(reads, 2);
    platform.onSettingRead(nullptr);
}

// Every line that is logged is a point at which the library is looked at.
TEST_F(LockRulesTest, TheTwoGlobalMutexesAreNeverHeldTogether) {
    std::atomic<int> looks{0};
    std::atomic<int> callbackLockSeen{0};
    std::atomic<int> cacheLockSeen{0};
    platform.onLog([&](const LogLine &) {
        ++looks;
        const bool cache = isHeld(m_sourceUtilMutex);
        const bool callbacks = isHeld(m_sourceAPICallbackDataMutex);
        cacheLockSeen += cache ? 1 : 0;
        callbackLockSeen += callbacks ? 1 : 0;
        EXPECT_FALSE(cache && callbacks);
    });
    int called = 0;
    const auto count = [](int, void *calls) { ++*static_cast<int *>(calls); };
    CSourceAPI *const api = CSourceAPI::Get();
    CSourceAPI::RegisterSourceAPICallback(count, &called);
    std::free(api->GetSourceList());
    std::shared_ptr<std::multimap<int, CSourceItem>> records;
    EXPECT_TRUE(api->GetSourceList(&records));
    std::string name;
    EXPECT_TRUE(api->GetSourceEditName(7, name, 0));
    service.emitChange(R"({"return_data":[{"sourceType":4}],"data":{"result":5}})");
    service.emitChange(R"({"return_data":[{"sourceType":4}],"data":{"result":5}})");
    EXPECT_TRUE(deliverSignalsOf(service.connection()));
    CSourceAPI::UnregisterSourceAPICallback(&called);
    platform.onLog(nullptr);
    EXPECT_EQ(called, 2);
    // The look itself works: each lock was seen held by somebody.
    EXPECT_GT(looks, 20);
    EXPECT_GT(callbackLockSeen, 0);
    EXPECT_GT(cacheLockSeen, 0);
}

TEST_F(LockRulesTest, TheCachesAreFreeWhileCallbacksRun) {
    CSourceAPI *const api = CSourceAPI::Get();
    bool held = true;
    CSourceAPI::RegisterSourceAPICallback(
        [](int, void *seen) { *static_cast<bool *>(seen) = isHeld(m_sourceUtilMutex); }, &held);
    std::free(api->GetSourceList());
    EXPECT_FALSE(held);
    CSourceAPI::UnregisterSourceAPICallback(&held);
}

}  // namespace
