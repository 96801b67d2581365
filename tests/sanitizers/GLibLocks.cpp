// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The thread sanitizer sees no locking in GLib's mutexes and conditions: they are built on the
// kernel's futex inside a library that is not instrumented. Nor does it see that what a thread
// attaches to a main context comes before its dispatch. These wrappers tell it what they order.
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

// Weak, for programs that replace it themselves.
__attribute__((weak))
gboolean(g_cond_wait_until)(GCond *condition, GMutex *mutex, gint64 deadline) {
    static const auto real = next<gboolean (*)(GCond *, GMutex *, gint64)>("g_cond_wait_until");
    __tsan_release(mutex);
    const gboolean signalled = real(condition, mutex, deadline);
    __tsan_acquire(mutex);
    return signalled;
}

guint(g_source_attach)(GSource *source, GMainContext *context) {
    static const auto real = next<guint (*)(GSource *, GMainContext *)>("g_source_attach");
    __tsan_release(context != nullptr ? context : g_main_context_default());
    return real(source, context);
}

void(g_main_loop_run)(GMainLoop *loop) {
    static const auto real = next<void (*)(GMainLoop *)>("g_main_loop_run");
    real(loop);
    __tsan_acquire(g_main_loop_get_context(loop));
}

}  // extern "C"
