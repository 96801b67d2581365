// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Change callbacks: registering them, and what makes the client call them.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <thread>

#include "ClientTest.h"
#include "Event.h"
#include "OthersCanLock.h"
#include "RecordedCallback.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

// Every call of `first` and `second` in order: the function's name and the value.
std::vector<std::pair<std::string, int>> told;

void first(int value, void * /*userData*/) {
    told.emplace_back("first", value);
}

void second(int value, void * /*userData*/) {
    told.emplace_back("second", value);
}

// Runs a std::function as a change callback.
void run(int value, void *function) {
    (*static_cast<std::function<void(int)> *>(function))(value);
}

std::string shown(const void *pointer) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%p", pointer);
    return text.data();
}

std::string shown(void (*function)(int, void *)) {
    return shown(reinterpret_cast<void *>(function));
}

class NotificationTest : public ClientTest {
 protected:
    NotificationTest() {
        CSourceAPI::Get();
        platform.clearLog();
        told.clear();
    }

    // The change signal, as the service sends it, and as far as the client has handled it.
    void change(const std::string &list, int result) {
        signal(R"({"method":"SourceListChanged","return_data":)" + list + R"(,"data":{"result":)" +
               std::to_string(result) + "}}");
    }
    void signal(const std::string &text) {
        letTheBusCatchUp();
        service.emitChange(text);
        ASSERT_TRUE(deliverSignalsOf(service.connection()));
    }
    void handle(const std::string &text) {
        SourceTCMessage message;
        message.SetMessage(text);
        CSourceAPI::m_OnFunctionCallBack(nullptr, nullptr, &message, nullptr);
    }

    static std::vector<STSourceAPICallbackData> &registrations() {
        return CSourceAPI::Get()->m_sourceAPICallbackData;
    }
    static Json::Value cache() { return CSourceAPI::m_sourceItemArray; }
    static std::string nameOf(int sourceType) {
        std::string name;
        CSourceAPI::Get()->GetSourceEditName(sourceType, name, 0);
        return name;
    }
    static std::string readText() {
        const std::unique_ptr<char, decltype(&std::free)> text(CSourceAPI::Get()->GetSourceList(),
                                                               std::free);
        return text ? text.get() : "no list";
    }

    char p = 'p';
    char q = 'q';
};

MATCHER_P2(Registration, callback, userData, "") {
    return arg.apiCallback == callback && arg.pUserData == userData;
}

// Registering.

TEST_F(NotificationTest, RegistrationIsLoggedAndAppended) {
    CSourceAPI::RegisterSourceAPICallback(second, &q);
    platform.clearLog();
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    EXPECT_THAT(platform.log(), ElementsAre(Info("RegisterSourceAPICallback"),
                                            Info("[Register Callback] callback : " + shown(first) +
                                                 ", pUserData : " + shown(&p))));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "RegisterSourceAPICallback")));
    EXPECT_THAT(registrations(), ElementsAre(Registration(second, &q), Registration(first, &p)));
}

TEST_F(NotificationTest, NullFunctionIsRefused) {
    CSourceAPI::RegisterSourceAPICallback(nullptr, &p);
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("RegisterSourceAPICallback"), Error("callback is null")));
    EXPECT_THAT(registrations(), IsEmpty());
}

TEST_F(NotificationTest, NullUserDataIsRegisteredAndHandedBack) {
    static std::vector<void *> seen;
    CSourceAPI::RegisterSourceAPICallback([](int, void *data) { seen.push_back(data); }, nullptr);
    CSourceAPI::m_NotifySourceListChanged(1);
    EXPECT_THAT(seen, ElementsAre(nullptr));
}

TEST_F(NotificationTest, SameRegistrationTwiceIsCalledTwice) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::m_NotifySourceListChanged(3);
    EXPECT_THAT(told, ElementsAre(Pair("first", 3), Pair("first", 3)));
}

// The client is made by whichever comes first.
class FirstCallTest : public ClientTest {};

