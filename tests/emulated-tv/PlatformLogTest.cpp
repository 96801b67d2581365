// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <glib.h>
#include <gmock/gmock.h>

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Platform.h"
#include "Program.h"

namespace emulated_tv {

namespace {

using Record = std::map<std::string, std::string>;

std::mutex recordsLock;
std::vector<Record> records;
std::vector<GLogLevelFlags> levels;

GLogWriterOutput record(GLogLevelFlags level, const GLogField *fields, gsize count, gpointer) {
    Record record;
    for (gsize each = 0; each < count; ++each) {
        record[fields[each].key] = static_cast<const char *>(fields[each].value);
    }
    const std::lock_guard<std::mutex> lock(recordsLock);
    records.push_back(record);
    levels.push_back(level);
    return G_LOG_WRITER_HANDLED;
}

}  // namespace

// Records the fields that GLib passes to the log writer.
class PlatformLogTest : public testing::Test {
 protected:
    static void SetUpTestSuite() { g_log_set_writer_func(record, nullptr, nullptr); }
    void SetUp() override {
        records.clear();
        levels.clear();
    }
};

#define PREFIX "%s: %s(%d) > [%s:%d] "

TEST_F(PlatformLogTest, LineOfTheLibraryIsSplitIntoFields) {
    const int length = __dlog_print(0, 6, "SOURCE_API", PREFIX "value %d of %s\n", "File.cpp",
                                    "function", 12, "function", 12, 7, "seven");
    const std::string message = "File.cpp: function(12) > [function:12] value 7 of seven";
    EXPECT_EQ(length, static_cast<int>(message.size()) + 1);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0], (Record{{"MESSAGE", message},
                                  {"PRIORITY", "3"},
                                  {"GLIB_DOMAIN", "SOURCE_API"},
                                  {"CODE_FILE", "File.cpp"},
                                  {"CODE_FUNC", "function"},
                                  {"CODE_LINE", "12"},
                                  {"SOURCE_LOG_ID", "0"},
                                  {"SOURCE_LOG_PRIORITY", "6"}}));
}

TEST_F(PlatformLogTest, LineWithoutThePrefixHasNoCodeLocation) {
    __dlog_print(3, 4, "OTHER", "%s: only %d\n", "text", 1);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0], (Record{{"MESSAGE", "text: only 1"},
                                  {"PRIORITY", "6"},
                                  {"GLIB_DOMAIN", "OTHER"},
                                  {"SOURCE_LOG_ID", "3"},
                                  {"SOURCE_LOG_PRIORITY", "4"}}));
}

TEST_F(PlatformLogTest, PrioritiesAreMappedToThoseOfTheSystemsLog) {
    const std::map<int, std::string> priorities = {{-1, "5"}, {0, "5"}, {1, "5"}, {2, "7"},
                                                   {3, "7"},  {4, "6"}, {5, "4"}, {6, "3"},
                                                   {7, "2"},  {8, "5"}, {99, "5"}};
    for (const auto &[platform, system] : priorities) {
        records.clear();
        __dlog_print(0, platform, "TAG", "text");
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0].at("PRIORITY"), system);
        EXPECT_EQ(records[0].at("SOURCE_LOG_PRIORITY"), std::to_string(platform));
    }
}

TEST_F(PlatformLogTest, EveryPriorityIsLoggedAtGLibsDebugLevel) {
    for (int priority = 0; priority < 9; ++priority) {
        __dlog_print(0, priority, "TAG", "text");
    }
    ASSERT_EQ(levels.size(), 9U);
    EXPECT_THAT(levels, testing::Each(G_LOG_LEVEL_DEBUG));
}

TEST_F(PlatformLogTest, LongLineIsNotCut) {
    for (const std::size_t size : {1022U, 1023U, 1024U, 1025U, 100000U}) {
        records.clear();
        const std::string text(size, 'x');
        EXPECT_EQ(__dlog_print(0, 4, "TAG", "%s\n", text.c_str()), static_cast<int>(size) + 1);
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0].at("MESSAGE"), text);
    }
}

TEST_F(PlatformLogTest, OnlyOneNewlineIsRemoved) {
    __dlog_print(0, 4, "TAG", "text\n\n");
    __dlog_print(0, 4, "TAG", "%s", "");
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].at("MESSAGE"), "text\n");
    EXPECT_EQ(records[1].at("MESSAGE"), "");
}

TEST_F(PlatformLogTest, NullTagIsOmitted) {
    EXPECT_EQ(__dlog_print(0, 4, nullptr, "text"), 4);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].count("GLIB_DOMAIN"), 0U);
}

TEST_F(PlatformLogTest, NullFormatIsRejected) {
    const char *format = nullptr;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
    EXPECT_LT(__dlog_print(0, 4, "TAG", format), 0);
#pragma GCC diagnostic pop
    EXPECT_TRUE(records.empty());
}

TEST_F(PlatformLogTest, LinesOfManyThreadsAreNotMixed) {
    constexpr int threads = 8;
    constexpr int lines = 100;
    std::vector<std::thread> writers;
    writers.reserve(threads);
    for (int writer = 0; writer < threads; ++writer) {
        writers.emplace_back([writer] {
            for (int line = 0; line < lines; ++line) {
                __dlog_print(0, 6, "TAG", PREFIX "%d\n", "File.cpp", "f", writer, "f", writer,
                             line);
            }
        });
    }
    for (std::thread &writer : writers) {
        writer.join();
    }
    ASSERT_EQ(records.size(), static_cast<std::size_t>(threads * lines));
    std::map<std::string, int> linesOfWriter;
    for (const Record &each : records) {
        const std::string &line = each.at("CODE_LINE");
        std::string place("File.cpp: f(");
        place.append(line).append(") > [f:").append(line).append("] ");
        EXPECT_EQ(each.at("MESSAGE").rfind(place, 0), 0U);
        ++linesOfWriter[line];
    }
    EXPECT_EQ(linesOfWriter.size(), static_cast<std::size_t>(threads));
}

TEST(TerminalLogTest, LogIsNotPrintedByDefault) {
    Program program({LOG_ONE_LINE}, {{"G_MESSAGES_DEBUG", ""}});
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_EQ(program.output() + program.errors(), "");
}

TEST(TerminalLogTest, LogIsPrintedWithTheDebugVariable) {
    for (const char *domain : {"all", "SOURCE_API"}) {
        Program program({LOG_ONE_LINE}, {{"G_MESSAGES_DEBUG", domain}});
        EXPECT_EQ(program.exitCode(), 0);
        EXPECT_THAT(program.output() + program.errors(), testing::HasSubstr("one line"));
    }
}

}  // namespace emulated_tv
