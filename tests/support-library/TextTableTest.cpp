// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "TextTable.h"

#include <gtest/gtest.h>

#include <clocale>

namespace support {

namespace {

class TextTableTest : public ::testing::Test {
 protected:
    TextTableTest() { setlocale(LC_CTYPE, "C.UTF-8"); }
};

TEST_F(TextTableTest, ColumnsAreAligned) {
    TextTable table({{"TYPE", Align::right}, {"NAME"}, {"KEY"}});
    table.addRow({"4", "Game console", "hdmi2"});
    table.addRow({"12", "Disk", "usb"});
    EXPECT_EQ(table.text(),
              "TYPE NAME         KEY\n"
              "   4 Game console hdmi2\n"
              "  12 Disk         usb");
}

TEST_F(TextTableTest, WidthsAreThoseOnTheScreen) {
    TextTable table({{"NAME"}, {"KEY"}});
    table.addRow({"Bär", "a"});
    table.addRow({"テレビ", "b"});
    table.addRow({"Player", "c"});
    EXPECT_EQ(table.text(),
              "NAME   KEY\n"
              "Bär    a\n"
              "テレビ b\n"
              "Player c");
}

TEST_F(TextTableTest, EmptyCellShowsADash) {
    TextTable table({{"NAME"}, {"KEY"}});
    table.addRow({"", "a"});
    EXPECT_EQ(table.text(), "NAME KEY\n-    a");
}

TEST_F(TextTableTest, ControlCharactersAreEscaped) {
    TextTable table({{"NAME"}, {"KEY"}});
    table.addRow({"a\x1b[2J\nb\xff", "k"});
    EXPECT_EQ(table.text(),
              "NAME           KEY\n"
              "a\\x1b[2J\\x0ab\xef\xbf\xbd k");
}

TEST_F(TextTableTest, LinesDoNotEndWithSpacesIfTheirLastCellsAreEmpty) {
    TextTable table({{""}, {"NAME"}, {"STATE"}}, {"  ", ""});
    table.addRow({"*", "one", ""});
    table.addRow({"", "two", "on"});
    table.addRow({"", "three", ""});
    EXPECT_EQ(table.text(),
              "   NAME   STATE\n"
              "*  one\n"
              "   two    on\n"
              "   three");
}

}  // namespace

}  // namespace support