TEST_F(FirstCallTest, RegisteringMakesTheClient) {
    CSourceAPI::RegisterSourceAPICallback(first, nullptr);
    EXPECT_THAT(platform.log(), Contains(Info("CSourceAPI constructor")));
    EXPECT_EQ(CSourceAPI::Get()->m_sourceAPICallbackData.size(), 1U);
}

TEST_F(FirstCallTest, UnregisteringMakesTheClient) {
    CSourceAPI::UnregisterSourceAPICallback(nullptr);
    EXPECT_THAT(platform.log(), Contains(Info("CSourceAPI constructor")));
    EXPECT_TRUE(CSourceAPI::m_bHasSubscribedForEvent);
}

TEST_F(FirstCallTest, NothingWasAnnouncedYet) {
    CSourceAPI::Get();
    EXPECT_FALSE(CSourceAPI::m_bNotified);
}

// Unregistering.

TEST_F(NotificationTest, UnregisteringRemovesTheOldestRegistrationOfTheUserData) {
    CSourceAPI::RegisterSourceAPICallback(second, &q);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::RegisterSourceAPICallback(second, &p);
    CSourceAPI::RegisterSourceAPICallback(first, &q);
    platform.clearLog();
    CSourceAPI::UnregisterSourceAPICallback(&p);
    EXPECT_THAT(platform.log(), ElementsAre(Info("UnregisterSourceAPICallback"),
                                            Info("[Unregister Callback] callback : " +
                                                 shown(first) + ", pUserData : " + shown(&p))));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "UnregisterSourceAPICallback")));
    EXPECT_THAT(registrations(), ElementsAre(Registration(second, &q), Registration(second, &p),
                                             Registration(first, &q)));
}

TEST_F(NotificationTest, UnregisteringOneOfTwoLeavesTheOther) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::UnregisterSourceAPICallback(&p);
    CSourceAPI::m_NotifySourceListChanged(7);
    EXPECT_THAT(told, ElementsAre(Pair("first", 7)));
}

TEST_F(NotificationTest, NullUserDataIsSearchedForLikeAnyOther) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::RegisterSourceAPICallback(second, nullptr);
    platform.clearLog();
    CSourceAPI::UnregisterSourceAPICallback(nullptr);
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("UnregisterSourceAPICallback"), Info("user data is null"),
                            Info("[Unregister Callback] callback : " + shown(second) +
                                 ", pUserData : (nil)")));
    EXPECT_THAT(registrations(), ElementsAre(Registration(first, &p)));
}

TEST_F(NotificationTest, UnknownUserDataIsIgnoredWithoutALine) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    platform.clearLog();
    CSourceAPI::UnregisterSourceAPICallback(&q);
    EXPECT_THAT(platform.log(), ElementsAre(Info("UnregisterSourceAPICallback")));
    EXPECT_THAT(registrations(), ElementsAre(Registration(first, &p)));
    EXPECT_TRUE(othersCanLock(m_sourceAPICallbackDataMutex));
}

// Announcing.

TEST_F(NotificationTest, EveryRegistrationIsCalledInOrderOfRegistration) {
    CSourceAPI::RegisterSourceAPICallback(second, &q);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    platform.clearLog();
    CSourceAPI::m_NotifySourceListChanged(-4);
    EXPECT_THAT(told, ElementsAre(Pair("second", -4), Pair("first", -4)));
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("m_NotifySourceListChanged"), Info("callback " + shown(second)),
                            Info("pUserData " + shown(&q)), Info("callback " + shown(first)),
                            Info("pUserData " + shown(&p))));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "m_NotifySourceListChanged")));
}

TEST_F(NotificationTest, RegistrationIsLoggedBeforeItIsCalled) {
    std::size_t linesBefore = 0;
    std::function<void(int)> count = [&](int) {
        linesBefore = platform.logOf("m_NotifySourceListChanged").size();
    };
    CSourceAPI::RegisterSourceAPICallback(run, &count);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::m_NotifySourceListChanged(1);
    EXPECT_EQ(linesBefore, 3U);
}

