// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Calling the registered callbacks: order, threads, and announcements made inside a callback.
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Event.h"
#include "LockState.h"
#include "NotificationTest.h"
#include "Threads.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class AnnouncementTest : public NotificationTest {};

TEST_F(AnnouncementTest, EveryRegistrationIsCalledInOrderOfRegistration) {
    CSourceAPI::RegisterSourceAPICallback(second, &q);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    ClientPeer::announce(-4);
    EXPECT_THAT(calls, ElementsAre(Pair("second", -4), Pair("first", -4)));
}

TEST_F(AnnouncementTest, AnnouncingWithoutRegistrationsReleasesTheLock) {
    ClientPeer::announce(1);
    EXPECT_TRUE(isFree(m_sourceAPICallbackDataMutex));
}

TEST_F(AnnouncementTest, NullFunctionAmongTheRegistrationsIsSkipped) {
    registrations() = {{first, &p}, {nullptr, &q}, {second, &p}};
    ClientPeer::announce(1);
    EXPECT_THAT(calls, ElementsAre(Pair("first", 1), Pair("second", 1)));
}

TEST_F(AnnouncementTest, CallbackReadsTheNewListAndNamesWithoutARequest) {
    std::string list;
    std::string name;
    std::function<void(int)> read = [&](int) {
        list = readText();
        name = nameOf(9);
    };
    CSourceAPI::RegisterSourceAPICallback(run, &read);
    platform.setSourceNames(R"([{"SourceType":9,"EditName":"New","MbrActivityIndex":0}])");
    change("[2]", 1);
    EXPECT_EQ(list, "[\t2]");
    EXPECT_EQ(name, "New");
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(AnnouncementTest, CallbackMayMakeRequests) {
    bool connected = false;
    std::function<void(int)> connect = [&](int) { connected = CSourceAPI::Get()->Connect(3); };
    CSourceAPI::RegisterSourceAPICallback(run, &connect);
    change("[2]", 1);
    EXPECT_TRUE(connected);
    EXPECT_EQ(service.countOf("SourceConnect"), 1);
}

TEST_F(AnnouncementTest, CallbacksRunOnTheThreadThatIteratesTheContext) {
    std::thread::id thread;
    std::function<void(int)> note = [&](int) { thread = std::this_thread::get_id(); };
    CSourceAPI::RegisterSourceAPICallback(run, &note);
    change("[2]", 1);
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(AnnouncementTest, CallbacksRunUnderTheirOwnLockOnly) {
    bool ownLockFree = true;
    bool cacheLockFree = false;
    bool announced = true;
    std::function<void(int)> look = [&](int) {
        ownLockFree = isFree(m_sourceAPICallbackDataMutex);
        cacheLockFree = isFree(m_sourceUtilMutex);
        announced = ClientPeer::hasAnnounced();
    };
    CSourceAPI::RegisterSourceAPICallback(run, &look);
    change("[2]", 1);
    EXPECT_FALSE(ownLockFree);
    EXPECT_TRUE(cacheLockFree);
    EXPECT_FALSE(announced);
    EXPECT_TRUE(isFree(m_sourceAPICallbackDataMutex));
}

// An announcement on another thread, whose callback returns only after end() was called.
class LongAnnouncement {
 public:
    LongAnnouncement() {
        CSourceAPI::RegisterSourceAPICallback(run, &m_stay);
        m_thread = std::thread([] { ClientPeer::announce(1); });
        EXPECT_TRUE(m_began.wait());
    }
    void end() {
        m_end.set();
        m_thread.join();
    }

 private:
    Event m_began;
    Event m_end;
    std::function<void(int)> m_stay = [this](int value) {
        if (value == 1) {
            m_began.set();
            EXPECT_TRUE(m_end.wait());
            calls.emplace_back("long", value);
        }
    };
    std::thread m_thread;
};

TEST_F(AnnouncementTest, AnnouncementsOfTwoThreadsFollowOneAnother) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    LongAnnouncement announcement;
    Event arrived;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "m_NotifySourceListChanged") {
            arrived.set();
        }
    });
    std::thread other([] { ClientPeer::announce(2); });
    EXPECT_TRUE(arrived.wait());
    announcement.end();
    other.join();
    EXPECT_THAT(calls, ElementsAre(Pair("first", 1), Pair("long", 1), Pair("first", 2)));
}

TEST_F(AnnouncementTest, UnregisteringWaitsForTheCallbacksOfAnotherThread) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    LongAnnouncement announcement;
    Event arrived;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "UnregisterSourceAPICallback") {
            arrived.set();
        }
    });
    std::thread other([this] {
        CSourceAPI::UnregisterSourceAPICallback(&p);
        calls.emplace_back("unregistered", 0);
    });
    EXPECT_TRUE(arrived.wait());
    announcement.end();
    other.join();
    EXPECT_THAT(calls, ElementsAre(Pair("first", 1), Pair("long", 1), Pair("unregistered", 0)));
}

