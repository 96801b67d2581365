// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "MessageBody.h"

namespace emulated_tv {

namespace {

constexpr auto ownName = "source_service";

// A single zero byte is what this shape has for "no buffer".
GVariant *bodyWithoutBuffer(const std::string &text) {
    GVariantBuilder buffer;
    g_variant_builder_init(&buffer, G_VARIANT_TYPE("a(y)"));
    g_variant_builder_add(&buffer, "(y)", 0);
    return g_variant_new("(sussa(y))", ownName, 0U, "", text.c_str(), &buffer);
}

}  // namespace

GVariant *messageBody(const std::string &text) {
    return g_variant_new("(suss)", ownName, 0U, "", text.c_str());
}

GVariant *answerBody(const std::string &method, const std::string &text) {
    return method == "SendMessage" ? messageBody(text) : bodyWithoutBuffer(text);
}

}  // namespace emulated_tv
