// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "GLibSpy.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <utility>

namespace {

template <class Function>
Function next(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

std::string orEmpty(const char *text) {
    return text != nullptr ? text : "";
}

std::string printed(GVariant *value) {
    if (value == nullptr) {
        return "";
    }
    char *const text = g_variant_print(value, TRUE);
    std::string copy(text);
    g_free(text);
    return copy;
}

std::string typeText(const GVariantType *type) {
    if (type == nullptr) {
        return "";
    }
    return {g_variant_type_peek_string(type), g_variant_type_get_string_length(type)};
}

}  // namespace

GLibSpy &GLibSpy::get() {
    // Never destroyed: GLib reads the clock while the process exits.
    static auto &spy = *new GLibSpy;
    return spy;
}

std::vector<BusCall> GLibSpy::callsOf(const std::string &method) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<BusCall> found;
    for (const BusCall &call : m_calls) {
        if (call.method == method) {
            found.push_back(call);
        }
    }
    return found;
}

void GLibSpy::answerCalls(Answer answer) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_answer = std::move(answer);
}

void GLibSpy::refuseConnections() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_refusing = true;
}

void GLibSpy::watch() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_watching = true;
    m_readings.clear();
    m_wakeUps.clear();
}

std::vector<gint64> GLibSpy::clockReadings() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_readings;
}

std::vector<GLibSpy::WakeUp> GLibSpy::wakeUpsOf(const GCond *condition) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_wakeUps.find(condition);
    return found != m_wakeUps.end() ? found->second : std::vector<WakeUp>();
}

void GLibSpy::onClockReading(std::function<void()> observer) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_readingObserver = std::move(observer);
}

void GLibSpy::onHandleOfThread(std::function<void(GThread *)> observer) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_handleObserver = std::move(observer);
}

GLibSpy::Answer GLibSpy::answerTo(BusCall call) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.push_back(std::move(call));
    return m_answer;
}

bool GLibSpy::refusesConnections() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_refusing;
}

void GLibSpy::noteClock(gint64 now) {
    std::function<void()> observer;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_watching) {
            return;
        }
        m_readings.push_back(now);
        observer = m_readingObserver;
    }
    if (observer) {
        observer();
    }
}

void GLibSpy::noteWakeUp(const GCond *condition, WakeUp wakeUp) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_watching) {
        m_wakeUps[condition].push_back(wakeUp);
    }
}

void GLibSpy::noteHandle(GThread *thread) {
    std::function<void(GThread *)> observer;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        observer = m_handleObserver;
    }
    if (observer) {
        observer(thread);
    }
}

ExpectedCritical::ExpectedCritical()
    : m_handler(g_log_set_handler(
          "GLib-GIO", G_LOG_LEVEL_CRITICAL,
          [](const char * /*domain*/, GLogLevelFlags /*level*/, const char * /*text*/,
             gpointer reports) { ++*static_cast<int *>(reports); },
          &m_reports)) {}

ExpectedCritical::~ExpectedCritical() {
    g_log_remove_handler("GLib-GIO", m_handler);
    EXPECT_GE(m_reports, 1);
}

extern "C" {

GVariant *g_dbus_connection_call_sync(GDBusConnection *connection, const gchar *bus_name,
                                      const gchar *object_path, const gchar *interface_name,
                                      const gchar *method_name, GVariant *parameters,
                                      const GVariantType *reply_type, GDBusCallFlags flags,
                                      gint timeout_msec, GCancellable *cancellable,
                                      GError **error) {
    static const auto real = next<decltype(&g_dbus_connection_call_sync)>(__func__);
    const GLibSpy::Answer answer = GLibSpy::get().answerTo(
        {connection, orEmpty(bus_name), object_path, orEmpty(interface_name), method_name,
         printed(parameters), typeText(reply_type), flags, timeout_msec, cancellable});
    if (answer) {
        if (parameters != nullptr) {
            // As GDBus does: a new value is the call's to release.
            g_variant_unref(g_variant_ref_sink(parameters));
        }
        return answer(error);
    }
    return real(connection, bus_name, object_path, interface_name, method_name, parameters,
                reply_type, flags, timeout_msec, cancellable, error);
}

GDBusConnection *g_bus_get_sync(GBusType bus_type, GCancellable *cancellable, GError **error) {
    static const auto real = next<decltype(&g_bus_get_sync)>(__func__);
    return GLibSpy::get().refusesConnections() ? nullptr : real(bus_type, cancellable, error);
}

gint64 g_get_monotonic_time() {
    static const auto real = next<decltype(&g_get_monotonic_time)>(__func__);
    const gint64 now = real();
    GLibSpy::get().noteClock(now);
    return now;
}

GThread *g_thread_self() {
    static const auto real = next<decltype(&g_thread_self)>(__func__);
    GThread *const self = real();
    GLibSpy::get().noteHandle(self);
    return self;
}

void g_cond_signal(GCond *cond) {
    static const auto real = next<decltype(&g_cond_signal)>(__func__);
    GLibSpy::get().noteWakeUp(cond, GLibSpy::WakeUp::one);
    real(cond);
}

void g_cond_broadcast(GCond *cond) {
    static const auto real = next<decltype(&g_cond_broadcast)>(__func__);
    GLibSpy::get().noteWakeUp(cond, GLibSpy::WakeUp::all);
    real(cond);
}

}  // extern "C"
