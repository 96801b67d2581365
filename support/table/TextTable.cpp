// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "TextTable.h"

#include <libsmartcols.h>

#include <cstdlib>
#include <new>

#include "TerminalText.h"

namespace support {

namespace {

// The only failure of libsmartcols here is a lack of memory.
template <class Pointer>
Pointer allocated(Pointer pointer) {
    if (pointer == nullptr) {
        throw std::bad_alloc();
    }
    return pointer;
}

void trimEnd(std::string &text, char what) {
    text.erase(text.find_last_not_of(what) + 1);
}

}  // namespace

void TextTable::Release::operator()(libscols_table *table) const {
    scols_unref_table(table);
}

TextTable::TextTable(const std::vector<Column> &columns, const TableStyle &style)
    : m_table(allocated(scols_new_table())), m_emptyCell(style.emptyCell) {
    scols_table_set_column_separator(m_table.get(), style.betweenColumns);
    for (const Column &column : columns) {
        const int flags = column.align == Align::right ? SCOLS_FL_RIGHT : 0;
        allocated(scols_table_new_column(m_table.get(), column.title, 0, flags));
    }
}

void TextTable::addRow(const std::vector<std::string> &cells) {
    libscols_line *line = allocated(scols_table_new_line(m_table.get(), nullptr));
    for (std::size_t column = 0; column < cells.size(); ++column) {
        const std::string cell = cells[column].empty() ? m_emptyCell : validUtf8(cells[column]);
        scols_line_set_data(line, column, cell.c_str());
    }
}

std::string TextTable::text() const {
    char *lines = nullptr;
    scols_print_table_to_string(m_table.get(), &lines);
    const std::unique_ptr<char, decltype(&std::free)> owned(allocated(lines), std::free);
    std::string text;
    for (const char *next = lines; *next != '\0'; ++next) {
        if (*next == '\n') {
            trimEnd(text, ' ');
        }
        text += *next;
    }
    trimEnd(text, '\n');
    trimEnd(text, ' ');
    return text;
}

}  // namespace support
