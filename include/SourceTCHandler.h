// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

/// \file
/// Locks of the message transport: a counting semaphore and a recursive mutex built on it.
///
/// 1. Life: construct, Create(), use, Destroy(). The destructors release nothing; what Create()
///    allocated stays until Destroy().
/// 2. Failures: Create() always returns 1. When memory ran out it has logged
///    "can't allocate memory", and the object stays as it was before Create(): Try() with a finite
///    time-out then returns 0, every other operation must not be called.
/// 3. Time-outs are microseconds of the monotonic clock. They start afresh at every wake-up, so a
///    waiter that is woken and finds the unit taken by another thread waits a full time-out again.
/// 4. Threads: between Create() and Destroy() any thread may call; Create() and Destroy()
///    themselves must not run while another thread uses the object.
/// 5. Nothing here throws.
#ifndef SOURCE_TC_HANDLER_H
#define SOURCE_TC_HANDLER_H

#include <glib.h>

/// The time-out that means "wait without limit".
extern const unsigned int TKestrel_INFINITY;

/// A counting semaphore.
class SourceTCSemaphore {
 public:
    SourceTCSemaphore();
    /// Releases nothing; call Destroy() first.
    virtual ~SourceTCSemaphore();
    SourceTCSemaphore(const SourceTCSemaphore &) = delete;
    SourceTCSemaphore &operator=(const SourceTCSemaphore &) = delete;

    /// Frees what Create() allocated. No thread may be waiting. Must be called once only for each
    /// Create(): a second call is undefined.
    virtual void Destroy();

    /// Makes the semaphore usable with `count` units. Returns 1, also when memory ran out.
    int Create(int count);

    /// Takes one unit, blocking without limit until there is one.
    void Take();

    /// Takes one unit, blocking for at most `timeout` microseconds (see 3 above) or, with
    /// TKestrel_INFINITY, without limit. Returns 1 when a unit was taken. Returns 0 when the time
    /// ran out, or at once (and logs "m_EventMutex is NULL") when the semaphore is not created and
    /// the time-out is finite.
    int Try(unsigned long timeout);

    /// Adds one unit and wakes one waiter. Does not block.
    void Give();

 private:
    friend class SourceTCMutex;

    int m_Count;
    GMutex *m_EventMutex;
    GCond *m_EventCond;
};

/// A recursive lock: the thread that holds it gets it again at once, and must release it as often
/// as it took it.
class SourceTCMutex {
 public:
    SourceTCMutex();
    /// Releases nothing; call Destroy() first.
    virtual ~SourceTCMutex();
    SourceTCMutex(const SourceTCMutex &) = delete;
    SourceTCMutex &operator=(const SourceTCMutex &) = delete;

    /// Frees what Create() allocated. A second call, or a call before Create(), does nothing.
    virtual void Destroy();

    /// Makes the lock usable and free. Returns 1, also when memory ran out.
    int Create();

    /// Takes the lock, blocking without limit while another thread holds it.
    void Lock();

    /// Takes the lock, blocking for at most `timeout` microseconds or, with TKestrel_INFINITY,
    /// without limit. Returns 1 when the calling thread now holds it, 0 when not.
    int Try(unsigned long timeout);

    /// Releases the lock once. Ignored, without a log line, when the calling thread does not
    /// hold it.
    void Unlock();

 private:
    SourceTCSemaphore m_Semaphore;
    GThread *m_Owner;
    int m_LockCount;
};

#endif
