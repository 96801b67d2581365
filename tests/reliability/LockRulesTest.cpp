// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <atomic>
#include <functional>
#include <future>
#include <thread>

#include "ClientTest.h"
#include "Event.h"
#include "LockState.h"
#include "Threads.h"

namespace {

class LockRulesTest : public ClientTest {
 protected:
    LockRulesTest() { service.replyTo("UtilGetSourceList", list); }

    // Runs a request whose reply the service withholds, and checks the locks until it is sent.
    void expectNoLockDuring(const std::function<void()> &request) {
        const std::size_t before = service.calls().size();
        service.hold();
        std::thread caller(request);
        service.waitForCalls(before + 1);
        EXPECT_TRUE(isFree(m_sourceUtilMutex));
        EXPECT_TRUE(isFree(m_sourceAPICallbackDataMutex));
        EXPECT_TRUE(isFree(peerOf(*ClientPeer::endpoint()).mutex));
        service.release();
        caller.join();
    }

    static constexpr const char *list = R"({"return_data":[{"sourceType":3}]})";
};

TEST_F(LockRulesTest, NoLockIsHeldDuringACommand) {
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
    ClientPeer::hasNames() = false;
    expectNoLockDuring([api] {
        std::string name;
        EXPECT_TRUE(api->GetSourceEditName(7, name, 0));
    });
}

// Delays the daemon's reply to this process's next call of NameHasOwner.
class DelayedOwnerQuery {
 public:
    DelayedOwnerQuery()
        : m_filter(g_dbus_connection_add_filter(m_bus.get(), pass, this, nullptr)) {}
    ~DelayedOwnerQuery() {
        release();
        g_dbus_connection_remove_filter(m_bus.get(), m_filter);
    }
    DelayedOwnerQuery(const DelayedOwnerQuery &) = delete;
    DelayedOwnerQuery &operator=(const DelayedOwnerQuery &) = delete;

    // False if there was no reply to delay within the limit.
    bool waitForReply() { return m_arrived.wait(); }
    void release() { m_released.set(); }

 private:
    static GDBusMessage *pass(GDBusConnection * /*connection*/, GDBusMessage *message,
                              gboolean incoming, gpointer self) {
        auto *const query = static_cast<DelayedOwnerQuery *>(self);
        const char *const member = g_dbus_message_get_member(message);
        if (incoming == FALSE && g_strcmp0(member, "NameHasOwner") == 0) {
            query->m_serial = g_dbus_message_get_serial(message);
        } else if (incoming != FALSE && query->m_serial != 0 &&
                   g_dbus_message_get_reply_serial(message) == query->m_serial) {
            query->m_arrived.set();
            query->m_released.wait();
        }
        return message;
    }

    const BusConnection m_bus = sharedConnection();
    std::atomic<guint32> m_serial{0};
    Event m_arrived;
    Event m_released;
    const guint m_filter;
};

TEST_F(LockRulesTest, NoLockIsHeldDuringTheCallOfNameHasOwner) {
    CSourceAPI *const api = CSourceAPI::Get();
    DelayedOwnerQuery query;
    std::thread caller([api] { EXPECT_TRUE(api->Connect(3)); });
    EXPECT_TRUE(query.waitForReply());
    EXPECT_TRUE(isFree(m_sourceUtilMutex));
    EXPECT_TRUE(isFree(m_sourceAPICallbackDataMutex));
    EXPECT_TRUE(isFree(peerOf(*ClientPeer::endpoint()).mutex));
    query.release();
    caller.join();
}

TEST_F(LockRulesTest, ASubscriptionDoesNotWaitForARequestOfAnotherThread) {
    CSourceAPI *const api = CSourceAPI::Get();
    DelayedOwnerQuery query;
    std::thread caller([api] { EXPECT_TRUE(api->Connect(3)); });
    EXPECT_TRUE(query.waitForReply());
    ClientPeer::isSubscribed() = false;
    Event subscribed;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "SubscribeSignal") {
            subscribed.set();
        }
    });
    std::thread other([api] { EXPECT_TRUE(api->Connect(4)); });
    EXPECT_TRUE(subscribed.wait());
    // The line is logged under the endpoint's lock, for which the first request waits one
    // millisecond only.
    SourceTCMutex &lock = peerOf(*ClientPeer::endpoint()).mutex;
    EXPECT_EQ(lock.Try(waitLimit * 1000UL), 1);
    lock.Unlock();
    query.release();
    caller.join();
    other.join();
}

