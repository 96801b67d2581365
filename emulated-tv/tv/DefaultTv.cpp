// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "DefaultTv.h"

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

}  // namespace emulated_tv