TEST_F(NotificationTest, AnnouncingToNobodyLogsSo) {
    CSourceAPI::m_NotifySourceListChanged(1);
    EXPECT_THAT(platform.log(), ElementsAre(Info("m_NotifySourceListChanged"),
                                            Info("callback function is no exist!")));
    EXPECT_TRUE(othersCanLock(m_sourceAPICallbackDataMutex));
}

TEST_F(NotificationTest, NullFunctionAmongTheRegistrationsIsSkipped) {
    registrations() = {{first, &p}, {nullptr, &q}, {second, &p}};
    CSourceAPI::m_NotifySourceListChanged(1);
    EXPECT_THAT(told, ElementsAre(Pair("first", 1), Pair("second", 1)));
    EXPECT_THAT(
        platform.log(),
        ElementsAre(Info("m_NotifySourceListChanged"), Info("callback " + shown(first)),
                    Info("pUserData " + shown(&p)), Error("callBackData.apiCallback is NULL"),
                    Info("callback " + shown(second)), Info("pUserData " + shown(&p))));
}

// Signals.

TEST_F(NotificationTest, SignalCallsEveryCallbackWithItsResult) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::RegisterSourceAPICallback(second, &q);
    change(R"([{"sourceType":3}])", 5);
    EXPECT_THAT(told, ElementsAre(Pair("first", 5), Pair("second", 5)));
}

TEST_F(NotificationTest, SignalRefreshesListAndNamesWithoutARequest) {
    platform.setSourceNames(R"([{"SourceType":9,"EditName":"New","MbrActivityIndex":0}])");
    const std::size_t reads = platform.settingReads().size();
    change(R"([{"sourceType":3}])", 1);
    EXPECT_EQ(readText(), "[\t{\t\t\"sourceType\" : 3\t}]");
    EXPECT_EQ(nameOf(9), "New");
    EXPECT_EQ(platform.settingReads().size(), reads + 1);
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(NotificationTest, SignalWithoutRegistrationsStillRefreshes) {
    change(R"([{"sourceType":3}])", 1);
    EXPECT_THAT(platform.log(), Contains(Info("callback function is no exist!")));
    EXPECT_EQ(cache(), parsedJson(R"([{"sourceType":3}])"));
    EXPECT_TRUE(CSourceAPI::m_bNotified);
}

TEST_F(NotificationTest, HandledSignalLogsWhetherOneWasAnnouncedBefore) {
    change("[]", 1);
    EXPECT_THAT(platform.logOf("m_OnFunctionCallBack"),
                ElementsAre(Info("m_OnFunctionCallBack (Notified: 0)"), Info("Done")));
    platform.clearLog();
    change("[1]", 1);
    EXPECT_THAT(platform.logOf("m_OnFunctionCallBack"),
                ElementsAre(Info("m_OnFunctionCallBack (Notified: 1)"), Info("Done")));
    EXPECT_THAT(platform.logOf("m_OnFunctionCallBack"),
                Each(From("SourceAPI.cpp", "m_OnFunctionCallBack")));
}

TEST_F(NotificationTest, SecondSignalWithTheSameListDoesNothingAtAll) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change(R"([{"a":1,"b":2}])", 5);
    platform.clearLog();
    const std::size_t reads = platform.settingReads().size();
    change(R"([{"b":2,"a":1}])", 6);
    EXPECT_THAT(told, ElementsAre(Pair("first", 5)));
    EXPECT_THAT(platform.logOf("m_OnFunctionCallBack"),
                ElementsAre(Info("m_OnFunctionCallBack (Notified: 1)"),
                            Error("Not changed. Don't notify")));
    EXPECT_EQ(platform.count(infoPriority, "Sourcelist is not changed"), 1);
    EXPECT_EQ(platform.settingReads().size(), reads);
    EXPECT_THAT(platform.logOf("m_UpdateCache"), IsEmpty());
    EXPECT_TRUE(CSourceAPI::m_bNotified);
}

