// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "source_api.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <string>

#include "Log.h"
#include "SourceAPI.h"

using source_api::internal::orNull;

namespace {

using SourceList = std::shared_ptr<std::multimap<int, CSourceItem>>;

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

// Callers are C programs, so a lack of memory is a failure here and no exception.
bool readList(SourceList &list) {
    try {
        return CSourceAPI::Get()->GetSourceList(&list);
    } catch (const std::bad_alloc &) {
        return false;
    }
}

// Null when memory ran out.
RecordPtr makeRecord(const CSourceItem &item) {
    RecordPtr record(
        static_cast<sourceapi_source_item *>(std::malloc(sizeof(sourceapi_source_item))));
    if (!record) {
        return record;
    }
    record->sourceType = item.sourceType;
    record->editName = strdup(item.editName.c_str());
    record->detectedName = strdup(item.detectedName.c_str());
    record->iconPath = strdup(item.iconPath.c_str());
    record->uniqueKey = strdup(item.uniqueKey.c_str());
    record->osdText = nullptr;
    record->connectionState = item.connectionState;
    record->powerState = item.powerState;
    record->mbrActivityIndex = item.mbrActivityIndex;
    try {
        std::string osdText;
        CSourceAPI::Get()->GetSourceOSDText(item.sourceType, osdText);
        record->osdText = strdup(osdText.c_str());
    } catch (const std::bad_alloc &) {
        record.reset();
    }
    return record;
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
    SourceList list;
    if (!readList(list)) {
        LOG_ERROR("GetSourceList failed!");
        return false;
    }
    for (const auto &[key, item] : *list) {
        RecordPtr record = makeRecord(item);
        if (!record) {
            LOG_ERROR("GetSourceList failed!");
            return false;
        }
        LOG_INFO("%d %s %s", item.sourceType, item.editName.c_str(), orNull(record->osdText));
        callback(key, record.release(), false);
    }
    return true;
}
