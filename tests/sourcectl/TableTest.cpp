// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Table.h"

#include <gtest/gtest.h>

#include <clocale>

namespace {

class TableTest : public ::testing::Test {
 protected:
    TableTest() { setlocale(LC_CTYPE, "C.UTF-8"); }
};

TEST_F(TableTest, ColumnsAreAligned) {
    Table table({{"TYPE", Align::right}, {"NAME"}, {"KEY"}});
    table.addRow({"4", "Game console", "hdmi2"});
    table.addRow({"12", "Disk", "usb"});
    EXPECT_EQ(table.text(),
              "TYPE NAME         KEY\n"
              "   4 Game console hdmi2\n"
              "  12 Disk         usb");
}

TEST_F(TableTest, WidthsAreThoseOnTheScreen) {
    Table table({{"NAME"}, {"KEY"}});
    table.addRow({"Bär", "a"});
    table.addRow({"テレビ", "b"});
    table.addRow({"Player", "c"});
    EXPECT_EQ(table.text(),
              "NAME   KEY\n"
              "Bär    a\n"
              "テレビ b\n"
              "Player c");
}

TEST_F(TableTest, EmptyCellShowsADash) {
    Table table({{"NAME"}, {"KEY"}});
    table.addRow({"", "a"});
    EXPECT_EQ(table.text(), "NAME KEY\n-    a");
}

TEST_F(TableTest, ControlCharactersCannotSteerATerminal) {
    Table table({{"NAME"}, {"KEY"}});
    table.addRow({"a\x1b[2J\nb\xff", "k"});
    EXPECT_EQ(table.text(),
              "NAME           KEY\n"
              "a\\x1b[2J\\x0ab\xef\xbf\xbd k");
}

}  // namespace