TEST_F(AnnouncementTest, ExceptionOfACallbackLeavesAnnouncingPossible) {
    std::function<void(int)> fail = [](int value) {
        if (value == 1) {
            throw std::runtime_error("callback");
        }
    };
    CSourceAPI::RegisterSourceAPICallback(run, &fail);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    EXPECT_THROW(ClientPeer::announce(1), std::runtime_error);
    EXPECT_TRUE(isFree(m_sourceAPICallbackDataMutex));
    ClientPeer::announce(2);
    EXPECT_THAT(calls, ElementsAre(Pair("first", 2)));
}

TEST_F(AnnouncementTest, FirstReadInsideACallbackIsAnnouncedInAFurtherRound) {
    service.replyWithError("test.Error.Refused", "not today");
    std::string list;
    std::function<void(int)> read = [&](int value) {
        calls.emplace_back("reader", value);
        service.reply(R"({"return_data":[3]})");
        list = readText();
    };
    CSourceAPI::RegisterSourceAPICallback(run, &read);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change(R"("")", 5);
    EXPECT_EQ(list, "[\t3]");
    EXPECT_THAT(calls, ElementsAre(Pair("reader", 5), Pair("first", 5), Pair("reader", 0),
                                   Pair("first", 0)));
    EXPECT_EQ(service.countOf("UtilGetSourceList"), 2);
}

TEST_F(AnnouncementTest, AnnouncementInsideACallbackIsMadeInAFurtherRound) {
    std::function<void(int)> again = [&](int value) {
        if (value == 1) {
            ClientPeer::announce(2);
        }
    };
    CSourceAPI::RegisterSourceAPICallback(run, &again);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    ClientPeer::announce(1);
    EXPECT_THAT(calls, ElementsAre(Pair("first", 1), Pair("first", 2)));
}

TEST_F(AnnouncementTest, SignalHandledInsideACallbackIsAnnouncedInAFurtherRound) {
    std::vector<std::string> lists;
    std::function<void(int)> iterate = [&](int value) {
        calls.emplace_back("iterating", value);
        if (value == 1) {
            change("[2]", 2);
        }
        lists.push_back(readText());
    };
    CSourceAPI::RegisterSourceAPICallback(run, &iterate);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change("[1]", 1);
    EXPECT_THAT(calls, ElementsAre(Pair("iterating", 1), Pair("first", 1), Pair("iterating", 2),
                                   Pair("first", 2)));
    EXPECT_THAT(lists, ElementsAre("[\t2]", "[\t2]"));
    EXPECT_TRUE(ClientPeer::hasAnnounced());
}

TEST_F(AnnouncementTest, RegistrationsAreReadOnceTheLockIsHeld) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    std::unique_lock<std::mutex> lock(m_sourceAPICallbackDataMutex);
    const auto announcing = onThread([] { ClientPeer::announce(5); });
    EXPECT_TRUE(staysBlocked(announcing));
    registrations().push_back({second, &q});
    lock.unlock();
    EXPECT_TRUE(ends(announcing));
    EXPECT_THAT(calls, ElementsAre(Pair("first", 5), Pair("second", 5)));
}

TEST_F(AnnouncementTest, EveryValueFromInsideACallbackHasARoundOfItsOwn) {
    std::function<void(int)> countDown = [&](int value) {
        if (value == 3) {
            ClientPeer::announce(2);
            ClientPeer::announce(1);
        }
        if (value == 2) {
            ClientPeer::announce(0);
        }
    };
    CSourceAPI::RegisterSourceAPICallback(run, &countDown);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    ClientPeer::announce(3);
    EXPECT_THAT(
        calls, ElementsAre(Pair("first", 3), Pair("first", 2), Pair("first", 1), Pair("first", 0)));
}

TEST_F(AnnouncementTest, FurtherRoundRunsBeforeTheLockIsReleased) {
    std::vector<std::pair<int, bool>> lockFree;
    bool freeBetween = false;
    std::function<void(int)> look = [&](int value) {
        lockFree.emplace_back(value, isFree(m_sourceAPICallbackDataMutex));
        if (value == 1) {
            // Checks the lock at every line that is logged until the end of the second round.
            platform.onLog([&](const LogLine & /*line*/) {
                freeBetween = freeBetween || isFree(m_sourceAPICallbackDataMutex);
            });
            ClientPeer::announce(2);
        }
    };
    CSourceAPI::RegisterSourceAPICallback(run, &look);
    ClientPeer::announce(1);
    platform.onLog(nullptr);
    EXPECT_THAT(lockFree, ElementsAre(Pair(1, false), Pair(2, false)));
    EXPECT_FALSE(freeBetween);
    EXPECT_TRUE(isFree(m_sourceAPICallbackDataMutex));
}

}  // namespace
