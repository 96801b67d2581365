// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// An input is the settings store's document with the sources' names.
#include "Fuzzing.h"
#include "Literal.h"
#include "SourceAPI.h"
#include "Surroundings.h"

namespace {

literal::Names plain(const std::multimap<int, SourceNameList> &map) {
    literal::Names names;
    for (const auto &[type, name] : map) {
        names.insert({type,
                      {name.editName, name.detectedName, name.deviceType, name.mbrActivityIndex,
                       name.editState, name.settingMethod}});
    }
    return names;
}

// Absent when values have wrong types.
std::optional<literal::Names> expectedNames(const std::string &document) {
    try {
        return literal::names(document);
    } catch (const Json::Exception &) {
        return std::nullopt;
    }
}

void checkReading(const std::optional<literal::Names> &expected) {
    std::multimap<int, SourceNameList> map;
    try {
        require(CSourceAPI::m_GetSourceMap(map), "a document that is there counts as read");
        require(expected && plain(map) == *expected, "the entries are those of the document");
    } catch (const Json::Exception &) {
        require(!expected, "only values of wrong types make reading throw");
    }
}

void checkCache(const std::optional<literal::Names> &expected) {
    SourceNameList older;
    older.editName = "older";
    CSourceAPI::m_SourceDataMap = {{-3, older}};
    CSourceAPI::m_bIntializedSourceDataMap = false;
    const literal::Names before = plain(CSourceAPI::m_SourceDataMap);
    bool threw = false;
    try {
        CSourceAPI::m_UpdateSourceDataMapCache();
    } catch (const Json::Exception &) {
        threw = true;
    }
    require(threw != expected.has_value(), "only values of wrong types make reading throw");
    require(plain(CSourceAPI::m_SourceDataMap) == expected.value_or(before),
            "the cache is replaced by what was read, or left alone");
    require(CSourceAPI::m_bIntializedSourceDataMap == expected.has_value(),
            "the cache counts as filled when it was replaced");
}

// Every entry is asked for; the first of its type and index answers.
void checkQueries(CSourceAPI *client, const literal::Names &names) {
    for (const auto &entry : names) {
        const auto type = entry.first;
        const int index = std::get<3>(entry.second);
        auto found = names.lower_bound(type);
        while (std::get<3>(found->second) != index) {
            ++found;
        }
        const auto &[editName, detectedName, deviceType, foundIndex, editState, method] =
            found->second;
        std::string name;
        require(client->GetSourceEditName(type, name, index), "every entry's name is found");
        require(name == (editName.empty() ? detectedName : editName),
                "a name is the user's, or else the detected one");
        unsigned int foundType = 0;
        require(client->GetSourceDeviceType(type, &foundType, index),
                "every entry's device type is found");
        require(foundType == static_cast<unsigned int>(deviceType), "a device type is the entry's");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    CSourceAPI *const client = clientWithoutBus();
    const std::string document = cText(inputText(data, size));
    storedNames = document;
    const std::optional<literal::Names> expected = expectedNames(document);
    checkReading(expected);
    checkCache(expected);
    if (expected) {
        checkQueries(client, *expected);
    }
    // The engine looks for leaks when an input leaves memory behind.
    CSourceAPI::m_SourceDataMap.clear();
    storedNames.reset();
    return 0;
}
