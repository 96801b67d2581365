// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A mutex for clang's thread-safety analysis, and the attributes of that analysis. For other
// compilers it is a plain std::mutex.
#ifndef SOURCE_API_MUTEX_H
#define SOURCE_API_MUTEX_H

#include <mutex>

#if defined(__clang__)
#define THREAD_ANNOTATION(x) __attribute__((x))
#else
#define THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(name) THREAD_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(mutex) THREAD_ANNOTATION(guarded_by(mutex))
#define ACQUIRE(...) THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define REQUIRES(...) THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

namespace source_api::internal {

class CAPABILITY("mutex") Mutex {
 public:
    void lock() ACQUIRE() { m_mutex.lock(); }
    void unlock() RELEASE() { m_mutex.unlock(); }

 private:
    std::mutex m_mutex;
};

class SCOPED_CAPABILITY MutexLock {
 public:
    explicit MutexLock(Mutex &mutex) ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~MutexLock() RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock &) = delete;
    MutexLock &operator=(const MutexLock &) = delete;

 private:
    Mutex &m_mutex;
};

}  // namespace source_api::internal

#endif
