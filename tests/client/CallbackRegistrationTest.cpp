// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Registering and unregistering change callbacks.
#include <string>
#include <utility>
#include <vector>

#include "LockState.h"
#include "NotificationTest.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class CallbackRegistrationTest : public NotificationTest {};

TEST_F(CallbackRegistrationTest, RegistrationIsAppended) {
    CSourceAPI::RegisterSourceAPICallback(second, &q);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    EXPECT_THAT(registrations(), ElementsAre(Registration(second, &q), Registration(first, &p)));
}

TEST_F(CallbackRegistrationTest, NullFunctionIsRefused) {
    CSourceAPI::RegisterSourceAPICallback(nullptr, &p);
    EXPECT_THAT(registrations(), IsEmpty());
}

TEST_F(CallbackRegistrationTest, NullUserDataIsRegisteredAndHandedBack) {
    static std::vector<void *> seen;
    CSourceAPI::RegisterSourceAPICallback([](int, void *data) { seen.push_back(data); }, nullptr);
    ClientPeer::announce(1);
    EXPECT_THAT(seen, ElementsAre(nullptr));
}

TEST_F(CallbackRegistrationTest, SameRegistrationTwiceIsCalledTwice) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    ClientPeer::announce(3);
    EXPECT_THAT(calls, ElementsAre(Pair("first", 3), Pair("first", 3)));
}

// Registering and unregistering make the client if there is none.
class FirstCallTest : public ClientTest {};

TEST_F(FirstCallTest, RegisteringMakesTheClient) {
    CSourceAPI::RegisterSourceAPICallback(first, nullptr);
    EXPECT_EQ(clientsMade(), 1U);
    EXPECT_EQ(ClientPeer::registrations().size(), 1U);
}

TEST_F(FirstCallTest, UnregisteringMakesTheClient) {
    CSourceAPI::UnregisterSourceAPICallback(nullptr);
    EXPECT_TRUE(ClientPeer::isSubscribed());
    EXPECT_EQ(clientsMade(), 1U);
}

TEST_F(FirstCallTest, NothingWasAnnouncedYet) {
    CSourceAPI::Get();
    EXPECT_FALSE(ClientPeer::hasAnnounced());
}

TEST_F(CallbackRegistrationTest, UnregisteringRemovesTheOldestRegistrationOfTheUserData) {
    CSourceAPI::RegisterSourceAPICallback(second, &q);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::RegisterSourceAPICallback(second, &p);
    CSourceAPI::RegisterSourceAPICallback(first, &q);
    CSourceAPI::UnregisterSourceAPICallback(&p);
    EXPECT_THAT(registrations(), ElementsAre(Registration(second, &q), Registration(second, &p),
                                             Registration(first, &q)));
}

TEST_F(CallbackRegistrationTest, UnregisteringOneOfTwoLeavesTheOther) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::UnregisterSourceAPICallback(&p);
    ClientPeer::announce(7);
    EXPECT_THAT(calls, ElementsAre(Pair("first", 7)));
}

TEST_F(CallbackRegistrationTest, NullUserDataIsSearchedForLikeAnyOther) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::RegisterSourceAPICallback(second, nullptr);
    CSourceAPI::UnregisterSourceAPICallback(nullptr);
    EXPECT_THAT(registrations(), ElementsAre(Registration(first, &p)));
}

TEST_F(CallbackRegistrationTest, UnknownUserDataIsIgnored) {
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::UnregisterSourceAPICallback(&q);
    EXPECT_THAT(registrations(), ElementsAre(Registration(first, &p)));
    EXPECT_TRUE(isFree(m_sourceAPICallbackDataMutex));
}

TEST_F(CallbackRegistrationTest, RegistrationsAreChangedUnderTheLock) {
    std::vector<std::pair<std::string, bool>> free;
    platform.onLog([&](const LogLine &line) {
        free.emplace_back(line.function, isFree(m_sourceAPICallbackDataMutex));
    });
    CSourceAPI::RegisterSourceAPICallback(first, &p);
    CSourceAPI::UnregisterSourceAPICallback(&p);
    EXPECT_THAT(free, ElementsAre(Pair("RegisterSourceAPICallback", true),
                                  Pair("RegisterSourceAPICallback", false),
                                  Pair("UnregisterSourceAPICallback", true),
                                  Pair("UnregisterSourceAPICallback", false)));
}

}  // namespace
