// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SUPPORT_TEXT_TABLE_H
#define SUPPORT_TEXT_TABLE_H

#include <memory>
#include <string>
#include <vector>

struct libscols_table;

namespace support {

enum class Align { left, right };

struct Column {
    const char *title;
    Align align = Align::left;
};

struct TableStyle {
    const char *betweenColumns = " ";
    const char *emptyCell = "-";
};

// A table for a terminal. A control character in a cell shows as "\x1b".
class TextTable {
 public:
    explicit TextTable(const std::vector<Column> &columns, const TableStyle &style = {});

    // One cell for each column.
    void addRow(const std::vector<std::string> &cells);

    // The lines, without spaces at their ends, the last without a newline. Empty if there is no
    // row. Non-ASCII text needs a UTF-8 locale.
    std::string text() const;

 private:
    struct Release {
        void operator()(libscols_table *table) const;
    };
    std::unique_ptr<libscols_table, Release> m_table;
    const char *m_emptyCell;
};

}  // namespace support

#endif
