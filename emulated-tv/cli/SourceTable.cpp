// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceTable.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "SourceTypes.h"

namespace emulated_tv {

namespace {

using Row = std::array<std::string, 8>;

std::size_t width(const std::string &cell) {
    return static_cast<std::size_t>(g_utf8_strlen(cell.c_str(), -1));
}

// A name may hold anything; a terminal must not be told to act by it.
std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char each) { return g_ascii_iscntrl(each) != FALSE; }, '?');
    return text;
}

Row rowOf(const Source &source, bool isSelected) {
    const char *onScreen = onScreenName(source.sourceType);
    const char *state = !source.connected ? "-" : source.powerState != 0 ? "on" : "standby";
    return {isSelected ? "*" : "",
            source.uniqueKey,
            std::to_string(source.sourceType),
            std::to_string(source.mbrActivityIndex),
            onScreen != nullptr ? onScreen : "----",
            state,
            printable(source.editName),
            printable(source.detectedName)};
}

}  // namespace

std::string sourceTable(const SourceModel &model) {
    std::vector<Row> rows = {
        {"", "SOURCE", "TYPE", "INDEX", "ON SCREEN", "DEVICE", "USER'S NAME", "DETECTED NAME"}};
    for (const Source &source : model.sources()) {
        rows.push_back(rowOf(source, source.uniqueKey == model.selected()));
    }
    std::array<std::size_t, std::tuple_size_v<Row>> widths = {};
    for (const Row &row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], width(row[column]));
        }
    }
    std::string table;
    for (const Row &row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column] + std::string(widths[column] - width(row[column]) + 2, ' ');
        }
        table += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return table;
}

}  // namespace emulated_tv
