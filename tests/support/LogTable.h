// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The log lines that programs rely on, as tables: an action of the caller, and the lines and levels
// that the library logs during it.
#ifndef TESTS_LOG_TABLE_H
#define TESTS_LOG_TABLE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <ostream>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "FakePlatform.h"

// A line as a table states it. In the text, <pointer> stands for an address, <number> for decimal
// digits and <text> for any text that is not empty.
struct ExpectedLine {
    int level;
    std::string text;
    std::string operation;  // the row's when empty
};

inline ExpectedLine info(const std::string &text, const std::string &operation = "") {
    return {infoPriority, text, operation};
}
inline ExpectedLine error(const std::string &text, const std::string &operation = "") {
    return {errorPriority, text, operation};
}

// One row. `act` is called with the test as its argument. The lines of the operations that the row
// names are compared in order; those of other operations are ignored.
template <class Test>
struct LogRow {
    using TestClass = Test;

    const char *operation;
    const char *when;
    void (*act)(Test &test);
    std::vector<ExpectedLine> lines;
};

template <class Test>
std::ostream &operator<<(std::ostream &out, const LogRow<Test> &row) {
    return out << row.operation << " " << row.when;
}

// The name of a row's test.
template <class Test>
std::string nameOfRow(const testing::TestParamInfo<LogRow<Test>> &row) {
    std::string name = std::string(row.param.operation) + "_" + row.param.when;
    for (char &character : name) {
        if (std::isalnum(static_cast<unsigned char>(character)) == 0) {
            character = '_';
        }
    }
    return name;
}

inline bool fits(const ExpectedLine &expected, const LogLine &line) {
    std::string pattern =
        std::regex_replace(expected.text, std::regex(R"([\\^$.|?*+(){}\[\]])"), R"(\$&)");
    pattern = std::regex_replace(pattern, std::regex("<pointer>"), "(0x[0-9a-f]+|\\(nil\\))");
    pattern = std::regex_replace(pattern, std::regex("<number>"), "[0-9]+");
    pattern = std::regex_replace(pattern, std::regex("<text>"), "(.|\n)+");
    return line.function == expected.operation && line.priority == expected.level &&
           std::regex_match(line.text, std::regex(pattern));
}

// Runs the row and compares the lines that the library's source file `file` logged during it.
template <class Test>
void expectLinesOf(const LogRow<Test> &row, typename LogRow<Test>::TestClass &test,
                   const std::string &file) {
    std::vector<ExpectedLine> expected = row.lines;
    std::set<std::string> operations{row.operation};
    for (ExpectedLine &line : expected) {
        if (line.operation.empty()) {
            line.operation = row.operation;
        }
        operations.insert(line.operation);
    }
    row.act(test);
    std::vector<LogLine> written;
    for (const LogLine &line : FakePlatform::get().logOfFile(file)) {
        if (operations.count(line.function) != 0) {
            written.push_back(line);
        }
    }
    for (std::size_t index = 0; index < std::max(expected.size(), written.size()); ++index) {
        if (index >= written.size()) {
            ADD_FAILURE() << "not written: " << expected[index].level << " "
                          << expected[index].operation << " \"" << expected[index].text << "\"";
        } else if (index >= expected.size()) {
            ADD_FAILURE() << "not expected: " << written[index];
        } else {
            EXPECT_TRUE(fits(expected[index], written[index]))
                << "expected: " << expected[index].level << " " << expected[index].operation
                << " \"" << expected[index].text << "\"\nwritten: " << written[index];
        }
    }
}

#endif