TEST_F(NotificationTest, LaterSignalAnnouncesWhenItsListDiffers) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change(R"([{"a":1}])", 1);
    change(R"([{"a":1.0}])", 2);
    change(R"([{"a":1.0},{"b":2}])", 3);
    change(R"([{"b":2},{"a":1.0}])", 4);
    EXPECT_THAT(
        told, ElementsAre(Pair("first", 1), Pair("first", 2), Pair("first", 3), Pair("first", 4)));
    EXPECT_EQ(cache(), parsedJson(R"([{"b":2},{"a":1.0}])"));
}

TEST_F(NotificationTest, FirstSignalAfterARefreshAnnouncesWhateverItCarries) {
    service.replyTo("UtilGetSourceList", R"({"return_data":[1]})");
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    EXPECT_EQ(readText(), "[\t1]");
    change("[1]", 5);
    change("[1]", 6);
    CSourceAPI::m_UpdateCache(parsedJson("[1]"));
    change("[1]", 7);
    EXPECT_THAT(told, ElementsAre(Pair("first", 0), Pair("first", 5), Pair("first", 7)));
}

TEST_F(NotificationTest, SignalWithTheEmptyTextFetchesTheListAndAnnounces) {
    service.replyTo("UtilGetSourceList", R"({"return_data":[1]})");
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change(R"("")", 5);
    EXPECT_THAT(service.lastCall().json,
                parsedJson(R"({"method":"UtilGetSourceList","data":null})"));
    EXPECT_EQ(cache(), parsedJson("[1]"));
    change(R"("")", 6);
    EXPECT_EQ(service.countOf("UtilGetSourceList"), 2);
    EXPECT_THAT(told, ElementsAre(Pair("first", 5), Pair("first", 6)));
}

TEST_F(NotificationTest, FailedRefreshIsAnnouncedAllTheSame) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    platform.setSourceNames(std::nullopt);
    service.releaseName();
    change(R"("")", 5);
    EXPECT_THAT(platform.log(),
                Contains(Info("Update SourceDataMap[0] SourceItemArray[0] --> [0]")));
    EXPECT_THAT(told, ElementsAre(Pair("first", 5)));
    EXPECT_TRUE(CSourceAPI::m_bNotified);
}

TEST_F(NotificationTest, MissingListReadsAsNull) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change("[1]", 1);
    signal(R"({"data":{"result":5}})");
    EXPECT_TRUE(cache().isNull());
    EXPECT_TRUE(CSourceAPI::m_bIntializedSourceItemArray);
    EXPECT_THAT(told, ElementsAre(Pair("first", 1), Pair("first", 5)));
}

TEST_F(NotificationTest, MissingResultIsZero) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    for (const char *data : {R"({})", R"({"data":null})", R"({"data":{}})",
                             R"({"data":{"result":null}})", R"({"data":{"other":5}})"}) {
        SCOPED_TRACE(data);
        told.clear();
        CSourceAPI::m_bNotified = false;
        signal(data);
        EXPECT_THAT(told, ElementsAre(Pair("first", 0)));
    }
}

TEST_F(NotificationTest, ResultsAreWhateverReadsAsAnInt) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::m_bNotified = false;
    signal(R"({"data":{"result":-2147483648}})");
    CSourceAPI::m_bNotified = false;
    signal(R"({"data":{"result":true}})");
    EXPECT_THAT(told, ElementsAre(Pair("first", -2147483647 - 1), Pair("first", 1)));
}

