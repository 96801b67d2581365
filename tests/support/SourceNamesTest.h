// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A fixture for tests of the sources' names and device types.
#ifndef TESTS_SOURCE_NAMES_TEST_H
#define TESTS_SOURCE_NAMES_TEST_H

#include <string>
#include <tuple>
#include <vector>

#include "ClientTest.h"

using Names = std::multimap<int, SourceNameList>;
// Source type, edit name, detected name, device type, activity index, edit state, setting method.
using Entry = std::tuple<int, std::string, std::string, int, int, int, int>;

inline constexpr const char *unchanged = "unchanged";

inline std::vector<Entry> entriesOf(const Names &names) {
    std::vector<Entry> entries;
    for (const auto &[type, entry] : names) {
        entries.emplace_back(type, entry.editName, entry.detectedName, entry.deviceType,
                             entry.mbrActivityIndex, entry.editState, entry.settingMethod);
    }
    return entries;
}

class SourceNamesTest : public ClientTest {
 protected:
    // Reads the store; the read must succeed.
    static std::vector<Entry> readStore() {
        Names read;
        EXPECT_TRUE(ClientPeer::readNames(read));
        return entriesOf(read);
    }
    static std::vector<Entry> cached() { return entriesOf(ClientPeer::names()); }
    static bool loaded() { return ClientPeer::hasNames(); }

    // The name of a source, or `unchanged` if the query failed.
    static std::string nameOf(int sourceType, int index) {
        std::string name = unchanged;
        const bool found = CSourceAPI::Get()->GetSourceEditName(sourceType, name, index);
        EXPECT_EQ(found, name != unchanged);
        return name;
    }
    // The device type of a source, or `noDevice` if the query failed.
    static constexpr unsigned int noDevice = 4711;
    static unsigned int deviceOf(int sourceType, int index) {
        unsigned int device = noDevice;
        const bool found = CSourceAPI::Get()->GetSourceDeviceType(sourceType, &device, index);
        EXPECT_EQ(found, device != noDevice);
        return device;
    }

    const Entry game{7, "Game", "Console", 3, 0, 1, 0};
    const Entry player{7, "", "Player", 4, 1, 0, 2};
};

#endif
