// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// How a call detects that its endpoint is being closed: it waits one millisecond for the endpoint's
// lock.
#include <array>
#include <future>
#include <vector>

#include "Barrier.h"
#include "MethodCallTest.h"
#include "Threads.h"

using testing::Each;
using testing::SizeIs;

namespace {

class ClosingProbeTest : public MethodCallTest {
 protected:
    ~ClosingProbeTest() override {
        glib.replaceTimedWaits(nullptr, nullptr);
        glib.onWakeUp(nullptr);
    }

    GCond *condition() { return peerOf(peerOf(peer.mutex).semaphore).condition; }

    // Each timed wait for the lock times out after `step`, which runs without the mutex.
    void duringEachWait(const std::function<void()> &step) {
        glib.replaceTimedWaits(condition(), [step](GMutex *mutex) {
            g_mutex_unlock(mutex);
            step();
            g_mutex_lock(mutex);
            return FALSE;
        });
    }
};

TEST_F(ClosingProbeTest, TakesOneThousandMicroseconds) {
    open();
    const LockHolder closing(peer.mutex);
    glib.watch();
    duringEachWait([] {});
    EXPECT_EQ(send(), 0);
    const std::vector<GLibSpy::TimedWait> waits = glib.timedWaits();
    ASSERT_THAT(waits, SizeIs(1));
    EXPECT_EQ(waits.front().deadline - waits.front().now, 1000);
}

TEST_F(ClosingProbeTest, ManyCallersProbeAtTheSameTimeAndDelayNoOtherEndpoint) {
    constexpr int callers = 32;
    open();
    SourceTCServer other("other", SourceTCServer::PROXY);
    ASSERT_EQ(other.CreateDBusProxy(), 1);
    const LockHolder closing(peer.mutex);
    glib.watch();
    Barrier allProbe(callers + 1);
    Barrier otherHasAnswered(callers + 1);
    duringEachWait([&] {
        allProbe.arriveAndWait();
        otherHasAnswered.arriveAndWait();
    });
    std::array<SourceTCMessage, callers> replies;
    std::vector<std::future<int>> sending;
    for (SourceTCMessage &own : replies) {
        sending.push_back(
            onThread([&] { return endpoint.SendMessage("source_service", nullptr, true, &own); }));
    }
    allProbe.arriveAndWait();
    SourceTCMessage otherReply;
    EXPECT_EQ(other.SendMessage("source_service", nullptr, true, &otherReply), 1);
    otherHasAnswered.arriveAndWait();
    for (std::future<int> &result : sending) {
        EXPECT_EQ(result.get(), 0);
    }
    std::vector<gint64> timeouts;
    for (const GLibSpy::TimedWait &wait : glib.timedWaits()) {
        timeouts.push_back(wait.deadline - wait.now);
    }
    EXPECT_THAT(timeouts, SizeIs(callers));
    EXPECT_THAT(timeouts, Each(1000));
    EXPECT_THAT(service.calls(), SizeIs(1));
    other.CloseDBusProxy();
}

// A close that gets the lock next must see the call.
TEST_F(ClosingProbeTest, ACallIsCountedWhenItReleasesTheLock) {
    open();
    std::vector<unsigned int> inFlight;
    glib.onWakeUp([&](const GCond *woken) {
        if (woken == condition()) {
            inFlight.push_back(callsInFlight());
        }
    });
    EXPECT_EQ(send(), 1);
    glib.onWakeUp(nullptr);
    EXPECT_THAT(inFlight, testing::ElementsAre(1U));
}

// Only a thread sanitizer sees a registry that is changed without a lock; the result is checked
// here.
TEST_F(ClosingProbeTest, EndpointsThatCloseAtOnceAreAllRemovedFromTheRegistry) {
    constexpr int endpoints = 8;
    const auto serverKind = static_cast<SourceTCServer::SourceTCServerType>(1);
    std::vector<std::unique_ptr<SourceTCServer>> servers;
    for (int number = 0; number < endpoints; ++number) {
        const std::string name = "server" + std::to_string(number);
        servers.push_back(std::make_unique<SourceTCServer>(name, serverKind));
        ASSERT_EQ(servers.back()->CreateDBusServer(), 1);
        EndpointPeer::registry()[name] = servers.back().get();
    }
    Barrier closing(endpoints);
    std::vector<std::future<void>> closes;
    for (const auto &server : servers) {
        closes.push_back(onThread([&] {
            closing.arriveAndWait();
            server->CloseDBusServer();
        }));
    }
    closes.clear();
    EXPECT_TRUE(EndpointPeer::registry().empty());
}

}  // namespace