TEST_F(NotificationTest, UnreadableResultLeavesTheHandlerAfterTheRefresh) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    for (const char *data : {R"({"result":"5"})", R"({"result":[]})", R"({"result":4294967296})",
                             R"("text")", "5", "[1]"}) {
        SCOPED_TRACE(data);
        CSourceAPI::m_sourceItemArray = Json::Value();
        CSourceAPI::m_bNotified = false;
        platform.clearLog();
        const std::string text = R"({"return_data":[1],"data":)" + std::string(data) + "}";
        EXPECT_THROW(handle(text), Json::Exception);
        EXPECT_EQ(cache(), parsedJson("[1]"));
        EXPECT_FALSE(CSourceAPI::m_bNotified);
        EXPECT_EQ(platform.count(infoPriority, "Done"), 0);
    }
    EXPECT_THAT(told, IsEmpty());
    EXPECT_TRUE(othersCanLock(m_sourceAPICallbackDataMutex));
}

TEST_F(NotificationTest, UnreadableSignalIsLoggedAndEndsNothing) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    for (const char *text : {R"({"return_data":[1],"data":{"result":"5"}})", "[1]", "5"}) {
        SCOPED_TRACE(text);
        platform.clearLog();
        signal(text);
        EXPECT_THAT(platform.logOf("m_DSignalHandler"),
                    Contains(ErrorWith("Exception occured! [")));
    }
    EXPECT_THAT(told, IsEmpty());
    change("[2]", 5);
    EXPECT_THAT(told, ElementsAre(Pair("first", 5)));
}

TEST_F(NotificationTest, WrongTypesInTheSettingsStoreLeaveTheCachesAndTellNobody) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change("[1]", 1);
    platform.setSourceNames(R"([{"SourceType":"seven"}])");
    change("[2]", 2);
    EXPECT_THAT(platform.logOf("m_DSignalHandler"), Contains(ErrorWith("Exception occured! [")));
    EXPECT_THAT(told, ElementsAre(Pair("first", 1)));
    EXPECT_EQ(cache(), parsedJson("[1]"));
    EXPECT_EQ(nameOf(7), "Game");
}

TEST_F(NotificationTest, SignalThatIsNoJsonIsAnEmptyListAndZero) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change("[1]", 1);
    service.emit("/any/path", "any.interface", "source_api", g_variant_new("(i)", 5));
    ASSERT_TRUE(deliverSignalsOf(service.connection()));
    signal("no JSON");
    EXPECT_TRUE(cache().isNull());
    EXPECT_THAT(told, ElementsAre(Pair("first", 1), Pair("first", 0)));
    EXPECT_EQ(platform.count(errorPriority, "Not changed. Don't notify"), 1);
}

// What a callback may do, and meets.

