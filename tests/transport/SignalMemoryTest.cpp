// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A lack of memory while a signal is handled. Every allocation of this program can be made to fail,
// so its platform functions do not allocate.
#include <gmock/gmock.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "GLibOwners.h"
#include "Platform.h"
#include "SourceApiPeer.h"
#include "TestBus.h"

namespace {

constexpr int unlimited = -1;

// How many allocations of this thread still succeed before one fails.
thread_local int successesLeft = unlimited;
// How many bytes this thread may still allocate.
thread_local std::ptrdiff_t bytesLeft = PTRDIFF_MAX;

// The allocations of all threads that are not deleted yet.
std::atomic<long> liveAllocations{0};

// Set when the allocation is deleted.
std::atomic<const void *> watchedAllocation{nullptr};
std::atomic<bool> wasWatchedDeleted{false};

int exceptionLines = 0;

void *allocate(std::size_t size) {
    const bool fails = (successesLeft != unlimited && successesLeft-- == 0) ||
                       (bytesLeft -= static_cast<std::ptrdiff_t>(size)) < 0;
    void *const memory = fails ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    ++liveAllocations;
    return memory;
}

void release(void *memory) {
    if (memory == nullptr) {
        return;
    }
    if (memory == watchedAllocation) {
        wasWatchedDeleted = true;
    }
    --liveAllocations;
    std::free(memory);
}

}  // namespace

void *operator new(std::size_t size) {
    return allocate(size);
}
void *operator new[](std::size_t size) {
    return allocate(size);
}
// The address sanitizer's own form would not fit the operator delete below.
void *operator new(std::size_t size, const std::nothrow_t & /*tag*/) noexcept {
    try {
        return allocate(size);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}
void operator delete(void *memory) noexcept {
    release(memory);
}
void operator delete[](void *memory) noexcept {
    release(memory);
}
void operator delete(void *memory, std::size_t /*size*/) noexcept {
    release(memory);
}
void operator delete[](void *memory, std::size_t /*size*/) noexcept {
    release(memory);
}

extern "C" int __dlog_print(int /*logId*/, int priority, const char * /*tag*/, const char *format,
                            ...) {
    va_list arguments;
    va_start(arguments, format);
    char line[512];
    const int size = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (priority == 6 && std::strstr(line, "Exception occured! [std::bad_alloc]") != nullptr) {
        ++exceptionLines;
    }
    return size;
}

extern "C" char *vconf_get_str(const char * /*key*/) {
    return strdup(R"([{"SourceType":7,"EditName":"a name too long for the string itself"}])");
}

extern "C" int FerrelWaitEvent(const char * /*eventName*/, int /*timeout*/) {
    return 0;
}

std::string CSourceUtil::GetLagacySourceType(int /*sourceType*/) {
    return "----";
}

namespace {

support::Variant bodyOf(const std::string &text) {
    return support::sink(
        g_variant_new("(suss)", "source_service", 0, "an auxiliary text", text.c_str()));
}

class SignalMemoryTest : public testing::Test {
 protected:
    // Has `callback` called with the change signal, without a bus.
    void subscribe(SourceTCServer::SignalCallback callback) {
        peer.subscriptions[signal] =
            new SourceTCServer::STSignalControl{signal, callback, nullptr, 0};
    }
    ~SignalMemoryTest() override {
        for (const auto &[name, subscription] : peer.subscriptions) {
            delete subscription;
        }
        peer.subscriptions.clear();
    }

    void handle(const support::Variant &body) {
        EndpointPeer::handleSignal("sender", "/path", "interface", signal, body.get(), &endpoint);
    }

    // Handles the signal once for each of its allocations, and lets that one fail.
    int handleWithEachFailure(const support::Variant &body) {
        int failures = 0;
        for (bool happened = true; happened; ++failures) {
            successesLeft = failures;
            handle(body);
            happened = successesLeft == unlimited;
            successesLeft = unlimited;
        }
        return failures - 1;
    }

    // Too long for a string without an allocation.
    static constexpr const char *signal = "a_signal_with_a_long_name";
    SourceTCServer endpoint{"source_api", SourceTCServer::PROXY};
    EndpointPeer peer = peerOf(endpoint);
    const support::Variant small =
        bodyOf(R"({"return_data":[{"sourceType":3,"editName":"a long enough name"}],)"
               R"("data":{"result":5}})");
};

TEST_F(SignalMemoryTest, EachAllocationFailureIsLoggedAndLeaksNothing) {
    subscribe([](const char *, const char *, SourceTCMessage *, void *) {});
    // Fills the pools of reusable objects.
    handle(small);
    const long before = liveAllocations;
    const int failures = handleWithEachFailure(small);
    handle(small);
    EXPECT_GT(failures, 20);
    EXPECT_EQ(exceptionLines, failures);
    EXPECT_EQ(liveAllocations, before);
}

TEST_F(SignalMemoryTest, EachFailureInTheClientIsLoggedAndTheNextSignalIsHandled) {
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
    CSourceAPI::Get();
    subscribe(ClientPeer::signalCallback());
    handle(small);
    const int failures = handleWithEachFailure(small);
    EXPECT_GT(failures, 20);
    EXPECT_EQ(exceptionLines, failures);
    handle(bodyOf(R"({"return_data":[{"sourceType":4}]})"));
    EXPECT_EQ(ClientPeer::list()[0]["sourceType"].asInt(), 4);
}

TEST_F(SignalMemoryTest, ASignalOf30MegabytesThatNeedsTooMuchMemoryIsLogged) {
    constexpr std::size_t megabyte = 1000 * 1000;
    subscribe([](const char *, const char *, SourceTCMessage *, void *) {});
    // 15 million numbers.
    std::string text(30 * megabyte, ',');
    for (std::size_t digit = 0; digit < text.size(); digit += 2) {
        text[digit] = '0';
    }
    const support::Variant body = bodyOf(R"({"return_data":[)" + text + "0]}");
    // Fills the pools of reusable objects.
    handle(small);
    const long before = liveAllocations;
    bytesLeft = 150 * megabyte;
    handle(body);
    bytesLeft = PTRDIFF_MAX;
    handle(small);
    EXPECT_EQ(exceptionLines, 1);
    EXPECT_EQ(liveAllocations, before);
}

TEST_F(SignalMemoryTest, ASecondSubscriptionDoesNotDeleteTheRecordOfTheFirst) {
    const TestBus bus;
    ASSERT_EQ(endpoint.CreateDBusProxy(), 1);
    ASSERT_EQ(endpoint.SubscribeSignal("change", nullptr, nullptr), 1);
    watchedAllocation = peer.subscriptions["change"];
    ASSERT_EQ(endpoint.SubscribeSignal("change", nullptr, nullptr), 1);
    EXPECT_NE(peer.subscriptions["change"], watchedAllocation);
    endpoint.CloseDBusProxy();
    EXPECT_FALSE(wasWatchedDeleted);
}

}  // namespace
