// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Input: the names document of the settings store.
#include "Fuzzing.h"
#include "ReferenceModel.h"
#include "SourceAPI.h"
#include "SourceApiPeer.h"
#include "StubPlatform.h"

namespace {

using fuzz::require;

// No value if a member has the wrong type.
std::optional<reference::Names> expectedNames(const std::string &document) {
    try {
        return reference::names(document);
    } catch (const Json::Exception &) {
        return std::nullopt;
    }
}

void checkReading(const std::optional<reference::Names> &expected) {
    std::multimap<int, SourceNameList> map;
    try {
        require(ClientPeer::readNames(map), "reading an existing document succeeds");
        require(expected && reference::toNames(map) == *expected,
                "the entries are those of the document");
    } catch (const Json::Exception &) {
        require(!expected, "only values of wrong types make reading throw");
    }
}

void checkCache(const std::optional<reference::Names> &expected) {
    SourceNameList older;
    older.editName = "older";
    ClientPeer::names() = {{-3, older}};
    ClientPeer::hasNames() = false;
    const reference::Names before = reference::toNames(ClientPeer::names());
    bool threw = false;
    try {
        ClientPeer::updateNames();
    } catch (const Json::Exception &) {
        threw = true;
    }
    require(threw != expected.has_value(), "only values of wrong types make reading throw");
    require(reference::toNames(ClientPeer::names()) == expected.value_or(before),
            "the cache is replaced, or unchanged after an exception");
    require(ClientPeer::hasNames() == expected.has_value(),
            "the cache is marked as filled if it was replaced");
}

// Queries every entry; the result is the first entry with its type and index.
void checkQueries(CSourceAPI *client, const reference::Names &names) {
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
                "a name is the user's or else the detected one");
        unsigned int foundType = 0;
        require(client->GetSourceDeviceType(type, &foundType, index),
                "every entry's device type is found");
        require(foundType == static_cast<unsigned int>(deviceType), "a device type is the entry's");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    CSourceAPI *const client = fuzz::clientWithoutBus();
    const std::string document = fuzz::cText(fuzz::inputText(data, size));
    fuzz::storedNames = document;
    const std::optional<reference::Names> expected = expectedNames(document);
    checkReading(expected);
    checkCache(expected);
    if (expected) {
        checkQueries(client, *expected);
    }
    // The engine searches for leaks if an input leaves memory allocated.
    ClientPeer::names().clear();
    fuzz::storedNames.reset();
    return 0;
}
