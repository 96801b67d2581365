// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The thread sanitizer sees no locking in GLib's mutexes and conditions: they are built on the
// kernel's futex inside a library that is not instrumented. These wrappers tell it what they order.
#include <dlfcn.h>
#include <glib.h>
#include <sanitizer/tsan_interface.h>

namespace {

template <class Function>
Function next(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

void(g_mutex_lock)(GMutex *mutex) {
    static const auto real = next<void (*)(GMutex *)>("g_mutex_lock");
    real(mutex);
    __tsan_acquire(mutex);
}

gboolean(g_mutex_trylock)(GMutex *mutex) {
    static const auto real = next<gboolean (*)(GMutex *)>("g_mutex_trylock");
    const gboolean locked = real(mutex);
    if (locked != FALSE) {
        __tsan_acquire(mutex);
    }
    return locked;
}

void(g_mutex_unlock)(GMutex *mutex) {
    static const auto real = next<void (*)(GMutex *)>("g_mutex_unlock");
    __tsan_release(mutex);
    real(mutex);
}

void(g_cond_wait)(GCond *condition, GMutex *mutex) {
    static const auto real = next<void (*)(GCond *, GMutex *)>("g_cond_wait");
    __tsan_release(mutex);
    real(condition, mutex);
    __tsan_acquire(mutex);
}

gboolean(g_cond_wait_until)(GCond *condition, GMutex *mutex, gint64 deadline) {
    static const auto real = next<gboolean (*)(GCond *, GMutex *, gint64)>("g_cond_wait_until");
    __tsan_release(mutex);
    const gboolean signalled = real(condition, mutex, deadline);
    __tsan_acquire(mutex);
    return signalled;
}

}  // extern "C"
