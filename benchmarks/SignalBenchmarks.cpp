// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A change of the list: from the signal that waits in the main context to the callback's return.
#include <utility>

#include "Benchmarks.h"
#include "Lists.h"
#include "Signals.h"
#include "sourcelist-dotnet-api.h"

namespace {

int calls = 0;

void count(int /*value*/, void * /*userData*/) {
    ++calls;
}

// What an application would write: remember the list, and tell when it differs.
class HandSubscriber {
 public:
    HandSubscriber()
        : m_subscription(g_dbus_connection_signal_subscribe(
              m_hand.connection(), nullptr, nullptr, handSignal, nullptr, nullptr,
              G_DBUS_SIGNAL_FLAGS_NONE, handle, this, nullptr)) {}
    ~HandSubscriber() { g_dbus_connection_signal_unsubscribe(m_hand.connection(), m_subscription); }
    HandSubscriber(const HandSubscriber &) = delete;
    HandSubscriber &operator=(const HandSubscriber &) = delete;

 private:
    static void handle(GDBusConnection * /*connection*/, const char * /*sender*/,
                       const char * /*path*/, const char * /*interface*/, const char * /*signal*/,
                       GVariant *body, gpointer self) {
        Json::Value &last = static_cast<HandSubscriber *>(self)->m_last;
        Change change = readChange(body);
        if (last != change.list) {
            last = std::move(change.list);
            count(change.result, nullptr);
        }
    }

    ByHand m_hand;
    Json::Value m_last;
    guint m_subscription;
};

void toTheCallback(benchmark::State &state, int sources) {
    const std::string texts[] = {changeText(sources, 0), changeText(sources, 1)};
    const HandSubscriber subscriber;
    register_sourcelist_changed_callback(count, nullptr);
    settleSubscriptions();
    const Emitter emitter;
    const int before = calls;
    int generation = 0;
    const auto announce = [&](const char *member) {
        emitter.emit(member, texts[generation]);
        return processorSecondsOf(deliver);
    };
    compareTimes(
        state, 1.45,
        [&] {
            generation = 1 - generation;
            return announce(librarySignal);
        },
        [&] { return announce(handSignal); });
    unregister_sourcelist_changed_callback(nullptr);
    require(calls > before, "no change was told");
}

}  // namespace

void addSignalBenchmarks(const Plan &plan) {
    for (const int sources : listSizes) {
        add(plan, "change_signal/sources:" + std::to_string(sources), std::max(7, 20000 / sources),
            [=](benchmark::State &state) { toTheCallback(state, sources); });
    }
}
