// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Smart pointers for GLib's reference-counted types. A type that is not listed does not compile,
// since GLib would release it with another function.
#ifndef SUPPORT_GLIB_OWNERS_H
#define SUPPORT_GLIB_OWNERS_H

#include <gio/gio.h>

#include <memory>

namespace support {

struct Unreference {
    void operator()(GVariant *value) const { g_variant_unref(value); }
    void operator()(GMainLoop *loop) const { g_main_loop_unref(loop); }
    void operator()(GMainContext *context) const { g_main_context_unref(context); }
    void operator()(GSource *source) const { g_source_unref(source); }
    void operator()(GDBusNodeInfo *info) const { g_dbus_node_info_unref(info); }
    void operator()(GDBusConnection *object) const { g_object_unref(object); }
    void operator()(GDBusMessage *object) const { g_object_unref(object); }
    void operator()(GDBusMethodInvocation *object) const { g_object_unref(object); }
    void operator()(GAsyncResult *object) const { g_object_unref(object); }
    void operator()(GCancellable *object) const { g_object_unref(object); }
    void operator()(GSocket *object) const { g_object_unref(object); }
    void operator()(GTestDBus *object) const { g_object_unref(object); }
};

template <class Type>
using Owner = std::unique_ptr<Type, Unreference>;

using Connection = Owner<GDBusConnection>;
using Message = Owner<GDBusMessage>;
using Variant = Owner<GVariant>;

// Takes a new value, whose reference is floating.
inline Variant sink(GVariant *value) {
    return Variant(g_variant_ref_sink(value));
}

}  // namespace support

#endif
