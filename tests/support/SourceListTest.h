// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A fixture for tests of the source list: a service that has three sources.
#ifndef TESTS_SOURCE_LIST_TEST_H
#define TESTS_SOURCE_LIST_TEST_H

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ClientTest.h"

using Records = std::multimap<int, CSourceItem>;
using RecordsPtr = std::shared_ptr<Records>;

inline constexpr const char *threeSources =
    R"([{"sourceType":8,"uniqueKey":"stick"},{"sourceType":3,"uniqueKey":"hdmi"},)"
    R"({"sourceType":8,"uniqueKey":"disk"}])";

class SourceListTest : public ClientTest {
 protected:
    SourceListTest() { serviceHas(threeSources); }

    void serviceHas(const std::string &list) {
        service.replyTo("UtilGetSourceList", R"({"return_data":)" + list + "}");
    }
    void breakFetch() { service.replyWithError("test.Error.Refused", "not today"); }
    void repairFetch() { service.reply("{}"); }
    int fetches() const { return service.countOf("UtilGetSourceList"); }

    static std::vector<std::string> keysOf(const Records &records) {
        std::vector<std::string> keys;
        for (const auto &[type, item] : records) {
            keys.push_back(item.uniqueKey);
        }
        return keys;
    }

    // Reads the list as records; the read must succeed.
    static RecordsPtr readRecords() {
        RecordsPtr records;
        EXPECT_TRUE(CSourceAPI::Get()->GetSourceList(&records));
        return records;
    }

    // Both forms fail, and each of them tries to fetch the list.
    void expectFailedReads() {
        const std::size_t waits = platform.waits().size();
        EXPECT_EQ(readText(), "no list");
        RecordsPtr records;
        EXPECT_FALSE(CSourceAPI::Get()->GetSourceList(&records));
        ASSERT_NE(records, nullptr);
        EXPECT_THAT(*records, testing::IsEmpty());
        EXPECT_EQ(platform.waits().size(), waits + 2);
        EXPECT_FALSE(hasList());
        EXPECT_TRUE(ClientPeer::hasNames());
    }

    static Json::Value cache() { return ClientPeer::list(); }
    static bool hasList() { return ClientPeer::hasList(); }
};

#endif
