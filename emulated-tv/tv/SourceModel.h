// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SOURCE_MODEL_H
#define EMULATED_TV_SOURCE_MODEL_H

#include <json/json.h>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace emulated_tv {

// Icons set by an application, empty if not set.
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
    // The members of the reply to UtilGetUsbData; null if the source is not a USB device.
    Json::Value usbData;

    bool isUsb() const { return !usbData.isNull(); }
};

// The emulated TV's sources and the rules by which they change, without bus and files. Operations
// that fail throw Refusal and change nothing.
class SourceModel {
 public:
    // Reads toJson's form. Throws Refusal if a member is missing or has another type.
    static SourceModel fromJson(const Json::Value &document);
    Json::Value toJson() const;

    // The list as the service sends it, with names percent-encoded.
    Json::Value list() const;
    // The document of names in the settings store.
    Json::Value names() const;

    const std::vector<Source> &sources() const { return m_sources; }
    const Source &source(const std::string &uniqueKey) const;
    const Source &source(std::int32_t sourceType, std::int32_t mbrActivityIndex) const;
    // The unique key of the source that the TV shows.
    const std::string &selected() const { return m_selected; }

    // Requests of applications. A port with nothing plugged in can be selected, too.
    void select(std::int32_t sourceType);
    void select(std::int32_t sourceType, const std::string &uniqueKey);
    void setDetected(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                     const std::string &name, std::uint32_t deviceType);
    // An empty name removes the user's name.
    void setEditName(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                     const std::string &name);
    void setDeviceType(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                       std::uint32_t deviceType);
    void setCustomIcons(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                        const CustomIcons &icons);

    // Events at the TV itself. Plugging in a new key that begins with "usb" adds the source of a
    // USB device, and unplugging it removes that source; ports stay.
    void plug(const std::string &uniqueKey, const std::optional<std::string> &name,
              std::optional<std::uint32_t> deviceType);
    void unplug(const std::string &uniqueKey);
    void rename(const std::string &uniqueKey, const std::string &name);
    void setPower(const std::string &uniqueKey, bool on);

 private:
    using Position = std::vector<Source>::iterator;

    Position find(const std::string &uniqueKey);
    Position find(std::int32_t sourceType, std::int32_t mbrActivityIndex);
    Source &addUsbDevice(const std::string &uniqueKey, const std::string &name);
    std::string keys() const;

    std::vector<Source> m_sources;
    std::string m_selected;
};

}  // namespace emulated_tv

#endif
