// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "TerminalText.h"

#include <gtest/gtest.h>

namespace support {

namespace {

TEST(TerminalTextTest, PrintableTextIsUnchanged) {
    EXPECT_EQ(printable("Wohnzimmer Bär \\ テレビ"), "Wohnzimmer Bär \\ テレビ");
    EXPECT_EQ(printable(""), "");
}

TEST(TerminalTextTest, ControlCharactersAreEscaped) {
    EXPECT_EQ(printable("a\x1b[31m\tb\x7f"), "a\\x1b[31m\\x09b\\x7f");
    EXPECT_EQ(printable("\xc2\x9b"), "\\x9b");
}

TEST(TerminalTextTest, InvalidUtf8BecomesReplacementCharacters) {
    EXPECT_EQ(validUtf8("a\xff"
                        "b"),
              "a\xef\xbf\xbd"
              "b");
    EXPECT_EQ(validUtf8(std::string("a\0b", 3)),
              "a\xef\xbf\xbd"
              "b");
    EXPECT_EQ(printable("\xc3"), "\xef\xbf\xbd");
}

TEST(TerminalTextTest, TextWithAZeroByteOrInvalidUtf8IsNotUtf8) {
    EXPECT_TRUE(isUtf8("Bär"));
    EXPECT_FALSE(isUtf8("\xff"));
    EXPECT_FALSE(isUtf8(std::string("a\0b", 3)));
}

TEST(TerminalTextTest, QuotedTextIsPrintable) {
    EXPECT_EQ(quoted("a\nb"), "\"a\\x0ab\"");
}

}  // namespace

}  // namespace support
