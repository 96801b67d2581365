// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SOURCE_H
#define EMULATED_TV_SOURCE_H

#include <json/json.h>

#include <cstdint>
#include <string>

namespace emulated_tv {

// The icons that an application gave a source, empty where it gave none.
struct CustomIcons {
    std::string source;
    std::string launcherFocused;
    std::string launcherUnfocused;
};

// One source of the TV. The numbers are explained in the emulated TV's README.
struct Source {
    std::string uniqueKey;
    std::int32_t sourceType = 0;
    std::int32_t mbrActivityIndex = 0;
    std::string editName;
    std::string detectedName;
    std::uint32_t deviceType = 0;
    bool connected = false;
    std::int32_t powerState = 0;
    std::int32_t editState = 0;
    std::int32_t settingMethod = 0;
    // The TV's own icon.
    std::string iconPath;
    CustomIcons customIcons;
    // What the TV knows of a USB device, member by member as the service tells it; null for a
    // source that is not one.
    Json::Value usbData;

    bool isUsb() const { return !usbData.isNull(); }
};

// The form in which the emulated TV keeps a source. Reading throws Refusal when something is
// missing or of the wrong type.
Source sourceFromJson(const Json::Value &stored);
Json::Value sourceToJson(const Source &source);

// The form in which the service's list shows a source: names percent-encoded.
Json::Value listElement(const Source &source);

// The form in which the settings store's document of names shows a source.
Json::Value nameEntry(const Source &source);

}  // namespace emulated_tv

#endif
