// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Method calls on several threads, and closing meanwhile.
#include <array>
#include <chrono>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "LockState.h"
#include "MethodCallTest.h"
#include "Threads.h"

using testing::SizeIs;

namespace {

class ConcurrentCallsTest : public MethodCallTest {};

TEST_F(ConcurrentCallsTest, CallsRunSideBySideWithoutTheLock) {
    open();
    service.hold();
    constexpr unsigned int callers = 4;
    std::array<SourceTCMessage, callers> replies;
    std::vector<std::future<int>> sending;
    for (SourceTCMessage &own : replies) {
        sending.push_back(onThread([&] {
            SourceTCMessage question;
            question.m_JsonRoot["number"] = static_cast<int>(&own - replies.data());
            return endpoint.SendMessage("source_service", &question, true, &own);
        }));
    }
    service.replyWith([](const ReceivedCall &call) { return plainBody(call.text); });
    EXPECT_THAT(service.waitForCalls(callers), SizeIs(callers));
    EXPECT_EQ(callsInFlight(), callers);
    EXPECT_TRUE(isFree(peer.mutex));
    service.release();
    for (unsigned int caller = 0; caller < callers; ++caller) {
        EXPECT_EQ(sending[caller].get(), 1);
        EXPECT_EQ(replies[caller].m_JsonRoot["number"].asUInt(), caller)
            << "everyone gets its own reply";
    }
    expectNothingInFlight();
}

TEST_F(ConcurrentCallsTest, ClosingWaitsForCallsInFlightAndNewOnesFail) {
    open();
    service.hold();
    auto sending = onThread([&] { return send(); });
    service.waitForCalls(1);
    const LogLineWaiter waiting("CloseDBusServer", 2);
    const auto closing = onThread([&] { endpoint.CloseDBusProxy(); });
    ASSERT_TRUE(waiting.wait());

    SourceTCMessage lateReply;
    EXPECT_EQ(endpoint.SendMessage("source_service", nullptr, true, &lateReply), 0);
    EXPECT_TRUE(staysBlocked(closing));

    service.release();
    EXPECT_EQ(sending.get(), 1);
    EXPECT_EQ(reply.m_JsonRoot["return_data"], true);
    ASSERT_TRUE(ends(closing));
    EXPECT_EQ(peer.connection, nullptr);
    EXPECT_THAT(service.calls(), SizeIs(1));
}

TEST_F(ConcurrentCallsTest, SubscribingWhileTheEndpointClosesWaitsAndFindsItClosed) {
    open();
    service.hold();
    auto sending = onThread([&] { return send(); });
    service.waitForCalls(1);
    const LogLineWaiter waiting("CloseDBusServer", 2);
    const auto closing = onThread([&] { endpoint.CloseDBusProxy(); });
    ASSERT_TRUE(waiting.wait());
    auto subscribing = onThread([&] { return endpoint.SubscribeSignal("late", nullptr, nullptr); });
    EXPECT_TRUE(staysBlocked(subscribing));
    service.release();
    EXPECT_EQ(subscribing.get(), 0);
    EXPECT_TRUE(ends(closing));
    EXPECT_EQ(sending.get(), 1);
}

TEST_F(ConcurrentCallsTest, ACallerMayTryUntilAnotherThreadHasOpenedTheEndpoint) {
    for (int round = 0; round < 20; ++round) {
        std::promise<void> trying;
        auto caller = onThread([&] {
            SourceTCMessage own;
            EXPECT_EQ(endpoint.SendMessage("source_service", nullptr, true, &own), 0);
            trying.set_value();
            const gint64 limit = g_get_monotonic_time() + waitLimit * 1000;
            while (g_get_monotonic_time() < limit) {
                if (endpoint.SendMessage("source_service", nullptr, true, &own) == 1) {
                    return true;
                }
                // Each attempt leaves a line in the log.
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
            return false;
        });
        trying.get_future().wait();
        EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
        EXPECT_TRUE(caller.get());
        endpoint.CloseDBusProxy();
    }
    expectNothingInFlight();
}

TEST_F(ConcurrentCallsTest, ClosingAndOpeningUnderCallsFromOtherThreadsIsSafe) {
    constexpr int rounds = 50;
    open();
    const auto sendOften = [&] {
        int succeeded = 0;
        for (int round = 0; round < rounds; ++round) {
            SourceTCMessage own;
            succeeded += endpoint.SendMessage("source_service", nullptr, true, &own);
        }
        return succeeded;
    };
    auto one = onThread(sendOften);
    auto other = onThread(sendOften);
    for (int round = 0; round < rounds; ++round) {
        endpoint.CloseDBusProxy();
        EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    }
    const int succeeded = one.get() + other.get();
    EXPECT_EQ(static_cast<int>(service.calls().size()), succeeded);
    expectNothingInFlight();
    EXPECT_EQ(send(), 1);
}

}  // namespace
