// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Records the calls that the library makes to some of GLib's functions, and can replace their
// results. The test program's definitions of these functions take precedence over
// GLib's.
#ifndef TESTS_GLIB_SPY_H
#define TESTS_GLIB_SPY_H

#include <gio/gio.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

// One synchronous method call, as handed to GDBus.
struct BusCall {
    GDBusConnection *connection = nullptr;
    std::string busName;
    std::string path;
    std::string interface;
    std::string method;
    std::string body;       // as GLib prints it, with types
    std::string replyType;  // empty when any is accepted
    GDBusCallFlags flags = G_DBUS_CALL_FLAGS_NONE;
    int timeout = 0;
    GCancellable *cancellable = nullptr;
};

class GLibSpy {
 public:
    using Answer = std::function<GVariant *(GError **)>;

    static GLibSpy &get();

    // The calls of one method, in order.
    std::vector<BusCall> callsOf(const std::string &method) const;
    // The following calls return this reply and do not reach the bus.
    void answerCalls(Answer answer);
    // The following requests for a bus connection return null without an error.
    void refuseConnections();
    // Starts recording: every reading of the monotonic clock, in microseconds, and for each wake-up
    // of a condition whether one waiter was woken or all.
    enum class WakeUp { one, all };
    void watch();
    std::vector<gint64> clockReadings() const;
    std::vector<WakeUp> wakeUpsOf(const GCond *condition) const;
    // Runs on the reading thread, after the reading was recorded.
    void onClockReading(std::function<void()> observer);
    // Timed waits with the replaced condition since watch(): the deadline, and the last reading of
    // the clock before it on the same thread. Their result is that of `wait` (TRUE for a wake-up),
    // which is called on the waiting thread with the mutex locked.
    struct TimedWait {
        gint64 now = 0;
        gint64 deadline = 0;
    };
    std::vector<TimedWait> timedWaits() const;
    using Wait = std::function<gboolean(GMutex *)>;
    void replaceTimedWaits(const GCond *condition, Wait wait);
    // Advances the clock by this many microseconds.
    void advanceClock(gint64 microseconds);
    // Runs on the waking thread, before the waiter is woken.
    void onWakeUp(std::function<void(const GCond *)> observer);

    // Called by the replaced functions.
    Answer answerTo(BusCall call);
    bool refusesConnections() const;
    gint64 noteClock(gint64 now);
    void noteWakeUp(const GCond *condition, WakeUp wakeUp);
    Wait noteTimedWait(const GCond *condition, gint64 deadline);
    gint64 clockAdvance() const;

 private:
    mutable std::mutex m_mutex;
    std::vector<BusCall> m_calls;
    Answer m_answer;
    bool m_refusing = false;
    bool m_watching = false;
    std::vector<gint64> m_readings;
    std::map<const GCond *, std::vector<WakeUp>> m_wakeUps;
    std::function<void()> m_readingObserver;
    std::function<void(const GCond *)> m_wakeUpObserver;
    const GCond *m_replacedCondition = nullptr;
    Wait m_wait;
    std::vector<TimedWait> m_timedWaits;
    gint64 m_clockAdvance = 0;
};

// Expects at least one critical warning of GLib during its lifetime, and does not print it.
class ExpectedCritical {
 public:
    ExpectedCritical();
    ~ExpectedCritical();
    ExpectedCritical(const ExpectedCritical &) = delete;
    ExpectedCritical &operator=(const ExpectedCritical &) = delete;

 private:
    int m_reports = 0;
    guint m_handler;
};

#endif