TEST_F(NotificationTest, CallbackReadsTheNewListAndNamesWithoutARequest) {
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

TEST_F(NotificationTest, CallbackMayMakeRequests) {
    bool connected = false;
    std::function<void(int)> connect = [&](int) { connected = CSourceAPI::Get()->Connect(3); };
    CSourceAPI::RegisterSourceAPICallback(run, &connect);
    change("[2]", 1);
    EXPECT_TRUE(connected);
    EXPECT_EQ(service.countOf("SourceConnect"), 1);
}

TEST_F(NotificationTest, CallbacksRunOnTheThreadThatIteratesTheContext) {
    std::thread::id thread;
    std::function<void(int)> note = [&](int) { thread = std::this_thread::get_id(); };
    CSourceAPI::RegisterSourceAPICallback(run, &note);
    change("[2]", 1);
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(NotificationTest, CallbacksRunUnderTheirOwnLockOnly) {
    bool ownLockFree = true;
    bool cacheLockFree = false;
    bool announced = true;
    std::function<void(int)> look = [&](int) {
        ownLockFree = othersCanLock(m_sourceAPICallbackDataMutex);
        cacheLockFree = othersCanLock(m_sourceUtilMutex);
        announced = CSourceAPI::m_bNotified;
    };
    CSourceAPI::RegisterSourceAPICallback(run, &look);
    change("[2]", 1);
    EXPECT_FALSE(ownLockFree);
    EXPECT_TRUE(cacheLockFree);
    EXPECT_FALSE(announced);
    EXPECT_TRUE(othersCanLock(m_sourceAPICallbackDataMutex));
}

TEST_F(NotificationTest, RegistrationsAreChangedUnderTheLock) {
    std::vector<std::pair<std::string, bool>> free;
    platform.onLog([&](const LogLine &line) {
        free.emplace_back(line.text.substr(0, line.text.find(' ')),
                          othersCanLock(m_sourceAPICallbackDataMutex));
    });
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::UnregisterSourceAPICallback(&p);
    EXPECT_THAT(free,
                ElementsAre(Pair("RegisterSourceAPICallback", true), Pair("[Register", false),
                            Pair("UnregisterSourceAPICallback", true), Pair("[Unregister", false)));
}

// An announcement on another thread whose callback stays until told to end.
class LongAnnouncement {
 public:
    LongAnnouncement() {
        CSourceAPI::RegisterSourceAPICallback(run, &m_stay);
        m_thread = std::thread([] { CSourceAPI::m_NotifySourceListChanged(1); });
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
            told.emplace_back("long", value);
        }
    };
    std::thread m_thread;
};

TEST_F(NotificationTest, AnnouncementsOfTwoThreadsFollowOneAnother) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    LongAnnouncement announcement;
    Event arrived;
    platform.onLog([&](const LogLine &line) {
        if (line.text == "m_NotifySourceListChanged") {
            arrived.set();
        }
    });
    std::thread other([] { CSourceAPI::m_NotifySourceListChanged(2); });
    EXPECT_TRUE(arrived.wait());
    announcement.end();
    other.join();
    EXPECT_THAT(told, ElementsAre(Pair("first", 1), Pair("long", 1), Pair("first", 2)));
    EXPECT_EQ(platform.count(errorPriority, "already notifying"), 0);
}

TEST_F(NotificationTest, UnregisteringWaitsForTheCallbacksOfAnotherThread) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    LongAnnouncement announcement;
    Event arrived;
    platform.onLog([&](const LogLine &line) {
        if (line.text == "UnregisterSourceAPICallback") {
            arrived.set();
        }
    });
    std::thread other([this] {
        CSourceAPI::UnregisterSourceAPICallback(&p);
        told.emplace_back("unregistered", 0);
    });
    EXPECT_TRUE(arrived.wait());
    announcement.end();
    other.join();
    EXPECT_THAT(told, ElementsAre(Pair("first", 1), Pair("long", 1), Pair("unregistered", 0)));
}

TEST_F(NotificationTest, ExceptionOfACallbackLeavesAnnouncingPossible) {
    std::function<void(int)> fail = [](int value) {
        if (value == 1) {
            throw std::runtime_error("callback");
        }
    };
    CSourceAPI::RegisterSourceAPICallback(run, &fail);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    EXPECT_THROW(CSourceAPI::m_NotifySourceListChanged(1), std::runtime_error);
    EXPECT_TRUE(othersCanLock(m_sourceAPICallbackDataMutex));
    CSourceAPI::m_NotifySourceListChanged(2);
    EXPECT_THAT(told, ElementsAre(Pair("first", 2)));
    EXPECT_EQ(platform.count(errorPriority, "already notifying"), 0);
}

// Announcing inside a callback.

TEST_F(NotificationTest, FirstReadInsideACallbackIsAnnouncedInAFurtherRound) {
    service.replyWithError("test.Error.Refused", "not today");
    std::string list;
    std::function<void(int)> read = [&](int value) {
        told.emplace_back("reader", value);
        service.reply(R"({"return_data":[3]})");
        list = readText();
    };
    CSourceAPI::RegisterSourceAPICallback(run, &read);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change(R"("")", 5);
    EXPECT_EQ(list, "[\t3]");
    EXPECT_THAT(told, ElementsAre(Pair("reader", 5), Pair("first", 5), Pair("reader", 0),
                                  Pair("first", 0)));
    EXPECT_EQ(service.countOf("UtilGetSourceList"), 2);
}

