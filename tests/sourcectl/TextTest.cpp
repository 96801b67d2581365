// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Text.h"

#include <gtest/gtest.h>

namespace {

TEST(TextTest, PrintableTextStaysAsItIs) {
    EXPECT_EQ(printable("Wohnzimmer Bär \\ テレビ"), "Wohnzimmer Bär \\ テレビ");
    EXPECT_EQ(printable(""), "");
}

TEST(TextTest, ControlCharactersStandAsTheirNumbers) {
    EXPECT_EQ(printable("a\x1b[31m\tb\x7f"), "a\\x1b[31m\\x09b\\x7f");
    EXPECT_EQ(printable("\xc2\x9b"), "\\x9b");
}

TEST(TextTest, BytesThatAreNoUtf8BecomeReplacementCharacters) {
    EXPECT_EQ(validUtf8("a\xff"
                        "b"),
              "a\xef\xbf\xbd"
              "b");
    EXPECT_EQ(validUtf8(std::string("a\0b", 3)),
              "a\xef\xbf\xbd"
              "b");
    EXPECT_EQ(printable("\xc3"), "\xef\xbf\xbd");
}

TEST(TextTest, QuotedTextIsPrintable) {
    EXPECT_EQ(quoted("a\nb"), "\"a\\x0ab\"");
}

}  // namespace
