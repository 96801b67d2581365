// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The use of the public classes by applications. Most of it is checked at compile time.
#include <gtest/gtest.h>

#include <type_traits>

#include "SourceAPI.h"
#include "SourceTCHandler.h"
#include "SourceTCMessage.h"
#include "SourceTCServer.h"

namespace {

// Whether the expression `Member` is valid for the class T.
template <template <class> class Member, class T, class = void>
struct IsAccessible : std::false_type {};
template <template <class> class Member, class T>
struct IsAccessible<Member, T, std::void_t<Member<T>>> : std::true_type {};

template <class T>
using Connection = decltype(T::dBusHandler);
template <class T>
using Subscribed = decltype(T::m_bHasSubscribedForEvent);
template <class T>
using ListCache = decltype(T::m_sourceItemArray);
template <class T>
using NameCache = decltype(T::m_SourceDataMap);
template <class T>
using Registrations = decltype(T::m_sourceAPICallbackData);
template <class T>
using Request = decltype(&T::m_SendMessageSync);
template <class T>
using Announce = decltype(&T::m_NotifySourceListChanged);
template <class T>
using Handler = decltype(&T::m_OnFunctionCallBack);
template <class T>
using BusConnectionOf = decltype(T::m_Connection);
template <class T>
using Name = decltype(T::API_NAME);

TEST(PublicInterfaceTest, OnlyTheClientItselfCanMakeAClient) {
    static_assert(!std::is_default_constructible_v<CSourceAPI>);
    static_assert(!std::is_destructible_v<CSourceAPI>);
    static_assert(!std::is_copy_constructible_v<CSourceAPI>);
    static_assert(!std::is_copy_assignable_v<CSourceAPI>);
    static_assert(std::is_same_v<decltype(&CSourceAPI::Get), CSourceAPI *(*)()>);
}

TEST(PublicInterfaceTest, MembersOfTheClientAndTheEndpointArePrivate) {
    static_assert(!IsAccessible<Connection, CSourceAPI>::value);
    static_assert(!IsAccessible<Subscribed, CSourceAPI>::value);
    static_assert(!IsAccessible<ListCache, CSourceAPI>::value);
    static_assert(!IsAccessible<NameCache, CSourceAPI>::value);
    static_assert(!IsAccessible<Registrations, CSourceAPI>::value);
    static_assert(!IsAccessible<Request, CSourceAPI>::value);
    static_assert(!IsAccessible<Announce, CSourceAPI>::value);
    static_assert(!IsAccessible<Handler, CSourceAPI>::value);
    static_assert(!IsAccessible<BusConnectionOf, SourceTCServer>::value);
    static_assert(IsAccessible<Name, CSourceAPI>::value);
}

TEST(PublicInterfaceTest, NameOfTheInterfaceIsSource) {
    static_assert(std::is_same_v<decltype(CSourceAPI::API_NAME), const char *>);
    EXPECT_STREQ(CSourceAPI::API_NAME, "Source");
}

TEST(PublicInterfaceTest, LocksOfTheClientAreGlobals) {
    static_assert(std::is_same_v<decltype(::m_sourceUtilMutex), std::recursive_mutex>);
    static_assert(std::is_same_v<decltype(::m_sourceAPICallbackDataMutex), std::mutex>);
    EXPECT_TRUE(m_sourceUtilMutex.try_lock());
    EXPECT_TRUE(m_sourceAPICallbackDataMutex.try_lock());
    m_sourceAPICallbackDataMutex.unlock();
    m_sourceUtilMutex.unlock();
}

TEST(PublicInterfaceTest, EndpointKindIsAnyInt) {
    using Type = SourceTCServer::SourceTCServerType;
    static_assert(std::is_same_v<std::underlying_type_t<Type>, int>);
    static_assert(SourceTCServer::PROXY == 2);
    EXPECT_EQ(static_cast<int>(static_cast<Type>(-77)), -77);
}

TEST(PublicInterfaceTest, SubscriptionIsAPlainPublicRecord) {
    using Callback = void (*)(const char *, const char *, SourceTCMessage *, void *);
    const SourceTCServer::STSignalControl control{"name", nullptr, nullptr, 5};
    static_assert(std::is_same_v<decltype(control.callback), Callback>);
    EXPECT_EQ(control.subscriptionId, 5U);
}

TEST(PublicInterfaceTest, RegistrationIsAPlainRecord) {
    int userData = 0;
    const STSourceAPICallbackData data{
        [](int value, void *target) { *static_cast<int *>(target) = value; }, &userData};
    const STSourceAPICallbackData copy = data;
    copy.apiCallback(5, copy.pUserData);
    EXPECT_EQ(userData, 5);
}

TEST(PublicInterfaceTest, MessagesAreReadAndWrittenThroughTheirMembers) {
    SourceTCMessage message;
    message.m_JsonRoot["method"] = "name";
    message.m_AuxNumber = 5;
    message.m_AuxText = "aux";
    EXPECT_EQ(message.GetMessage(), SourceTCMessage(message).m_Message);
    static_assert(std::has_virtual_destructor_v<SourceTCData>);
    static_assert(std::has_virtual_destructor_v<SourceTCServer>);
}

TEST(PublicInterfaceTest, InfinityIsAllBits) {
    static_assert(std::is_same_v<decltype(TKestrel_INFINITY), const unsigned int>);
    EXPECT_EQ(TKestrel_INFINITY, 0xFFFFFFFFU);
}

}  // namespace