TEST_F(NotificationTest, AnnouncementInsideACallbackLogsItsEntryAndThatOneIsRunning) {
    std::function<void(int)> again = [&](int value) {
        if (value == 1) {
            platform.clearLog();
            CSourceAPI::m_NotifySourceListChanged(2);
            EXPECT_THAT(platform.log(),
                        ElementsAre(Info("m_NotifySourceListChanged"), Error("already notifying")));
            EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "m_NotifySourceListChanged")));
        }
    };
    CSourceAPI::RegisterSourceAPICallback(run, &again);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::m_NotifySourceListChanged(1);
    EXPECT_THAT(told, ElementsAre(Pair("first", 1), Pair("first", 2)));
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("m_NotifySourceListChanged"), Error("already notifying"),
                            Info("callback " + shown(first)), Info("pUserData " + shown(&p)),
                            Info("callback " + shown(run)), Info("pUserData " + shown(&again)),
                            Info("callback " + shown(first)), Info("pUserData " + shown(&p))));
}

TEST_F(NotificationTest, SignalHandledInsideACallbackIsAnnouncedInAFurtherRound) {
    std::vector<std::string> lists;
    std::function<void(int)> iterate = [&](int value) {
        told.emplace_back("iterating", value);
        if (value == 1) {
            change("[2]", 2);
        }
        lists.push_back(readText());
    };
    CSourceAPI::RegisterSourceAPICallback(run, &iterate);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    change("[1]", 1);
    EXPECT_THAT(told, ElementsAre(Pair("iterating", 1), Pair("first", 1), Pair("iterating", 2),
                                  Pair("first", 2)));
    EXPECT_THAT(lists, ElementsAre("[\t2]", "[\t2]"));
    EXPECT_EQ(platform.count(errorPriority, "already notifying"), 1);
    EXPECT_EQ(platform.count(infoPriority, "Done"), 2);
    EXPECT_TRUE(CSourceAPI::m_bNotified);
}

TEST_F(NotificationTest, EveryValueFromInsideACallbackHasARoundOfItsOwn) {
    std::function<void(int)> countDown = [&](int value) {
        if (value == 3) {
            CSourceAPI::m_NotifySourceListChanged(2);
            CSourceAPI::m_NotifySourceListChanged(1);
        }
        if (value == 2) {
            CSourceAPI::m_NotifySourceListChanged(0);
        }
    };
    CSourceAPI::RegisterSourceAPICallback(run, &countDown);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::m_NotifySourceListChanged(3);
    EXPECT_THAT(
        told, ElementsAre(Pair("first", 3), Pair("first", 2), Pair("first", 1), Pair("first", 0)));
}

TEST_F(NotificationTest, FurtherRoundRunsBeforeTheLockIsReleased) {
    std::vector<std::pair<int, bool>> lockFree;
    std::function<void(int)> look = [&](int value) {
        lockFree.emplace_back(value, othersCanLock(m_sourceAPICallbackDataMutex));
        if (value == 1) {
            CSourceAPI::m_NotifySourceListChanged(2);
        }
    };
    CSourceAPI::RegisterSourceAPICallback(run, &look);
    // Every line between the two rounds is written under the lock, too.
    bool freeBetween = false;
    platform.onLog([&](const LogLine &line) {
        if (line.text.rfind("callback ", 0) == 0) {
            freeBetween = freeBetween || othersCanLock(m_sourceAPICallbackDataMutex);
        }
    });
    CSourceAPI::m_NotifySourceListChanged(1);
    EXPECT_THAT(lockFree, ElementsAre(Pair(1, false), Pair(2, false)));
    EXPECT_FALSE(freeBetween);
    EXPECT_TRUE(othersCanLock(m_sourceAPICallbackDataMutex));
}

}  // namespace
