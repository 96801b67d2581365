// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "MessageBody.h"

#include "JsonText.h"

namespace {

const auto *const plainBody = G_VARIANT_TYPE("(suss)");
const auto *const bufferBody = G_VARIANT_TYPE("(sussa(y))");

// A D-Bus text must be UTF-8; GLib ends the process over one that is not.
std::string utf8(std::string text) {
    if (g_utf8_validate(text.c_str(), -1, nullptr) != FALSE) {
        return text;
    }
    const std::unique_ptr<char, decltype(&g_free)> valid(g_utf8_make_valid(text.c_str(), -1),
                                                         g_free);
    return valid.get();
}

// What a message says now: its own text may lag behind its JSON.
std::string currentText(const SourceTCMessage &message) {
    return message.m_JsonRoot.empty() ? message.m_Message : jsonText(message.m_JsonRoot);
}

const char *textAt(GVariant *body, gsize index) {
    const VariantPtr child(g_variant_get_child_value(body, index));
    return g_variant_get_string(child.get(), nullptr);
}

// The fields that both shapes have.
void readPlainFields(GVariant *body, BodyView &view) {
    view.sender = textAt(body, 0);
    view.number = g_variant_get_uint32(VariantPtr(g_variant_get_child_value(body, 1)).get());
    view.auxText = textAt(body, 2);
    view.text = textAt(body, 3);
}

bool standsForNoBuffer(const unsigned char *bytes, gsize size) {
    return size == 0 || bytes == nullptr || (size == 1 && bytes[0] == 0);
}

}  // namespace

MethodCall makeMethodCall(const std::string &sender, const SourceTCMessage *message) {
    const std::string from = utf8(sender);
    if (message == nullptr) {
        return {"SendMessage",
                VariantPtr(g_variant_ref_sink(g_variant_new("(suss)", from.c_str(), 0U, "", "")))};
    }
    const std::string auxText = utf8(message->m_AuxText);
    const std::string text = utf8(currentText(*message));
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
        readPlainFields(body, view);
        return true;
    }
    if (g_variant_is_of_type(body, bufferBody) == FALSE) {
        return false;
    }
    readPlainFields(body, view);
    // The bytes stay valid inside the body.
    const VariantPtr array(g_variant_get_child_value(body, 4));
    const auto *const bytes = static_cast<const unsigned char *>(g_variant_get_data(array.get()));
    const gsize size = g_variant_get_size(array.get());
    if (!standsForNoBuffer(bytes, size)) {
        view.buffer = bytes;
        view.bufferSize = static_cast<unsigned int>(size);
    }
    return true;
}
