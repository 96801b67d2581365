// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SOURCE_MODEL_H
#define EMULATED_TV_SOURCE_MODEL_H

#include <json/json.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Source.h"

namespace emulated_tv {

// The emulated TV's sources and the rules by which they change. It knows nothing of the bus or of
// files. What changes it throws Refusal, and then has changed nothing.
class SourceModel {
 public:
    // toJson's form; throws Refusal when it is something else.
    static SourceModel fromJson(const Json::Value &document);
    Json::Value toJson() const;

    // The complete list as the service sends it.
    Json::Value list() const;
    // The document of names as the settings store holds it.
    Json::Value names() const;

    const std::vector<Source> &sources() const { return m_sources; }
    const Source &source(const std::string &uniqueKey) const;
    const Source &source(std::int32_t sourceType, std::int32_t mbrActivityIndex) const;
    // The unique key of the source that the TV shows.
    const std::string &selected() const { return m_selected; }

    // What applications ask for. The TV also switches to a port that has nothing plugged in.
    void select(std::int32_t sourceType);
    void select(std::int32_t sourceType, const std::string &uniqueKey);
    void setDetected(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                     const std::string &name, std::uint32_t deviceType);
    // An empty name takes the user's name back.
    void setEditName(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                     const std::string &name);
    void setDeviceType(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                       std::uint32_t deviceType);
    void setCustomIcons(std::int32_t sourceType, std::int32_t mbrActivityIndex,
                        const CustomIcons &icons);

    // What happens at the TV itself. Plugging under a new key that begins with "usb" adds a USB
    // device; unplugging one removes its source, while a port stays.
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
