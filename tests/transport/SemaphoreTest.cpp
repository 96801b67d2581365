// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <type_traits>

#include "AllocationFailure.h"
#include "FakePlatform.h"
#include "GLibSpy.h"
#include "ObjectLayout.h"
#include "SourceApiPeer.h"
#include "Threads.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// A semaphore that a test uses between Create() and Destroy().
class SemaphoreTest : public testing::Test {
 protected:
    ~SemaphoreTest() override {
        if (peer.mutex != nullptr) {
            semaphore.Destroy();
        }
    }

    // Units that can be taken without waiting.
    int unitsIn() {
        int units = 0;
        while (semaphore.Try(0) == 1) {
            ++units;
        }
        return units;
    }

    // Wakes a waiter without adding a unit.
    void wakeInVain() {
        g_mutex_lock(peer.mutex);
        g_cond_signal(peer.condition);
        g_mutex_unlock(peer.mutex);
    }

    FakePlatform &platform = FakePlatform::get();
    GLibSpy &glib = GLibSpy::get();
    SourceTCSemaphore semaphore;
    SemaphorePeer peer = peerOf(semaphore);
};

TEST(InfinityTest, IsTheLargestUnsigned32BitNumberAndReadOnly) {
    static_assert(std::is_same_v<decltype(TKestrel_INFINITY), const unsigned int>);
    static_assert(sizeof TKestrel_INFINITY == 4);
    EXPECT_EQ(TKestrel_INFINITY, 4294967295U);
}

TEST_F(SemaphoreTest, IsConstructedWithoutMutexAndCondition) {
    EXPECT_EQ(peer.mutex, nullptr);
    EXPECT_EQ(peer.condition, nullptr);
}

