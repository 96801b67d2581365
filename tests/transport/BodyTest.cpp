// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "FakePlatform.h"
#include "FakeService.h"
#include "SourceApiPeer.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Body = std::unique_ptr<GVariant, decltype(&g_variant_unref)>;

Body owned(GVariant *floating) {
    return {g_variant_ref_sink(floating), g_variant_unref};
}

// A body as a faulty peer may send it: bytes that need not be a serialised value of that type.
Body garbled(const char *type, const std::vector<unsigned char> &bytes) {
    GBytes *const copy = g_bytes_new(bytes.data(), bytes.size());
    Body body = owned(g_variant_new_from_bytes(G_VARIANT_TYPE(type), copy, FALSE));
    g_bytes_unref(copy);
    return body;
}

// Every output of the decoder, initialised with values that show whether it was written.
struct Outputs {
    Outputs() = default;
    ~Outputs() {
        for (char *given : {name, auxText, text}) {
            if (given != untouched.data()) {
                delete[] given;
            }
        }
        if (buffer != untouchedBuffer.data()) {
            delete[] buffer;
        }
    }
    Outputs(const Outputs &) = delete;
    Outputs &operator=(const Outputs &) = delete;

    int read(GVariant *body) {
        return EndpointPeer::decode(body, &name, &number, &auxText, &text, &buffer, &size);
    }
    bool textsUntouched() const {
        return name == untouched.data() && auxText == untouched.data() &&
               text == untouched.data() && number == 99;
    }
    bool bufferUntouched() const { return buffer == untouchedBuffer.data() && size == 98; }
    std::vector<unsigned char> bytes() const { return {buffer, buffer + size}; }

    std::array<char, 10> untouched{"untouched"};
    std::array<unsigned char, 1> untouchedBuffer{};
    char *name = untouched.data();
    unsigned int number = 99;
    char *auxText = untouched.data();
    char *text = untouched.data();
    unsigned char *buffer = untouchedBuffer.data();
    unsigned int size = 98;
};

class BodyTest : public testing::Test {
 protected:
    FakePlatform &platform = FakePlatform::get();
    Outputs outputs;
};

