// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Owners of GLib's objects.
#ifndef SOURCE_API_GLIB_PTR_H
#define SOURCE_API_GLIB_PTR_H

#include <gio/gio.h>

#include <memory>

namespace source_api::internal {

struct GLibRelease {
    void operator()(GVariant *variant) const { g_variant_unref(variant); }
    void operator()(GError *error) const { g_error_free(error); }
    void operator()(GDBusConnection *connection) const { g_object_unref(connection); }
};

using VariantPtr = std::unique_ptr<GVariant, GLibRelease>;
using ErrorPtr = std::unique_ptr<GError, GLibRelease>;
using ConnectionPtr = std::unique_ptr<GDBusConnection, GLibRelease>;

}  // namespace source_api::internal

#endif
