// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The same single call made with other D-Bus libraries and over another broker, for those who
// choose one.
#include <sdbus-c++/sdbus-c++.h>
#include <systemd/sd-bus.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>

#include "Benchmarks.h"
#include "Bus.h"
#include "ByHand.h"

namespace {

struct Unref {
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
        const std::unique_ptr<sd_bus_message, Unref> reply(answer);
        const char *text = nullptr;
        return sd_bus_message_read(reply.get(), "suss", nullptr, nullptr, nullptr, &text) > 0 &&
               parsed(text)["return_data"].asBool();
    }

 private:
    std::unique_ptr<sd_bus, Unref> m_bus;
};

class Binding {
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
    const ByHand there(connectionTo(broker.address()));
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
        std::fprintf(stderr, "one_call/dbus-broker is left out: %s\n", exception.what());
        return false;
    }
}

}  // namespace

void addOtherLibraryBenchmarks(const Plan &plan) {
    add(plan, "one_call/sd-bus", 2000, oneCall<SdBus>);
    add(plan, "one_call/sdbus-c++", 2000, oneCall<Binding>);
    if (canStartBroker()) {
        add(plan, "one_call/dbus-broker", 2000, oneCallOverBroker);
    }
}
