// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "AllocationFailure.h"
#include "FakePlatform.h"
#include "GLibSpy.h"
#include "ObjectLayout.h"
#include "SourceApiPeer.h"
#include "Threads.h"

using testing::IsEmpty;

namespace {

class MutexTest : public testing::Test {
 protected:
    MutexTest() { EXPECT_EQ(mutex.Create(), 1); }
    ~MutexTest() override { mutex.Destroy(); }

    FakePlatform &platform = FakePlatform::get();
    GLibSpy &glib = GLibSpy::get();
    SourceTCMutex mutex;
    MutexPeer peer = peerOf(mutex);
    SemaphorePeer semaphore = peerOf(peer.semaphore);
};

TEST_F(MutexTest, IsFreeOnceCreated) {
    EXPECT_EQ(peer.owner, nullptr);
    EXPECT_EQ(semaphore.count, 1);
    EXPECT_TRUE(isFree(mutex));
}

TEST_F(MutexTest, LockMakesTheCallerItsOwner) {
    mutex.Lock();
    EXPECT_EQ(peer.owner, g_thread_self());
    EXPECT_EQ(peer.lockCount, 1);
    EXPECT_EQ(semaphore.count, 0);
    EXPECT_FALSE(isFree(mutex));
    mutex.Unlock();
    EXPECT_EQ(peer.owner, nullptr);
    EXPECT_EQ(semaphore.count, 1);
    EXPECT_TRUE(isFree(mutex));
}

TEST_F(MutexTest, TryMakesTheCallerItsOwner) {
    EXPECT_EQ(mutex.Try(0), 1);
    EXPECT_EQ(peer.owner, g_thread_self());
    EXPECT_EQ(peer.lockCount, 1);
    EXPECT_FALSE(isFree(mutex));
    mutex.Unlock();
    EXPECT_TRUE(isFree(mutex));
}

TEST_F(MutexTest, TheOwnerGetsItAgainAtOnce) {
    mutex.Lock();
    mutex.Lock();
    EXPECT_EQ(mutex.Try(0), 1);
    EXPECT_EQ(mutex.Try(TKestrel_INFINITY), 1);
    EXPECT_EQ(peer.lockCount, 4);
    EXPECT_EQ(semaphore.count, 0);
}

TEST_F(MutexTest, AnotherThreadGetsItOnlyAfterAsManyUnlocks) {
    mutex.Lock();
    mutex.Lock();
    mutex.Try(0);
    auto locking = onThread([&] {
        mutex.Lock();
        const bool owned = peer.owner == g_thread_self() && peer.lockCount == 1;
        mutex.Unlock();
        return owned;
    });
    mutex.Unlock();
    EXPECT_TRUE(staysBlocked(locking));
    mutex.Unlock();
    EXPECT_TRUE(staysBlocked(locking));
    mutex.Unlock();
    EXPECT_TRUE(locking.get());
}

TEST_F(MutexTest, TryFailsAfterItsMicrosecondsWhileAnotherThreadHoldsIt) {
    const LockHolder held(mutex);
    GThread *const owner = peer.owner;
    const gint64 elapsed = shortestTimeOf([&] { EXPECT_EQ(mutex.Try(10000), 0); });
    EXPECT_GE(elapsed, 10000);
    EXPECT_LT(elapsed, 5 * G_USEC_PER_SEC);
    EXPECT_EQ(peer.owner, owner);
    EXPECT_EQ(peer.lockCount, 1);
}

TEST_F(MutexTest, TryWithoutLimitWaitsForTheOwner) {
    mutex.Lock();
    auto trying = onThread([&] {
        const int taken = mutex.Try(TKestrel_INFINITY);
        mutex.Unlock();
        return taken;
    });
    EXPECT_TRUE(staysBlocked(trying));
    mutex.Unlock();
    EXPECT_EQ(trying.get(), 1);
}

TEST_F(MutexTest, UnlockByAnotherThreadIsIgnoredSilently) {
    const LockHolder held(mutex);
    GThread *const owner = peer.owner;
    mutex.Unlock();
    EXPECT_EQ(peer.owner, owner);
    EXPECT_EQ(peer.lockCount, 1);
    EXPECT_EQ(mutex.Try(0), 0);
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(MutexTest, UnlockOfAFreeLockAddsNoSecondUnit) {
    mutex.Unlock();
    EXPECT_EQ(semaphore.count, 1);
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(MutexTest, OnlyOneThreadAtATimeHoldsIt) {
    constexpr int rounds = 1000;
    int guarded = 0;
    const auto count = [&] {
        for (int round = 0; round < rounds; ++round) {
            mutex.Lock();
            ++guarded;
            mutex.Unlock();
        }
    };
    const auto one = onThread(count);
    const auto other = onThread(count);
    one.wait();
    other.wait();
    EXPECT_EQ(guarded, 2 * rounds);
}

TEST_F(MutexTest, CreatingAgainResetsTheOwner) {
    mutex.Lock();
    mutex.Destroy();
    EXPECT_EQ(mutex.Create(), 1);
    EXPECT_EQ(peer.owner, nullptr);
    EXPECT_TRUE(isFree(mutex));
}

TEST_F(MutexTest, DestroyingTwiceIsHarmless) {
    mutex.Destroy();
    mutex.Destroy();
    EXPECT_EQ(semaphore.mutex, nullptr);
}

TEST_F(MutexTest, DestroyingANeverCreatedMutexDoesNothing) {
    SourceTCMutex unused;
    unused.Destroy();
    EXPECT_EQ(peerOf(peerOf(unused).semaphore).mutex, nullptr);
    EXPECT_EQ(peerOf(peerOf(unused).semaphore).condition, nullptr);
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(MutexTest, TryOnANeverCreatedMutexFails) {
    SourceTCMutex unused;
    EXPECT_EQ(unused.Try(1000), 0);
    EXPECT_EQ(peerOf(unused).owner, nullptr);
}

TEST_F(MutexTest, CreateWithoutMemoryReportsSuccess) {
    SourceTCMutex poor;
    {
        const AllocationFailure failure(0);
        EXPECT_EQ(poor.Create(), 1);
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_EQ(peerOf(poor).owner, nullptr);
    EXPECT_EQ(poor.Try(0), 0);
    poor.Destroy();
}

TEST_F(MutexTest, TheDestructorReleasesNothing) {
    SourceTCSemaphore remains;
    {
        SourceTCMutex abandoned;
        abandoned.Create();
        peerOf(remains).mutex = peerOf(peerOf(abandoned).semaphore).mutex;
        peerOf(remains).condition = peerOf(peerOf(abandoned).semaphore).condition;
    }
    EXPECT_THAT(platform.log(), IsEmpty());
    remains.Give();
    EXPECT_EQ(remains.Try(0), 1);
    remains.Destroy();
}

TEST_F(MutexTest, ItsVirtualOperationsAreTheDestructorAndDestroy) {
    expectVirtualOperations(mutex, {"_ZN13SourceTCMutexD1Ev", "_ZN13SourceTCMutexD0Ev",
                                    "_ZN13SourceTCMutex7DestroyEv"});
}

TEST_F(MutexTest, ItsMembersLieInOrder) {
    EXPECT_TRUE(areInOrder(&peer.semaphore, &peer.owner, &peer.lockCount));
}

}  // namespace