// Blocks the next subscription where it logs its first line, until release().
class BlockedSubscription {
 public:
    BlockedSubscription() {
        FakePlatform::get().onLog([this](const LogLine &line) {
            if (line.function == "m_SubscribeSignal") {
                m_reached.set();
                m_released.wait();
            }
        });
    }
    ~BlockedSubscription() { FakePlatform::get().onLog(nullptr); }
    BlockedSubscription(const BlockedSubscription &) = delete;
    BlockedSubscription &operator=(const BlockedSubscription &) = delete;

    bool isReached() { return m_reached.wait(); }
    void release() { m_released.set(); }

 private:
    Event m_reached;
    Event m_released;
};

TEST_F(LockRulesTest, ClosingWaitsForASubscriptionInProgress) {
    CSourceAPI *const api = CSourceAPI::Get();
    ClientPeer::isSubscribed() = false;
    BlockedSubscription subscription;
    std::thread caller([api] { api->Connect(3); });
    EXPECT_TRUE(subscription.isReached());
    const auto closing = onThread([] { ClientPeer::disconnect(); });
    EXPECT_TRUE(staysBlocked(closing));
    subscription.release();
    caller.join();
    EXPECT_TRUE(ends(closing));
    EXPECT_FALSE(ClientPeer::isSubscribed());
    EXPECT_EQ(ClientPeer::endpoint(), nullptr);
}

TEST_F(LockRulesTest, NoLockIsHeldWhileUsbDataIsRequested) {
    CSourceAPI::Get();
    expectNoLockDuring([] { std::free(CSourceAPI::GetUsbData("usb")); });
}

TEST_F(LockRulesTest, NoLockIsHeldWhileTheSettingsStoreIsRead) {
    int reads = 0;
    platform.onSettingRead([&] {
        ++reads;
        EXPECT_TRUE(isFree(m_sourceUtilMutex));
        EXPECT_TRUE(isFree(m_sourceAPICallbackDataMutex));
    });
    std::free(CSourceAPI::Get()->GetSourceList());
    EXPECT_EQ(reads, 2);
    platform.onSettingRead(nullptr);
}

// The locks are checked at every line that is logged.
TEST_F(LockRulesTest, TheTwoGlobalMutexesAreNeverHeldTogether) {
    std::atomic<int> checks{0};
    std::atomic<int> callbackLockSeen{0};
    std::atomic<int> cacheLockSeen{0};
    platform.onLog([&](const LogLine &) {
        ++checks;
        const bool cache = !isFree(m_sourceUtilMutex);
        const bool callbacks = !isFree(m_sourceAPICallbackDataMutex);
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
    // Each lock was seen held, so the check can fail.
    EXPECT_GT(checks, 20);
    EXPECT_GT(callbackLockSeen, 0);
    EXPECT_GT(cacheLockSeen, 0);
}

TEST_F(LockRulesTest, TheCacheLockIsNotHeldWhileCallbacksRun) {
    CSourceAPI *const api = CSourceAPI::Get();
    bool held = true;
    CSourceAPI::RegisterSourceAPICallback(
        [](int, void *seen) { *static_cast<bool *>(seen) = !isFree(m_sourceUtilMutex); }, &held);
    std::free(api->GetSourceList());
    EXPECT_FALSE(held);
    CSourceAPI::UnregisterSourceAPICallback(&held);
}

}  // namespace
