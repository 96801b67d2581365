// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The client's caches: reading the list as text and as records, looking up a name, and processing
// a change signal.
#include <cstdlib>
#include <utility>

#include "ByHand.h"
#include "Harness.h"
#include "ServiceData.h"
#include "SourceAPI.h"
#include "SourceApiPeer.h"
#include "StubPlatform.h"
#include "source_api.h"
#include "sourcelist-dotnet-api.h"

namespace bench {

namespace {

constexpr int listSizes[] = {10, 30, 100, 1000, 10000};

void listAsText(benchmark::State &state, int sources) {
    const Json::Value list = sourceList(sources);
    ClientPeer::updateCaches(sourceList(sources));
    compareCost(
        state, 1.15, 1, [] { std::free(get_source_list()); }, [&] { std::free(listText(list)); });
}

void listAsRecords(benchmark::State &state, int sources) {
    const Json::Value list = sourceList(sources);
    ClientPeer::updateCaches(sourceList(sources));
    compareCost(
        state, 1.35, 1,
        [] { require(sourceapi_get_sourcelist(releaseRecord), "sourceapi_get_sourcelist"); },
        [&] { listRecords(list, releaseRecord); });
}

constexpr int lookups = 1000;

void nameLookup(benchmark::State &state, int entries) {
    const std::string document = namesDocument(entries);
    setStoredNames(document);
    CSourceAPI::Get();
    ClientPeer::updateNames();
    const SourceNames names = readNames(document);
    // Ten names distributed over the map, as the cost of one depends on where its nodes are
    // allocated.
    int turn = 0;
    const auto nextType = [&turn, entries] {
        turn = (turn + 1) % 10;
        return 1 + turn * (entries / 10);
    };
    const auto release = [](char *name) {
        require(name != nullptr, "no name");
        std::free(name);
    };
    compareCost(
        state, 2, lookups, [&] { release(get_edit_name(nextType(), 0)); },
        [&] { release(nameOf(names, nextType(), 0)); });
    setStoredNames("[]");
    ClientPeer::updateNames();
}

int callbackCalls = 0;

void count(int /*value*/, void * /*userData*/) {
    ++callbackCalls;
}

// As an application would implement it: store the list, and notify if it differs.
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

// From the dispatch of the queued signal until the callback returns.
void signalToCallback(benchmark::State &state, int sources) {
    const std::string texts[] = {changeText(sources, 0), changeText(sources, 1)};
    const HandSubscriber subscriber;
    register_sourcelist_changed_callback(count, nullptr);
    settleSubscriptions();
    const Emitter emitter;
    const int before = callbackCalls;
    int generation = 0;
    const auto measure = [&](const char *member) {
        emitter.emit(member, texts[generation]);
        return processorSecondsOf(deliver);
    };
    compareTimes(
        state, 1.45,
        [&] {
            generation = 1 - generation;
            return measure(librarySignal);
        },
        [&] { return measure(handSignal); });
    unregister_sourcelist_changed_callback(nullptr);
    require(callbackCalls > before, "no change was notified");
}

}  // namespace

void addCacheBenchmarks(const Plan &plan) {
    for (const int sources : listSizes) {
        const std::string size = "/sources:" + std::to_string(sources);
        const int iterations = std::max(7, 20000 / sources);
        add(plan, "get_source_list" + size, iterations,
            [=](benchmark::State &state) { listAsText(state, sources); });
        add(plan, "sourceapi_get_sourcelist" + size, iterations,
            [=](benchmark::State &state) { listAsRecords(state, sources); });
    }
    for (const int sources : listSizes) {
        add(plan, "change_signal/sources:" + std::to_string(sources), std::max(7, 20000 / sources),
            [=](benchmark::State &state) { signalToCallback(state, sources); });
    }
    for (const int entries : {10, 1000, 100000}) {
        add(plan, "get_edit_name/entries:" + std::to_string(entries), 300,
            [=](benchmark::State &state) { nameLookup(state, entries); });
    }
}

}  // namespace bench
