// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceStore.h"

#include <stdexcept>
#include <utility>

#include "JsonText.h"
#include "Refusal.h"

namespace emulated_tv {

const char *const defaultTv = R"json({
  "selected": "tuner",
  "sources": [
    {
      "uniqueKey": "tuner", "sourceType": 1, "mbrActivityIndex": 0,
      "editName": "", "detectedName": "Antenne", "deviceType": 0,
      "connected": true, "powerState": 1, "editState": 0, "settingMethod": 0,
      "iconPath": "/usr/share/tv/icons/tuner.png"
    },
    {
      "uniqueKey": "hdmi1", "sourceType": 3, "mbrActivityIndex": 0,
      "editName": "Wohnzimmer Bär", "detectedName": "Set-top box", "deviceType": 1,
      "connected": true, "powerState": 1, "editState": 1, "settingMethod": 1,
      "iconPath": "/usr/share/tv/icons/hdmi.png"
    },
    {
      "uniqueKey": "hdmi2", "sourceType": 4, "mbrActivityIndex": 0,
      "editName": "", "detectedName": "Spielkonsole", "deviceType": 2,
      "connected": true, "powerState": 0, "editState": 0, "settingMethod": 0,
      "iconPath": "/usr/share/tv/icons/hdmi.png"
    },
    {
      "uniqueKey": "hdmi3", "sourceType": 5, "mbrActivityIndex": 0,
      "editName": "", "detectedName": "", "deviceType": 0,
      "connected": false, "powerState": 0, "editState": 0, "settingMethod": 0,
      "iconPath": "/usr/share/tv/icons/hdmi.png"
    },
    {
      "uniqueKey": "av", "sourceType": 2, "mbrActivityIndex": 0,
      "editName": "Old tapes", "detectedName": "", "deviceType": 3,
      "connected": false, "powerState": 0, "editState": 1, "settingMethod": 1,
      "iconPath": "/usr/share/tv/icons/av.png"
    },
    {
      "uniqueKey": "usb-disk", "sourceType": 8, "mbrActivityIndex": 0,
      "editName": "", "detectedName": "Été 2026", "deviceType": 6,
      "connected": true, "powerState": 1, "editState": 0, "settingMethod": 0,
      "iconPath": "/usr/share/tv/icons/usb-disk.png",
      "usbData": {
        "calledApp": "media-browser", "deviceType": "storage", "deviceName": "Été 2026",
        "isPTP": false, "vendorName": "Generic", "volumeName": "Été 2026",
        "devicePath": "/media/usb-disk"
      }
    },
    {
      "uniqueKey": "usb-camera", "sourceType": 8, "mbrActivityIndex": 1,
      "editName": "", "detectedName": "Björn's Kamera", "deviceType": 5,
      "connected": true, "powerState": 1, "editState": 0, "settingMethod": 0,
      "iconPath": "/usr/share/tv/icons/usb-camera.png",
      "usbData": {
        "calledApp": "photo-viewer", "deviceType": "camera", "deviceName": "Björn's Kamera",
        "isPTP": true, "deviceBusNumber": "001", "deviceAddressNumber": "004"
      }
    }
  ]
}
)json";

namespace {

SourceModel load(const std::filesystem::path &file) {
    if (!std::filesystem::exists(file)) {
        return defaultSources();
    }
    const auto document = support::parseJson(readFile(file).value_or(""));
    try {
        if (document) {
            return SourceModel::fromJson(*document);
        }
    } catch (const Refusal &refusal) {
        throw std::runtime_error("cannot read " + file.string() + ": " + refusal.what());
    }
    throw std::runtime_error("cannot read " + file.string());
}

}  // namespace

SourceModel defaultSources() {
    return SourceModel::fromJson(support::parseJson(defaultTv).value_or(Json::nullValue));
}

SourceStore::SourceStore(const std::filesystem::path &root, const std::optional<SourceModel> &model)
    : m_file(root / "state.json"), m_settings(root), m_model(model ? *model : load(m_file)) {
    save(m_model);
}

std::optional<ListChange> SourceStore::change(ListChange what,
                                              const std::function<void(SourceModel &)> &edit) {
    SourceModel changed = m_model;
    edit(changed);
    save(changed);
    const bool listChanged = changed.list() != m_model.list();
    m_model = std::move(changed);
    return listChanged ? std::optional(what) : std::nullopt;
}

void SourceStore::save(const SourceModel &model) const {
    // The state file is written last. If that fails, the next start writes the names of the
    // sources that it still contains.
    m_settings.set("db/source-list/source-name", support::jsonLine(model.names()));
    replaceFile(m_file, support::jsonDocument(model.toJson()));
}

}  // namespace emulated_tv
