// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Calls of the service: connect_source against the same two calls by hand; and a single call by
// hand against other D-Bus libraries and another message broker.
#include <sdbus-c++/sdbus-c++.h>
#include <systemd/sd-bus.h>

#include <atomic>
#include <cstdio>
#include <exception>
#include <memory>
#include <thread>
#include <vector>

#include "BenchmarkBus.h"
#include "ByHand.h"
#include "Harness.h"
#include "sourcelist-dotnet-api.h"

namespace bench {

namespace {

constexpr int sourceType = 3;

void inThreads(int threads, int calls, const std::function<bool()> &call) {
    std::atomic<bool> done{true};
    std::vector<std::thread> running;
    running.reserve(static_cast<std::size_t>(threads));
    for (int number = 0; number < threads; ++number) {
        running.emplace_back([&] {
            for (int turn = 0; turn < calls; ++turn) {
                if (!call()) {
                    done = false;
                }
            }
        });
    }
    for (std::thread &thread : running) {
        thread.join();
    }
    require(done, "a source was not connected");
}

void sequential(benchmark::State &state) {
    const ByHand hand;
    compare(
        state, 1.05, [] { require(connect_source(sourceType), "connect_source"); },
        [&] { require(hand.connectSource(sourceType), "connecting by hand"); });
}

// The ratio compares the time for the same number of calls, so a throughput of 0.95 is 1 / 0.95.
void concurrent(benchmark::State &state, int threads, int calls) {
    const ByHand hand;
    compare(
        state, 1 / 0.95,
        [&] { inThreads(threads, calls, [] { return connect_source(sourceType); }); },
        [&] { inThreads(threads, calls, [&] { return hand.connectSource(sourceType); }); });
    state.counters["throughput"] =
        state.counters["baseline_ns"].value / state.counters["work_ns"].value;
}

struct SdBusRelease {
    void operator()(sd_bus *bus) const { sd_bus_flush_close_unref(bus); }
    void operator()(sd_bus_message *message) const { sd_bus_message_unref(message); }
};

class SdBus {
 public:
    SdBus() {
        sd_bus *bus = nullptr;
        require(sd_bus_open_system(&bus) >= 0, "sd-bus: no bus");
        m_bus.reset(bus);
    }

    bool send(const std::string &request) const {
        sd_bus_message *answer = nullptr;
        if (sd_bus_call_method(m_bus.get(), "source_service.message", "/source_service/message",
                               "source_service.message", "SendMessage", nullptr, &answer, "suss",
                               "source_api", 0U, "", request.c_str()) < 0) {
            return false;
        }
        const std::unique_ptr<sd_bus_message, SdBusRelease> reply(answer);
        const char *text = nullptr;
        return sd_bus_message_read(reply.get(), "suss", nullptr, nullptr, nullptr, &text) > 0 &&
               parsed(text)["return_data"].asBool();
    }

 private:
    std::unique_ptr<sd_bus, SdBusRelease> m_bus;
};

class SdBusCxx {
 public:
    bool send(const std::string &request) const {
        sdbus::MethodCall call = m_proxy->createMethodCall("source_service.message", "SendMessage");
        call << "source_api" << 0U << "" << request;
        sdbus::MethodReply reply = m_proxy->callMethod(call);
        std::string sender;
        std::uint32_t number = 0;
        std::string auxText;
        std::string text;
        reply >> sender >> number >> auxText >> text;
        return parsed(text.c_str())["return_data"].asBool();
    }

 private:
    std::unique_ptr<sdbus::IConnection> m_connection = sdbus::createSystemBusConnection();
    std::unique_ptr<sdbus::IProxy> m_proxy =
        sdbus::createProxy(*m_connection, "source_service.message", "/source_service/message");
};

template <class Library>
void oneCall(benchmark::State &state) {
    const std::string request = connectRequest(3);
    const ByHand hand;
    const Library library;
    compare(
        state, 0, [&] { require(library.send(request), "a call"); },
        [&] { require(hand.send(request), "a call by hand"); });
    state.counters.erase("at_most");
}

void oneCallOverBroker(benchmark::State &state) {
    const std::string request = connectRequest(3);
    const ByHand hand;
    const Broker broker;
    const ByHand there(support::connectTo(broker.address()));
    compare(
        state, 0, [&] { require(there.send(request), "a call over dbus-broker"); },
        [&] { require(hand.send(request), "a call by hand"); });
    state.counters.erase("at_most");
}

bool canStartBroker() {
    try {
        const Broker broker;
        return true;
    } catch (const std::exception &exception) {
        std::fprintf(stderr, "one_call/dbus-broker is skipped: %s\n", exception.what());
        return false;
    }
}

}  // namespace

void addCallBenchmarks(const Plan &plan) {
    add(plan, "connect_source", 2000, sequential);
    for (const int threads : {1, 2, 4, 8}) {
        const int calls = plan.quick ? 1 : 160 / threads;
        add(plan, "connect_source/threads:" + std::to_string(threads), 41,
            [=](benchmark::State &state) { concurrent(state, threads, calls); });
    }
}

void addOtherLibraryBenchmarks(const Plan &plan) {
    add(plan, "one_call/sd-bus", 2000, oneCall<SdBus>);
    add(plan, "one_call/sdbus-c++", 2000, oneCall<SdBusCxx>);
    if (canStartBroker()) {
        add(plan, "one_call/dbus-broker", 2000, oneCallOverBroker);
    }
}

}  // namespace bench