TEST_F(BodyTest, AMissingBodyIsRefused) {
    EXPECT_EQ(outputs.read(nullptr), 0);
    EXPECT_TRUE(outputs.textsUntouched());
    EXPECT_TRUE(outputs.bufferUntouched());
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(BodyTest, PlainBodyIsDecodedIntoTextsAndNumber) {
    const Body body = owned(g_variant_new("(suss)", "sender", 4294967295U, "auxiliary", "täxt"));
    EXPECT_EQ(outputs.read(body.get()), 1);
    EXPECT_STREQ(outputs.name, "sender");
    EXPECT_EQ(outputs.number, 4294967295U);
    EXPECT_STREQ(outputs.auxText, "auxiliary");
    EXPECT_STREQ(outputs.text, "täxt");
    EXPECT_TRUE(outputs.bufferUntouched());
}

TEST_F(BodyTest, BodyWithABufferIsDecodedWithItsBytes) {
    const Body body = owned(bufferBody("text", {1, 0, 255}, 5, "auxiliary"));
    EXPECT_EQ(outputs.read(body.get()), 1);
    EXPECT_STREQ(outputs.name, "source_service");
    EXPECT_EQ(outputs.number, 5U);
    EXPECT_STREQ(outputs.auxText, "auxiliary");
    EXPECT_STREQ(outputs.text, "text");
    EXPECT_THAT(outputs.bytes(), ElementsAre(1, 0, 255));
}

TEST_F(BodyTest, EmptyTextsAreDecodedAsEmptyTexts) {
    const Body body = owned(g_variant_new("(suss)", "", 0U, "", ""));
    EXPECT_EQ(outputs.read(body.get()), 1);
    EXPECT_STREQ(outputs.name, "");
    EXPECT_EQ(outputs.number, 0U);
    EXPECT_STREQ(outputs.auxText, "");
    EXPECT_STREQ(outputs.text, "");
}

TEST_F(BodyTest, OutputsOutliveTheBody) {
    Body body = owned(bufferBody("text", {1, 2}, 5, "auxiliary"));
    outputs.read(body.get());
    body.reset();
    EXPECT_STREQ(outputs.name, "source_service");
    EXPECT_STREQ(outputs.auxText, "auxiliary");
    EXPECT_STREQ(outputs.text, "text");
    EXPECT_THAT(outputs.bytes(), ElementsAre(1, 2));
}

TEST_F(BodyTest, NullOutputsAreSkipped) {
    for (const Body &body : {owned(plainBody("text", 5)), owned(bufferBody("text", {1}, 5))}) {
        unsigned int number = 0;
        std::unique_ptr<unsigned char[]> buffer;
        unsigned char *bytes = nullptr;
        unsigned int size = 0;
        EXPECT_EQ(
            EndpointPeer::decode(body.get(), nullptr, &number, nullptr, nullptr, &bytes, &size), 1);
        buffer.reset(bytes);
        EXPECT_EQ(number, 5U);
    }
}

TEST_F(BodyTest, BufferOutputsMayBeNullForAPlainBody) {
    for (const Body &body : {owned(plainBody("text", 5)), owned(bufferBody("text", {0}, 5)),
                             owned(bufferBody("text", {}, 5))}) {
        unsigned int number = 0;
        EXPECT_EQ(
            EndpointPeer::decode(body.get(), nullptr, &number, nullptr, nullptr, nullptr, nullptr),
            1);
        EXPECT_EQ(number, 5U);
    }
}

TEST_F(BodyTest, NoBytesAndASingleZeroByteMeanNoBuffer) {
    for (const std::vector<unsigned char> &none : {std::vector<unsigned char>{}, {0}}) {
        Outputs read;
        const Body body = owned(bufferBody("text", none));
        EXPECT_EQ(read.read(body.get()), 1);
        EXPECT_STREQ(read.text, "text");
        EXPECT_TRUE(read.bufferUntouched());
    }
}

TEST_F(BodyTest, AnyOtherBytesAreABuffer) {
    for (const std::vector<unsigned char> &some :
         {std::vector<unsigned char>{1}, {255}, {0, 0}, {0, 1}}) {
        Outputs read;
        const Body body = owned(bufferBody("text", some));
        EXPECT_EQ(read.read(body.get()), 1);
        EXPECT_EQ(read.bytes(), some);
    }
}

TEST_F(BodyTest, ALargeBufferIsDecoded) {
    std::vector<unsigned char> large(1 << 20);
    for (std::size_t index = 0; index < large.size(); ++index) {
        large[index] = static_cast<unsigned char>(index * 7);
    }
    const Body body = owned(bufferBody("text", large));
    EXPECT_EQ(outputs.read(body.get()), 1);
    EXPECT_EQ(outputs.bytes(), large);
}

class OtherBodyTest : public BodyTest, public testing::WithParamInterface<const char *> {};

TEST_P(OtherBodyTest, LeavesEveryOutputAloneAndIsNoFailure) {
    const Body body(g_variant_parse(nullptr, GetParam(), nullptr, nullptr, nullptr),
                    g_variant_unref);
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(outputs.read(body.get()), 1);
    EXPECT_TRUE(outputs.textsUntouched());
    EXPECT_TRUE(outputs.bufferUntouched());
    // The pointer to the number may be null, too.
    EXPECT_EQ(
        EndpointPeer::decode(body.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 1);
}

INSTANTIATE_TEST_SUITE_P(Types, OtherBodyTest,
                         testing::Values("()", "'text'", "('a', uint32 1, 'b')",
                                         "('a', 1, 'b', 'c')", "('a', uint32 1, 'b', 'c', 'd')",
                                         "('a', uint32 1, 'b', 'c', [byte 1, 2])",
                                         "('a', uint32 1, 'b', 'c', [(byte 1, byte 2)])",
                                         "('a', uint32 1, 'b', 'c', [(byte 1,)], 'e')",
                                         "<('a', uint32 1, 'b', 'c')>",
                                         "(objectpath '/a', uint32 1, 'b', 'c')"));

// GLib reads missing parts of an invalid value as empty.
class GarbledBodyTest : public BodyTest, public testing::WithParamInterface<const char *> {};

TEST_P(GarbledBodyTest, IsReadWithoutHarm) {
    const std::vector<std::vector<unsigned char>> garbage{
        {},
        {0},
        {255},
        {255, 255, 255, 255},
        {'a', 'b', 'c'},
        std::vector<unsigned char>(64, 255),
        std::vector<unsigned char>(64, 'x'),
        {'a', 0, 0, 0, 1, 0, 0, 0, 'b', 0, 'c', 200, 100, 10},
    };
    for (const std::vector<unsigned char> &bytes : garbage) {
        Outputs read;
        const Body body = garbled(GetParam(), bytes);
        EXPECT_EQ(read.read(body.get()), 1);
        EXPECT_FALSE(read.textsUntouched());
        for (const char *text : {read.name, read.auxText, read.text}) {
            EXPECT_NE(g_utf8_validate(text, -1, nullptr), FALSE);
            EXPECT_LE(std::strlen(text), bytes.size());
        }
        if (!read.bufferUntouched()) {
            EXPECT_LE(read.size, bytes.size());
        }
    }
}

TEST_P(GarbledBodyTest, GivesEmptyTextsWhereThereIsNothing) {
    const Body body = garbled(GetParam(), {});
    EXPECT_EQ(outputs.read(body.get()), 1);
    EXPECT_STREQ(outputs.name, "");
    EXPECT_EQ(outputs.number, 0U);
    EXPECT_STREQ(outputs.auxText, "");
    EXPECT_STREQ(outputs.text, "");
    EXPECT_TRUE(outputs.bufferUntouched());
}

INSTANTIATE_TEST_SUITE_P(Types, GarbledBodyTest, testing::Values("(suss)", "(sussa(y))"));

}  // namespace
