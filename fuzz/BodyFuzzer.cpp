// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Input: the signature of a body on the first line, then its serialised data, valid or not. The
// body is decoded as it is, in normal form, and byte-swapped.
#include <gio/gio.h>

#include <optional>
#include <vector>

#include "Fuzzing.h"
#include "GLibOwners.h"
#include "SourceApiPeer.h"
#include "SourceTCServer.h"

namespace {

using fuzz::require;

using Bytes = std::vector<unsigned char>;

support::Variant child(GVariant *parent, gsize index) {
    return support::Variant(g_variant_get_child_value(parent, index));
}

std::string childText(GVariant *parent, gsize index) {
    return g_variant_get_string(child(parent, index).get(), nullptr);
}

// The fifth field. No byte, and a single zero byte, mean that there is no buffer.
std::optional<Bytes> bufferOf(GVariant *body) {
    const support::Variant array = child(body, 4);
    Bytes bytes;
    for (gsize index = 0; index < g_variant_n_children(array.get()); ++index) {
        bytes.push_back(g_variant_get_byte(child(child(array.get(), index).get(), 0).get()));
    }
    return bytes.empty() || bytes == Bytes{0} ? std::nullopt : std::optional<Bytes>(bytes);
}

// The output parameters, initialised with values that decoding never writes.
struct Outputs {
    Outputs() = default;
    ~Outputs() {
        for (char *const owned : {name, auxText, text}) {
            if (owned != untouchedText) {
                delete[] owned;
            }
        }
        if (buffer != untouchedBytes) {
            delete[] buffer;
        }
    }
    Outputs(const Outputs &) = delete;
    Outputs &operator=(const Outputs &) = delete;

    char *untouchedText = reinterpret_cast<char *>(this);
    unsigned char *untouchedBytes = reinterpret_cast<unsigned char *>(this);

    char *name = untouchedText;
    unsigned int number = 4711;
    char *auxText = untouchedText;
    char *text = untouchedText;
    unsigned char *buffer = untouchedBytes;
    unsigned int size = 4712;
};

void checkFields(GVariant *body, const Outputs &outputs) {
    require(outputs.name != outputs.untouchedText && outputs.name == childText(body, 0),
            "the sender is the first field");
    require(outputs.number == g_variant_get_uint32(child(body, 1).get()),
            "the number is the second field");
    require(outputs.auxText != outputs.untouchedText && outputs.auxText == childText(body, 2),
            "the second text is the third field");
    require(outputs.text != outputs.untouchedText && outputs.text == childText(body, 3),
            "the message text is the fourth field");
}

void checkBuffer(const std::optional<Bytes> &buffer, const Outputs &outputs) {
    if (buffer) {
        require(outputs.size == buffer->size(), "the buffer's size is that of the fifth field");
        require(Bytes(outputs.buffer, outputs.buffer + outputs.size) == *buffer,
                "the buffer's bytes are those of the fifth field");
    } else {
        require(outputs.size == 4712 && outputs.buffer == outputs.untouchedBytes,
                "without a buffer nothing is written");
    }
}

void checkBody(GVariant *body) {
    Outputs outputs;
    require(EndpointPeer::decode(body, &outputs.name, &outputs.number, &outputs.auxText,
                                 &outputs.text, &outputs.buffer, &outputs.size) == 1,
            "every body is accepted");
    const std::string type = g_variant_get_type_string(body);
    if (type == "(suss)") {
        checkFields(body, outputs);
        checkBuffer(std::nullopt, outputs);
    } else if (type == "(sussa(y))") {
        checkFields(body, outputs);
        checkBuffer(bufferOf(body), outputs);
    } else {
        require(outputs.name == outputs.untouchedText && outputs.number == 4711 &&
                    outputs.auxText == outputs.untouchedText &&
                    outputs.text == outputs.untouchedText,
                "of a body of unknown type nothing is written");
        checkBuffer(std::nullopt, outputs);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const auto [typeLine, bytes] = fuzz::splitLine(fuzz::inputText(data, size));
    const std::string type = fuzz::cText(typeLine);
    if (g_variant_type_string_is_valid(type.c_str()) == FALSE ||
        g_variant_type_is_definite(G_VARIANT_TYPE(type.c_str())) == FALSE) {
        return 0;
    }
    void *const copy = g_memdup2(bytes.data(), bytes.size());
    const support::Variant body = support::sink(g_variant_new_from_data(
        G_VARIANT_TYPE(type.c_str()), copy, bytes.size(), FALSE, g_free, copy));
    checkBody(body.get());
    checkBody(support::Variant(g_variant_get_normal_form(body.get())).get());
    checkBody(support::Variant(g_variant_byteswap(body.get())).get());
    return 0;
}
