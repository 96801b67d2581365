// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "MessageBody.h"

#include <initializer_list>
#include <iterator>

#include "JsonText.h"

namespace source_api::internal {

namespace {

const auto *const plainBody = G_VARIANT_TYPE("(suss)");
const auto *const bufferBody = G_VARIANT_TYPE("(sussa(y))");

// D-Bus strings must be UTF-8: GLib aborts the process otherwise.
GVariant *newText(const std::string &text) {
    return g_utf8_validate(text.c_str(), -1, nullptr) != FALSE
               ? g_variant_new_string(text.c_str())
               : g_variant_new_take_string(g_utf8_make_valid(text.c_str(), -1));
}

// Cheaper than g_variant_new(), which parses a format string for every call.
VariantPtr makeBody(std::initializer_list<GVariant *> fields) {
    return VariantPtr(
        g_variant_ref_sink(g_variant_new_tuple(std::data(fields), std::size(fields))));
}

// m_Message may be older than m_JsonRoot.
std::string currentText(const SourceTCMessage &message) {
    return message.m_JsonRoot.empty() ? message.m_Message : jsonText(message.m_JsonRoot);
}

const char *textAt(GVariant *body, gsize index) {
    const VariantPtr child(g_variant_get_child_value(body, index));
    return g_variant_get_string(child.get(), nullptr);
}

// The fields that both types have.
void readPlainFields(GVariant *body, BodyView &view) {
    view.sender = textAt(body, 0);
    view.number = g_variant_get_uint32(VariantPtr(g_variant_get_child_value(body, 1)).get());
    view.auxText = textAt(body, 2);
    view.text = textAt(body, 3);
}

bool meansNoBuffer(const unsigned char *bytes, gsize size) {
    return size == 0 || bytes == nullptr || (size == 1 && bytes[0] == 0);
}

}  // namespace

MethodCall makeMethodCall(const std::string &sender, const SourceTCMessage *message) {
    if (message == nullptr) {
        return {"SendMessage",
                makeBody({newText(sender), g_variant_new_uint32(0), newText(""), newText("")})};
    }
    const std::string text = currentText(*message);
    GVariant *const number = g_variant_new_uint32(message->m_AuxNumber);
    GVariant *const auxText = newText(message->m_AuxText);
    GVariant *const content = newText(text);
    unsigned char *buffer = nullptr;
    const unsigned int size = message->GetBuffer(buffer);
    if (size == 0 || buffer == nullptr) {
        return {"SendMessage", makeBody({newText(sender), number, auxText, content})};
    }
    GVariant *const bytes =
        g_variant_new_from_data(G_VARIANT_TYPE("a(y)"), buffer, size, TRUE, nullptr, nullptr);
    return {"SendMessageWithBuffer", makeBody({newText(sender), number, auxText, content, bytes})};
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
    // The bytes remain valid as long as the body does.
    const VariantPtr array(g_variant_get_child_value(body, 4));
    const auto *const bytes = static_cast<const unsigned char *>(g_variant_get_data(array.get()));
    const gsize size = g_variant_get_size(array.get());
    if (!meansNoBuffer(bytes, size)) {
        view.buffer = bytes;
        view.bufferSize = static_cast<unsigned int>(size);
    }
    return true;
}

}  // namespace source_api::internal
