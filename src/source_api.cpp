// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "source_api.h"

#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "CText.h"
#include "Log.h"
#include "SourceAPI.h"

namespace {

struct ReleaseRecord {
    void operator()(sourceapi_source_item *record) const {
        std::free(record->editName);
        std::free(record->detectedName);
        std::free(record->iconPath);
        std::free(record->uniqueKey);
        std::free(record->osdText);
        std::free(record);
    }
};

using RecordPtr = std::unique_ptr<sourceapi_source_item, ReleaseRecord>;

RecordPtr makeRecord(const CSourceItem &item) {
    auto *const record =
        static_cast<sourceapi_source_item *>(std::malloc(sizeof(sourceapi_source_item)));
    record->sourceType = item.sourceType;
    record->editName = newCText(item.editName);
    record->detectedName = newCText(item.detectedName);
    record->iconPath = newCText(item.iconPath);
    record->uniqueKey = newCText(item.uniqueKey);
    record->osdText = nullptr;
    record->connectionState = item.connectionState;
    record->powerState = item.powerState;
    record->mbrActivityIndex = item.mbrActivityIndex;
    return RecordPtr(record);
}

}  // namespace

bool sourceapi_run_app(int sourceType, const char *uniqueKey) {
    return CSourceAPI::Get()->RunApp(sourceType, std::string(uniqueKey));
}

bool sourceapi_connect(int sourceType) {
    return CSourceAPI::Get()->Connect(sourceType);
}

unsigned int sourceapi_get_source_device_type(int sourceType, int mbrActivityIndex) {
    unsigned int deviceType = 0;
    if (!CSourceAPI::Get()->GetSourceDeviceType(sourceType, &deviceType, mbrActivityIndex)) {
        LOG_INFO("failed");
        return 0;
    }
    LOG_INFO("deviceType[ %d ]", deviceType);
    return deviceType;
}

void sourceapi_register_source_api_cb(void (*callback)(int, void *), void *userData) {
    CSourceAPI::RegisterSourceAPICallback(callback, userData);
}

void sourceapi_unregister_source_api_cb(void *userData) {
    CSourceAPI::UnregisterSourceAPICallback(userData);
}

bool sourceapi_get_sourcelist(sourceapi_sourcelist_cb callback) {
    CSourceAPI *const api = CSourceAPI::Get();
    std::shared_ptr<std::multimap<int, CSourceItem>> list;
    if (!api->GetSourceList(&list)) {
        LOG_ERROR("GetSourceList failed!");
        return false;
    }
    for (const auto &[key, item] : *list) {
        RecordPtr record = makeRecord(item);
        std::string osdText;
        api->GetSourceOSDText(item.sourceType, osdText);
        record->osdText = newCText(osdText);
        LOG_INFO("%d %s %s", item.sourceType, item.editName.c_str(), osdText.c_str());
        callback(key, record.release(), false);
    }
    return true;
}