TEST_F(SemaphoreTest, CreateReturnsOneAndSetsTheUnits) {
    EXPECT_EQ(semaphore.Create(3), 1);
    EXPECT_EQ(peer.count, 3);
    EXPECT_NE(peer.mutex, nullptr);
    EXPECT_NE(peer.condition, nullptr);
    EXPECT_EQ(unitsIn(), 3);
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(SemaphoreTest, TakeTakesOneUnit) {
    semaphore.Create(2);
    semaphore.Take();
    EXPECT_EQ(peer.count, 1);
}

TEST_F(SemaphoreTest, TakeWaitsForAUnit) {
    semaphore.Create(0);
    const auto taking = onThread([&] { semaphore.Take(); });
    EXPECT_TRUE(staysBlocked(taking));
    semaphore.Give();
    ASSERT_TRUE(ends(taking));
    EXPECT_EQ(peer.count, 0);
}

TEST_F(SemaphoreTest, TakeWaitsAgainAfterASpuriousWakeUp) {
    semaphore.Create(0);
    const auto taking = onThread([&] { semaphore.Take(); });
    wakeInVain();
    EXPECT_TRUE(staysBlocked(taking));
    wakeInVain();
    EXPECT_TRUE(staysBlocked(taking));
    semaphore.Give();
    ASSERT_TRUE(ends(taking));
    EXPECT_EQ(peer.count, 0);
}

TEST_F(SemaphoreTest, ANegativeCountNeedsThatManyUnitsFirst) {
    semaphore.Create(-1);
    semaphore.Give();
    EXPECT_EQ(semaphore.Try(0), 0);
    semaphore.Give();
    EXPECT_EQ(semaphore.Try(0), 1);
}

TEST_F(SemaphoreTest, GiveAddsOneUnit) {
    semaphore.Create(0);
    semaphore.Give();
    semaphore.Give();
    EXPECT_EQ(unitsIn(), 2);
}

TEST_F(SemaphoreTest, GiveWakesOneWaiterNotAll) {
    semaphore.Create(0);
    glib.watch();
    semaphore.Give();
    EXPECT_THAT(glib.wakeUpsOf(peer.condition), ElementsAre(GLibSpy::WakeUp::one));
}

TEST_F(SemaphoreTest, GiveLetsExactlyOneWaiterThrough) {
    semaphore.Create(0);
    std::promise<void> someone;
    std::once_flag first;
    const auto take = [&] {
        semaphore.Take();
        std::call_once(first, [&] { someone.set_value(); });
    };
    const auto one = onThread(take);
    const auto other = onThread(take);
    semaphore.Give();
    EXPECT_TRUE(ends(someone.get_future()));
    EXPECT_TRUE(staysBlocked(one) || staysBlocked(other));
    semaphore.Give();
    EXPECT_TRUE(ends(one));
    EXPECT_TRUE(ends(other));
}

TEST_F(SemaphoreTest, TryTakesAnAvailableUnitWithoutWaiting) {
    semaphore.Create(1);
    glib.watch();
    EXPECT_EQ(semaphore.Try(1000), 1);
    EXPECT_EQ(peer.count, 0);
    EXPECT_THAT(glib.clockReadings(), IsEmpty());
}

TEST_F(SemaphoreTest, TryWithATimeoutOfZeroWaitsOnceForAPastDeadline) {
    semaphore.Create(0);
    glib.watch();
    EXPECT_EQ(semaphore.Try(0), 0);
    EXPECT_THAT(glib.clockReadings(), SizeIs(1));
    EXPECT_EQ(peer.count, 0);
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(SemaphoreTest, TimeoutsAreMicroseconds) {
    semaphore.Create(0);
    const gint64 elapsed = shortestTimeOf([&] { EXPECT_EQ(semaphore.Try(10000), 0); });
    EXPECT_GE(elapsed, 10000);
    EXPECT_LT(elapsed, 5 * G_USEC_PER_SEC) << "ten seconds are 10000 of a larger unit";
}

TEST_F(SemaphoreTest, TryTakesAUnitThatIsGivenWhileItWaits) {
    semaphore.Create(0);
    std::promise<void> waiting;
    std::once_flag first;
    glib.watch();
    glib.onClockReading([&] { std::call_once(first, [&] { waiting.set_value(); }); });
    auto trying = onThread([&] { return semaphore.Try(waitLimit * 1000UL); });
    EXPECT_TRUE(ends(waiting.get_future()));
    semaphore.Give();
    EXPECT_EQ(trying.get(), 1);
    EXPECT_EQ(peer.count, 0);
}

TEST_F(SemaphoreTest, ASpuriousWakeUpRestartsTheFullTimeout) {
    constexpr std::size_t wakeUps = 3;
    constexpr std::size_t deadlinesAndEnd = wakeUps + 2;
    semaphore.Create(0);
    std::vector<gint64> readings;
    gint64 end = 0;
    gint64 timeout = 100000;
    // Repeated with more time if the machine was too slow to wake it in time.
    while (readings.size() < deadlinesAndEnd && timeout < waitLimit * G_TIME_SPAN_MILLISECOND) {
        timeout *= 2;
        glib.watch();
        // The clock is read under the semaphore's mutex, so the wake-up follows the start of the
        // wait.
        std::vector<std::future<void>> wakers;
        glib.onClockReading([&] {
            if (wakers.size() < wakeUps) {
                wakers.push_back(onThread([&] { wakeInVain(); }));
            }
        });
        EXPECT_EQ(semaphore.Try(static_cast<unsigned long>(timeout)), 0);
        end = g_get_monotonic_time();
        glib.onClockReading(nullptr);
        readings = glib.clockReadings();
    }
    ASSERT_GE(readings.size(), deadlinesAndEnd);
    EXPECT_GE(end - readings[wakeUps], timeout);
}

TEST_F(SemaphoreTest, TryWithoutLimitWaitsLikeTake) {
    semaphore.Create(0);
    glib.watch();
    auto trying = onThread([&] { return semaphore.Try(TKestrel_INFINITY); });
    EXPECT_TRUE(staysBlocked(trying));
    EXPECT_THAT(glib.clockReadings(), IsEmpty());
    semaphore.Give();
    EXPECT_EQ(trying.get(), 1);
    EXPECT_EQ(peer.count, 0);
}

TEST_F(SemaphoreTest, TryWithALimitFailsWithoutAMutex) {
    EXPECT_EQ(semaphore.Try(1000), 0);
}

TEST_F(SemaphoreTest, LargestFiniteTimeoutStillFailsWithoutAMutex) {
    EXPECT_EQ(semaphore.Try(TKestrel_INFINITY - 1UL), 0);
}

class SemaphoreDeathTest : public SemaphoreTest {
 protected:
    // The crash is expected, so it needs no core file.
    static void withoutCoreFile() {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);
    }
};

TEST_F(SemaphoreDeathTest, TryWithoutLimitDoesNotLookForAMissingMutex) {
    EXPECT_DEATH(
        {
            withoutCoreFile();
            semaphore.Try(TKestrel_INFINITY);
        },
        "");
}

TEST_F(SemaphoreDeathTest, DestroyingTwiceIsFatal) {
    semaphore.Create(1);
    EXPECT_DEATH(
        {
            withoutCoreFile();
            semaphore.Destroy();
            semaphore.Destroy();
        },
        "");
}

TEST_F(SemaphoreTest, DestroyNullsThePointers) {
    semaphore.Create(1);
    semaphore.Destroy();
    EXPECT_EQ(peer.mutex, nullptr);
    EXPECT_EQ(peer.condition, nullptr);
}

TEST_F(SemaphoreTest, CanBeCreatedAgainOnceDestroyed) {
    semaphore.Create(1);
    semaphore.Destroy();
    EXPECT_EQ(semaphore.Create(2), 1);
    EXPECT_EQ(unitsIn(), 2);
}

TEST_F(SemaphoreTest, TheDestructorReleasesNothing) {
    GMutex *mutex = nullptr;
    GCond *condition = nullptr;
    {
        SourceTCSemaphore abandoned;
        abandoned.Create(1);
        mutex = peerOf(abandoned).mutex;
        condition = peerOf(abandoned).condition;
    }
    EXPECT_THAT(platform.log(), IsEmpty());
    // Both are still valid; the test releases them.
    g_mutex_lock(mutex);
    g_cond_signal(condition);
    g_mutex_unlock(mutex);
    g_mutex_clear(mutex);
    g_cond_clear(condition);
    delete mutex;
    delete condition;
}

class SemaphoreWithoutMemoryTest : public SemaphoreTest, public testing::WithParamInterface<int> {};

TEST_P(SemaphoreWithoutMemoryTest, CreateReportsSuccessAndLeavesBothPointersNull) {
    {
        const AllocationFailure failure(GetParam());
        EXPECT_EQ(semaphore.Create(1), 1);
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_EQ(peer.mutex, nullptr);
    EXPECT_EQ(peer.condition, nullptr);
    EXPECT_EQ(semaphore.Try(0), 0);
}

INSTANTIATE_TEST_SUITE_P(MutexOrCondition, SemaphoreWithoutMemoryTest, testing::Values(0, 1));

TEST_F(SemaphoreTest, ItsVirtualOperationsAreTheDestructorAndDestroy) {
    expectVirtualOperations(semaphore, {"_ZN17SourceTCSemaphoreD1Ev", "_ZN17SourceTCSemaphoreD0Ev",
                                        "_ZN17SourceTCSemaphore7DestroyEv"});
}

TEST_F(SemaphoreTest, ItsMembersLieInOrder) {
    EXPECT_TRUE(areInOrder(&peer.count, &peer.mutex, &peer.condition));
}

}  // namespace
