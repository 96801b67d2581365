// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "GLibSpy.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <utility>

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

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

// The last reading of the clock on this thread.
thread_local gint64 lastReading = 0;

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
    m_timedWaits.clear();
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

std::vector<GLibSpy::TimedWait> GLibSpy::timedWaits() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_timedWaits;
}

void GLibSpy::replaceTimedWaits(const GCond *condition, Wait wait) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_replacedCondition = condition;
    m_wait = std::move(wait);
}

void GLibSpy::advanceClock(gint64 microseconds) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_clockAdvance = microseconds;
}

void GLibSpy::onWakeUp(std::function<void(const GCond *)> observer) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_wakeUpObserver = std::move(observer);
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

gint64 GLibSpy::noteClock(gint64 now) {
    std::function<void()> observer;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        now += m_clockAdvance;
        if (!m_watching) {
            return now;
        }
        lastReading = now;
        m_readings.push_back(now);
        observer = m_readingObserver;
    }
    if (observer) {
        observer();
    }
    return now;
}

GLibSpy::Wait GLibSpy::noteTimedWait(const GCond *condition, gint64 deadline) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (condition != m_replacedCondition) {
        return nullptr;
    }
    m_timedWaits.push_back({lastReading, deadline});
    return m_wait;
}

gint64 GLibSpy::clockAdvance() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_clockAdvance;
}

void GLibSpy::noteWakeUp(const GCond *condition, WakeUp wakeUp) {
    std::function<void(const GCond *)> observer;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_watching) {
            m_wakeUps[condition].push_back(wakeUp);
        }
        observer = m_wakeUpObserver;
    }
    if (observer) {
        observer(condition);
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
    return GLibSpy::get().noteClock(real());
}

gboolean g_cond_wait_until(GCond *cond, GMutex *mutex, gint64 end_time) {
    static const auto real = next<decltype(&g_cond_wait_until)>(__func__);
    const GLibSpy::Wait wait = GLibSpy::get().noteTimedWait(cond, end_time);
    if (wait) {
        return wait(mutex);
    }
    const gint64 deadline = end_time - GLibSpy::get().clockAdvance();
#ifdef __SANITIZE_THREAD__
    // As in GLibLocks.cpp, whose form of this function gives way to this one.
    __tsan_release(mutex);
    const gboolean signalled = real(cond, mutex, deadline);
    __tsan_acquire(mutex);
    return signalled;
#else
    return real(cond, mutex, deadline);
#endif
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
