// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceTCHandler.h"

#include <new>

#include "Atomic.h"
#include "Log.h"

using source_api::internal::atomicLoad;
using source_api::internal::atomicStore;

const unsigned int TKestrel_INFINITY = 0xFFFFFFFF;

SourceTCSemaphore::SourceTCSemaphore() : m_Count(0), m_EventMutex(nullptr), m_EventCond(nullptr) {}

SourceTCSemaphore::~SourceTCSemaphore() = default;

void SourceTCSemaphore::Destroy() {
    LOG_ERROR("");
    g_mutex_clear(m_EventMutex);
    g_cond_clear(m_EventCond);
    delete m_EventMutex;
    delete m_EventCond;
    m_EventMutex = nullptr;
    m_EventCond = nullptr;
}

int SourceTCSemaphore::Create(int count) {
    m_Count = count;
    m_EventMutex = new (std::nothrow) GMutex;
    m_EventCond = new (std::nothrow) GCond;
    if (m_EventMutex == nullptr || m_EventCond == nullptr) {
        LOG_ERROR("can't allocate memory");
        delete m_EventMutex;
        delete m_EventCond;
        m_EventMutex = nullptr;
        m_EventCond = nullptr;
        return 1;
    }
    g_mutex_init(m_EventMutex);
    g_cond_init(m_EventCond);
    return 1;
}

void SourceTCSemaphore::Take() {
    g_mutex_lock(m_EventMutex);
    while (m_Count < 1) {
        g_cond_wait(m_EventCond, m_EventMutex);
    }
    --m_Count;
    g_mutex_unlock(m_EventMutex);
}

int SourceTCSemaphore::Try(unsigned long timeout) {
    if (timeout == TKestrel_INFINITY) {
        Take();
        return 1;
    }
    if (m_EventMutex == nullptr) {
        LOG_ERROR("m_EventMutex is NULL");
        return 0;
    }
    g_mutex_lock(m_EventMutex);
    while (m_Count <= 0) {
        // A new deadline for every wait: a spurious wake-up starts a full time-out again. 64 bits,
        // because `unsigned long` may have 32, and unsigned, because the sum may overflow.
        const auto now = static_cast<guint64>(g_get_monotonic_time());
        const auto deadline = static_cast<gint64>(now + timeout);
        if (g_cond_wait_until(m_EventCond, m_EventMutex, deadline) != TRUE) {
            g_mutex_unlock(m_EventMutex);
            return 0;
        }
    }
    --m_Count;
    g_mutex_unlock(m_EventMutex);
    return 1;
}

void SourceTCSemaphore::Give() {
    g_mutex_lock(m_EventMutex);
    ++m_Count;
    g_cond_signal(m_EventCond);
    g_mutex_unlock(m_EventMutex);
}

SourceTCMutex::SourceTCMutex() : m_Owner(nullptr), m_LockCount(0) {}

SourceTCMutex::~SourceTCMutex() = default;

void SourceTCMutex::Destroy() {
    if (m_Semaphore.m_EventMutex != nullptr) {
        m_Semaphore.Destroy();
    }
}

int SourceTCMutex::Create() {
    const int created = m_Semaphore.Create(1);
    if (created != 0) {
        atomicStore<GThread *>(m_Owner, nullptr);
    }
    return created;
}

// The owner is compared without the semaphore: only the calling thread stores its own handle there,
// so the comparison cannot be true because of another thread's change.
void SourceTCMutex::Lock() {
    GThread *const self = g_thread_self();
    if (atomicLoad(m_Owner) == self) {
        ++m_LockCount;
        return;
    }
    m_Semaphore.Take();
    atomicStore(m_Owner, self);
    m_LockCount = 1;
}

int SourceTCMutex::Try(unsigned long timeout) {
    GThread *const self = g_thread_self();
    if (atomicLoad(m_Owner) == self) {
        ++m_LockCount;
        return 1;
    }
    if (m_Semaphore.Try(timeout) == 0) {
        return 0;
    }
    atomicStore(m_Owner, self);
    m_LockCount = 1;
    return 1;
}

void SourceTCMutex::Unlock() {
    if (atomicLoad(m_Owner) != g_thread_self()) {
        return;
    }
    if (--m_LockCount > 0) {
        return;
    }
    atomicStore<GThread *>(m_Owner, nullptr);
    m_Semaphore.Give();
}
