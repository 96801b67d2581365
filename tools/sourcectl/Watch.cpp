// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <glib-unix.h>

#include <csignal>
#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "BusConnection.h"
#include "Commands.h"
#include "JsonText.h"

namespace sourcectl {

namespace {

Failure lostBus() {
    return Failure("the connection to the system bus was lost");
}

// The library uses the same connection.
support::Connection openBus() {
    support::Connection bus;
    try {
        bus = support::sharedSystemBus();
    } catch (const std::runtime_error &) {
        throw lostBus();
    }
    if (g_dbus_connection_is_closed(bus.get()) != FALSE) {
        throw lostBus();
    }
    return bus;
}

// Removes a source from the default main context.
class EventSource {
 public:
    explicit EventSource(guint id) : m_id(id) {}
    ~EventSource() { g_source_remove(m_id); }
    EventSource(const EventSource &) = delete;
    EventSource &operator=(const EventSource &) = delete;

 private:
    guint m_id;
};

class Watch {
 public:
    explicit Watch(const Arguments &arguments);
    ~Watch();
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

    void run();

 private:
    void printStart() const;
    void printChange(int result);
    void stop() { g_main_loop_quit(m_loop.get()); }
    void fail(std::exception_ptr failure);

    static void onListChanged(int result, void *self);
    static void onBusClosed(GDBusConnection *bus, gboolean byPeer, GError *error, void *self);
    static gboolean onInterrupt(void *self);
    static gboolean onTimeout(void *self);

    const Arguments &m_arguments;
    SourceList m_sources;
    guint m_changes = 0;
    bool m_timedOut = false;
    std::exception_ptr m_failure;

    support::Owner<GMainLoop> m_loop;
    support::Connection m_bus;
    gulong m_closedHandler;
    EventSource m_interrupt;
    EventSource m_termination;
};

// Reading the list first reports an unreachable service before anything is printed.
Watch::Watch(const Arguments &arguments)
    : m_arguments(arguments),
      m_sources(readSourceList()),
      m_loop(g_main_loop_new(nullptr, FALSE)),
      m_bus(openBus()),
      m_closedHandler(g_signal_connect(m_bus.get(), "closed", G_CALLBACK(onBusClosed), this)),
      m_interrupt(g_unix_signal_add(SIGINT, onInterrupt, this)),
      m_termination(g_unix_signal_add(SIGTERM, onInterrupt, this)) {
    CSourceAPI::RegisterSourceAPICallback(onListChanged, this);
}

Watch::~Watch() {
    CSourceAPI::UnregisterSourceAPICallback(this);
    g_signal_handler_disconnect(m_bus.get(), m_closedHandler);
}

void Watch::run() {
    printStart();
    std::optional<EventSource> timeout;
    if (m_arguments.timeoutSeconds) {
        timeout.emplace(g_timeout_add(*m_arguments.timeoutSeconds * 1000, onTimeout, this));
    }
    g_main_loop_run(m_loop.get());
    if (m_failure) {
        std::rethrow_exception(m_failure);
    }
    if (m_timedOut && m_changes < m_arguments.count.value_or(0)) {
        throw Failure("only " + std::to_string(m_changes) + " of " +
                      std::to_string(*m_arguments.count) + " changes arrived within " +
                      std::to_string(*m_arguments.timeoutSeconds) + " seconds");
    }
}

void Watch::printStart() const {
    if (m_arguments.json) {
        Json::Value start;
        start["sources"] = toJson(m_sources);
        print(support::jsonLineUtf8(start));
    } else {
        print("watching " + std::to_string(m_sources.size()) +
              (m_sources.size() == 1 ? " source" : " sources"));
    }
}

void Watch::printChange(int result) {
    SourceList sources = readSourceList();
    const Difference difference = differenceBetween(m_sources, sources);
    m_sources = std::move(sources);
    if (difference.isEmpty()) {
        return;
    }
    if (m_arguments.json) {
        Json::Value change = toJson(difference);
        change["result"] = result;
        print(support::jsonLineUtf8(change));
    } else {
        for (const std::string &line : describe(difference)) {
            print(line);
        }
    }
    ++m_changes;
    if (m_changes == m_arguments.count) {
        stop();
    }
}

void Watch::fail(std::exception_ptr failure) {
    m_failure = std::move(failure);
    stop();
}

// More notifications may be queued when the first one stops the loop. The library does not allow
// exceptions in callbacks.
void Watch::onListChanged(int result, void *self) {
    auto *watch = static_cast<Watch *>(self);
    if (g_main_loop_is_running(watch->m_loop.get()) == FALSE) {
        return;
    }
    try {
        watch->printChange(result);
    } catch (...) {
        watch->fail(std::current_exception());
    }
}

void Watch::onBusClosed(GDBusConnection * /*bus*/, gboolean /*byPeer*/, GError * /*error*/,
                        void *self) {
    static_cast<Watch *>(self)->fail(std::make_exception_ptr(lostBus()));
}

gboolean Watch::onInterrupt(void *self) {
    static_cast<Watch *>(self)->stop();
    return G_SOURCE_CONTINUE;
}

gboolean Watch::onTimeout(void *self) {
    auto *watch = static_cast<Watch *>(self);
    watch->m_timedOut = true;
    watch->stop();
    return G_SOURCE_CONTINUE;
}

}  // namespace

void watchSources(const Arguments &arguments) {
    Watch(arguments).run();
}

}  // namespace sourcectl
