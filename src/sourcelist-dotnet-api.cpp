// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "sourcelist-dotnet-api.h"

#include <cstring>
#include <string>

#include "Log.h"
#include "SourceAPI.h"

char *get_source_list(void) {
    char *const list = CSourceAPI::Get()->GetSourceList();
    if (list == nullptr) {
        LOG_INFO("sourceList is NULL");
    }
    return list;
}

char *get_usb_data(const char *uniqueKey) {
    char *const data = CSourceAPI::Get()->GetUsbData(uniqueKey);
    if (data == nullptr) {
        LOG_INFO("usbData is NULL");
    }
    return data;
}

char *get_edit_name(int sourceType, int mbrActivityIndex) {
    std::string name;
    if (!CSourceAPI::Get()->GetSourceEditName(sourceType, name, mbrActivityIndex)) {
        LOG_INFO("failed");
        return nullptr;
    }
    LOG_INFO("editName[ %s ]", name.c_str());
    return strdup(name.c_str());
}

unsigned int get_device_type(int sourceType, int mbrActivityIndex) {
    unsigned int deviceType = 0;
    if (!CSourceAPI::Get()->GetSourceDeviceType(sourceType, &deviceType, mbrActivityIndex)) {
        LOG_INFO("failed");
        return 0;
    }
    LOG_INFO("deviceType[ %d ]", deviceType);
    return deviceType;
}

bool set_edit_name(int sourceType, const char *editName, int mbrActivityIndex) {
    return CSourceAPI::Get()->SetSourceEditName(sourceType, std::string(editName),
                                                mbrActivityIndex);
}

bool set_device_type(int sourceType, unsigned int deviceType, int mbrActivityIndex) {
    return CSourceAPI::Get()->SetSourceDeviceType(sourceType, deviceType, mbrActivityIndex);
}

bool connect_source(int sourceType) {
    return CSourceAPI::Get()->Connect(sourceType);
}

bool connect_source_with_uniquekey(int sourceType, const char *uniqueKey) {
    return CSourceAPI::Get()->RunApp(sourceType, std::string(uniqueKey));
}

void register_sourcelist_changed_callback(void (*callback)(int, void *), void *userData) {
    CSourceAPI::RegisterSourceAPICallback(callback, userData);
}

void unregister_sourcelist_changed_callback(void *userData) {
    CSourceAPI::UnregisterSourceAPICallback(userData);
}

char *get_source_osd_text(int sourceType) {
    std::string text;
    const bool known = CSourceAPI::Get()->GetSourceOSDText(sourceType, text);
    LOG_INFO("ret[%d] strSourceOSDName[%s]", known, text.c_str());
    return strdup(text.c_str());
}

bool set_source_detetedname_and_devicetype(int sourceType, const char *detectedName,
                                           unsigned int deviceType, int mbrActivityIndex) {
    return CSourceAPI::Get()->SetSourceDetectedNameAndDeviceType(
        sourceType, std::string(detectedName), deviceType, mbrActivityIndex);
}
