// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SOURCECTL_TABLE_H
#define SOURCECTL_TABLE_H

#include <memory>
#include <string>
#include <vector>

struct libscols_table;

enum class Align { left, right };

struct Column {
    const char *title;
    Align align = Align::left;
};

// A table for people. An empty cell shows as "-", a control character as "\x1b".
class Table {
 public:
    explicit Table(const std::vector<Column> &columns);

    // One cell for each column.
    void addRow(const std::vector<std::string> &cells);

    // The lines, the last without a newline. Empty when there is no row.
    std::string text() const;

 private:
    struct Release {
        void operator()(libscols_table *table) const;
    };
    std::unique_ptr<libscols_table, Release> m_table;
};

#endif
