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

    // Runs a request while the service withholds its answer, and looks at the locks meanwhile.
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
    ClientPeer::hasNames() = false;
    expectNoLockDuring([api] {
        std::string name;
        EXPECT_TRUE(api->GetSourceEditName(7, name, 0));
    });
}

// Holds the daemon's next answer to "NameHasOwner" back from this process.
class LateOwnerQuery {
 public:
    LateOwnerQuery() : m_filter(g_dbus_connection_add_filter(m_bus.get(), pass, this, nullptr)) {}
    ~LateOwnerQuery() {
        answer();
        g_dbus_connection_remove_filter(m_bus.get(), m_filter);
    }
    LateOwnerQuery(const LateOwnerQuery &) = delete;
    LateOwnerQuery &operator=(const LateOwnerQuery &) = delete;

    // False if the daemon was not asked within the limit.
    bool waitUntilAsked() { return m_asked.wait(); }
    void answer() { m_answered.set(); }

 private:
    static GDBusMessage *pass(GDBusConnection * /*connection*/, GDBusMessage *message,
                              gboolean incoming, gpointer self) {
        auto *const query = static_cast<LateOwnerQuery *>(self);
        const char *const member = g_dbus_message_get_member(message);
        if (incoming == FALSE && g_strcmp0(member, "NameHasOwner") == 0) {
            query->m_serial = g_dbus_message_get_serial(message);
        } else if (incoming != FALSE && query->m_serial != 0 &&
                   g_dbus_message_get_reply_serial(message) == query->m_serial) {
            query->m_asked.set();
            query->m_answered.wait();
        }
        return message;
    }

    const BusConnection m_bus = sharedConnection();
    std::atomic<guint32> m_serial{0};
    Event m_asked;
    Event m_answered;
    const guint m_filter;
};

TEST_F(LockRulesTest, NoLockIsHeldWhileTheBusIsAskedForTheService) {
    CSourceAPI *const api = CSourceAPI::Get();
    LateOwnerQuery query;
    std::thread caller([api] { EXPECT_TRUE(api->Connect(3)); });
    EXPECT_TRUE(query.waitUntilAsked());
    EXPECT_TRUE(isFree(m_sourceUtilMutex));
    EXPECT_TRUE(isFree(m_sourceAPICallbackDataMutex));
    EXPECT_TRUE(isFree(peerOf(*ClientPeer::endpoint()).mutex));
    query.answer();
    caller.join();
}

TEST_F(LockRulesTest, ASubscriptionDoesNotWaitForARequestOfAnotherThread) {
    CSourceAPI *const api = CSourceAPI::Get();
    LateOwnerQuery query;
    std::thread caller([api] { EXPECT_TRUE(api->Connect(3)); });
    EXPECT_TRUE(query.waitUntilAsked());
    ClientPeer::isSubscribed() = false;
    Event subscribed;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "SubscribeSignal") {
            subscribed.set();
        }
    });
    std::thread other([api] { EXPECT_TRUE(api->Connect(4)); });
    EXPECT_TRUE(subscribed.wait());
    // Logged under the endpoint's lock, for which the first request waits a millisecond only.
    SourceTCMutex &lock = peerOf(*ClientPeer::endpoint()).mutex;
    EXPECT_EQ(lock.Try(waitLimit * 1000UL), 1);
    lock.Unlock();
    query.answer();
    caller.join();
    other.join();
}

// Has a subscription stop half-way until released.
class HalfwaySubscription {
 public:
    HalfwaySubscription() {
        FakePlatform::get().onLog([this](const LogLine &line) {
            if (line.function == "m_SubscribeSignal") {
                m_reached.set();
                m_released.wait();
            }
        });
    }
    ~HalfwaySubscription() { FakePlatform::get().onLog(nullptr); }
    HalfwaySubscription(const HalfwaySubscription &) = delete;
    HalfwaySubscription &operator=(const HalfwaySubscription &) = delete;

    bool isReached() { return m_reached.wait(); }
    void release() { m_released.set(); }

 private:
    Event m_reached;
    Event m_released;
};

TEST_F(LockRulesTest, ClosingWaitsForASubscriptionThatIsBeingMade) {
    CSourceAPI *const api = CSourceAPI::Get();
    ClientPeer::isSubscribed() = false;
    HalfwaySubscription subscription;
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

TEST_F(LockRulesTest, NoLockIsHeldWhileADeviceIsAskedFor) {
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

// Every logged line is a point at which the locks are looked at.
TEST_F(LockRulesTest, TheTwoGlobalMutexesAreNeverHeldTogether) {
    std::atomic<int> looks{0};
    std::atomic<int> callbackLockSeen{0};
    std::atomic<int> cacheLockSeen{0};
    platform.onLog([&](const LogLine &) {
        ++looks;
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
    // The check itself works: each lock was seen held.
    EXPECT_GT(looks, 20);
    EXPECT_GT(callbackLockSeen, 0);
    EXPECT_GT(cacheLockSeen, 0);
}

TEST_F(LockRulesTest, TheCachesAreFreeWhileCallbacksRun) {
    CSourceAPI *const api = CSourceAPI::Get();
    bool held = true;
    CSourceAPI::RegisterSourceAPICallback(
        [](int, void *seen) { *static_cast<bool *>(seen) = !isFree(m_sourceUtilMutex); }, &held);
    std::free(api->GetSourceList());
    EXPECT_FALSE(held);
    CSourceAPI::UnregisterSourceAPICallback(&held);
}

}  // namespace
