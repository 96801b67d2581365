// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "MessageBody.h"

namespace {

const auto *const plainBody = G_VARIANT_TYPE("(suss)");
const auto *const bufferBody = G_VARIANT_TYPE("(sussa(y))");

// A D-Bus text must be UTF-8; GLib ends the process over one that is not.
std::string utf8(const std::string &text) {
    if (g_utf8_validate(text.c_str(), -1, nullptr) != FALSE) {
        return text;
    }
    const std::unique_ptr<char, decltype(&g_free)> valid(g_utf8_make_valid(text.c_str(), -1),
                                                         g_free);
    return valid.get();
}

bool standsForNoBuffer(const unsigned char *bytes, gsize size) {
    return size == 0 || bytes == nullptr || (size == 1 && bytes[0] == 0);
}

}  // namespace

MethodCall makeMethodCall(const std::string &sender, SourceTCMessage *message) {
    const std::string from = utf8(sender);
    if (message == nullptr) {
        return {"SendMessage",
                VariantPtr(g_variant_ref_sink(g_variant_new("(suss)", from.c_str(), 0U, "", "")))};
    }
    const std::string auxText = utf8(message->m_AuxText);
    const std::string text = utf8(message->GetMessage());
    unsigned char *buffer = nullptr;
    const unsigned int size = message->GetBuffer(buffer);
    if (size == 0 || buffer == nullptr) {
        return {"SendMessage",
                VariantPtr(g_variant_ref_sink(g_variant_new(
                    "(suss)", from.c_str(), message->m_AuxNumber, auxText.c_str(), text.c_str())))};
    }
    GVariant *const bytes =
        g_variant_new_from_data(G_VARIANT_TYPE("a(y)"), buffer, size, TRUE, nullptr, nullptr);
    return {
        "SendMessageWithBuffer",
        VariantPtr(g_variant_ref_sink(g_variant_new("(suss@a*)", from.c_str(), message->m_AuxNumber,
                                                    auxText.c_str(), text.c_str(), bytes)))};
}

bool readBody(GVariant *body, BodyView &view) {
    if (g_variant_is_of_type(body, plainBody) != FALSE) {
        g_variant_get(body, "(&su&s&s)", &view.sender, &view.number, &view.auxText, &view.text);
        return true;
    }
    if (g_variant_is_of_type(body, bufferBody) == FALSE) {
        return false;
    }
    GVariant *array = nullptr;
    g_variant_get(body, "(&su&s&s@a*)", &view.sender, &view.number, &view.auxText, &view.text,
                  &array);
    // The bytes stay valid inside the body.
    const VariantPtr owned(array);
    const auto *const bytes = static_cast<const unsigned char *>(g_variant_get_data(array));
    const gsize size = g_variant_get_size(array);
    if (!standsForNoBuffer(bytes, size)) {
        view.buffer = bytes;
        view.bufferSize = static_cast<unsigned int>(size);
    }
    return true;
}
