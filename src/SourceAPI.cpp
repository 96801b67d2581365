// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceAPI.h"

#include <unistd.h>

#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <optional>
#include <string_view>

#include "Atomic.h"
#include "CText.h"
#include "JsonText.h"
#include "Log.h"
#include "Mutex.h"
#include "SharedEndpoint.h"
#include "SourceTCServer.h"

std::recursive_mutex m_sourceUtilMutex;
std::mutex m_sourceAPICallbackDataMutex;

const char *CSourceAPI::API_NAME = "Source";
SourceTCServer *CSourceAPI::dBusHandler = nullptr;
bool CSourceAPI::m_bHasSubscribedForEvent = false;
bool CSourceAPI::m_bNotified = false;
bool CSourceAPI::m_bIntializedSourceDataMap = false;
bool CSourceAPI::m_bIntializedSourceItemArray = false;
Json::Value &CSourceAPI::m_sourceItemArray = *new Json::Value;
std::multimap<int, SourceNameList> &CSourceAPI::m_SourceDataMap =
    *new std::multimap<int, SourceNameList>;

namespace {

constexpr const char *clientName = "source_api";
constexpr const char *serviceName = "source_service";
constexpr const char *readinessEvent = "/tmp/source_service_ready";
constexpr int readinessTimeout = 10000;
constexpr const char *sourceNameKey = "db/source-list/source-name";
constexpr const char *unknownSourceType = "----";

// Makes threads that connect at once end with one subscription. Held while a subscription is
// checked, made and noted, or ended; never over a bus call, the settings store or opening a bus.
Mutex connectionMutex;

// Guards the array of registrations itself, innermost and for short: at exit the array is
// released without waiting for callbacks that still run on another thread.
Mutex registrationsMutex;

// The values that the running announcement of this thread still has to tell; null when none runs.
thread_local std::vector<int> *pendingValues = nullptr;

// Marks this thread as announcing.
class Announcement {
 public:
    explicit Announcement(int value) : m_values{value} { pendingValues = &m_values; }
    ~Announcement() { pendingValues = nullptr; }
    Announcement(const Announcement &) = delete;
    Announcement &operator=(const Announcement &) = delete;

    // The next value to tell. Callbacks may add more at any time.
    std::optional<int> next() {
        return m_told < m_values.size() ? std::optional<int>(m_values[m_told++]) : std::nullopt;
    }

 private:
    std::vector<int> m_values;
    std::size_t m_told = 0;
};

// Whether the last reading of the names was one. What it read may be stale meanwhile.
std::atomic<bool> namesWereRead{false};

// How often names or device types were changed from here.
std::atomic<unsigned int> nameChanges{0};

// Makes the next query of names or device types read the store again. Counted first: whoever reads
// the store just now either sees the count or sets the flag before this clears it.
void expireNames(bool &areFresh) {
    ++nameChanges;
    atomicStore(areFresh, false);
}

// Where a list is expected, the empty JSON string asks for one to be fetched.
Json::Value fetchRequest() {
    return Json::Value("");
}

// The first entry of a source type with that activity index; null when there is none. The caller
// holds m_sourceUtilMutex.
const SourceNameList *findName(const std::multimap<int, SourceNameList> &names, int sourceType,
                               int mbrActivityIndex) {
    for (auto entry = names.lower_bound(sourceType);
         entry != names.end() && entry->first == sourceType; ++entry) {
        if (entry->second.mbrActivityIndex == mbrActivityIndex) {
            return &entry->second;
        }
    }
    return nullptr;
}

bool parseJson(const std::string &text, Json::Value &root) {
    try {
        return readJson(text, root, nullptr);
    } catch (const Json::Exception &) {
        return false;  // nested deeper than the reader goes
    }
}

void replaceText(std::string &text, const std::string &from, const std::string &to) {
    std::size_t found = from.empty() ? std::string::npos : text.find(from);
    if (found == std::string::npos) {
        return;
    }
    std::string result;
    result.reserve(text.size());
    std::size_t copied = 0;
    while (found != std::string::npos) {
        result.append(text, copied, found - copied).append(to);
        copied = found + from.size();
        // The last character is never searched right after a replacement.
        found = text.size() - copied <= 1 ? std::string::npos : text.find(from, copied);
    }
    result.append(text, copied, std::string::npos);
    text = std::move(result);
}

// The styled form of a value on one line.
std::string oneLine(const Json::Value &value) {
    std::string text = styledText(value);
    replaceText(text, "\n", "");
    return text;
}

// Whether `list` differs from the cache, without copying it as the operation of that name has to;
// the log names the function.
bool m_IsUpdated(const Json::Value &cache, const Json::Value &list) {
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    const bool updated = cache != list;
    if (!updated) {
        LOG_INFO("Sourcelist is not changed");
    }
    return updated;
}

// The character that the digits of a percent escape stand for.
char unescape(const std::string &digits) {
    unsigned int value = 0;
    const char *const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, value, 16);
    if (read.ec != std::errc() || read.ptr != end) {
        // sscanf decides what a malformed escape means: blanks, signs and no digit at all.
        value = 0;
        (void)std::sscanf(digits.c_str(), "%x", &value);
    }
    return static_cast<char>(value & 0xFFU);
}

// Asks for a USB device by `send` and hands the whole answer to `take`. Both forms of the query
// share it; it bears their name because the log names the function.
template <class Key, class Send, class Take>
bool GetUsbData(const Key &uniqueKey, const char *shownKey, Send send, Take take) {
    LOG_ERROR("connecting uniquekey = [%s]", orNull(shownKey));
    try {
        Json::Value data;
        data["SourceUniqueKey"] = std::string(uniqueKey);
        SourceTCMessage request;
        request.m_JsonRoot["method"] = "UtilGetUsbData";
        request.m_JsonRoot["data"] = std::move(data);
        SourceTCMessage reply;
        if (!send(request, reply)) {
            return false;
        }
        Json::Value &root = reply.m_JsonRoot;
        if (root.isMember("return_data") && !root["return_data"].asBool()) {
            LOG_ERROR("Failed to get usbdata!");
            return false;
        }
        LOG_INFO("%s", oneLine(root).c_str());
        take(root);
        return true;
    } catch (const Json::Exception &exception) {
        LOG_ERROR("Exception occured! [%s]", exception.what());
        LOG_ERROR("Error: no response or return_data!");
        return false;
    }
}

}  // namespace

CSourceItem::CSourceItem()
    : sourceType(0), connectionState(false), powerState(0), mbrActivityIndex(0), settingMethod(0) {}

CSourceItem::CSourceItem(const CSourceItem &other) : CSourceItem() {
    *this = other;
}

CSourceItem &CSourceItem::operator=(const CSourceItem &other) {
    if (this != &other) {
        sourceType = other.sourceType;
        editName = other.editName;
        detectedName = other.detectedName;
        iconPath = other.iconPath;
        uniqueKey = other.uniqueKey;
        connectionState = other.connectionState;
        powerState = other.powerState;
        mbrActivityIndex = other.mbrActivityIndex;
    }
    return *this;
}

CSourceItem::~CSourceItem() = default;

SourceNameList::SourceNameList()
    : deviceType(0), mbrActivityIndex(-2), editState(0), settingMethod(0) {}

SourceNameList::~SourceNameList() = default;

CSourceAPI *CSourceAPI::Get() {
    static CSourceAPI instance;
    return &instance;
}

CSourceAPI::CSourceAPI() {
    LOG_INFO("CSourceAPI constructor");
    m_CreateDbusConnection();
}

CSourceAPI::~CSourceAPI() {
    LOG_INFO("CSourceAPI destructor");
    m_CloseDbusConnection();
    std::vector<STSourceAPICallbackData> released;
    const MutexLock lock(registrationsMutex);
    released.swap(m_sourceAPICallbackData);
}

void CSourceAPI::RegisterSourceAPICallback(void (*callback)(int, void *), void *pUserData) {
    LOG_INFO("RegisterSourceAPICallback");
    if (callback == nullptr) {
        LOG_ERROR("callback is null");
        return;
    }
    CSourceAPI *const api = Get();
    const std::lock_guard<std::mutex> lock(m_sourceAPICallbackDataMutex);
    LOG_INFO("[Register Callback] callback : %p, pUserData : %p",
             reinterpret_cast<void *>(callback), pUserData);
    const MutexLock arrayLock(registrationsMutex);
    api->m_sourceAPICallbackData.push_back({callback, pUserData});
}

void CSourceAPI::UnregisterSourceAPICallback(void *pUserData) {
    LOG_INFO("UnregisterSourceAPICallback");
    if (pUserData == nullptr) {
        LOG_INFO("user data is null");
    }
    CSourceAPI *const api = Get();
    const std::lock_guard<std::mutex> lock(m_sourceAPICallbackDataMutex);
    const MutexLock arrayLock(registrationsMutex);
    auto &registrations = api->m_sourceAPICallbackData;
    for (auto entry = registrations.begin(); entry != registrations.end(); ++entry) {
        if (entry->pUserData == pUserData) {
            LOG_INFO("[Unregister Callback] callback : %p, pUserData : %p",
                     reinterpret_cast<void *>(entry->apiCallback), entry->pUserData);
            registrations.erase(entry);
            return;
        }
    }
}

bool CSourceAPI::Connect(int sourceType) {
    LOG_ERROR("connecting source type = [%d]", sourceType);
    Json::Value data;
    data["SourceType"] = sourceType;
    return Get()->m_MakeAPICall("SourceConnect", std::move(data));
}

bool CSourceAPI::RunApp(int sourceType, std::string uniqueKey) {
    LOG_ERROR("connecting source type = [%d],[%s]", sourceType, uniqueKey.c_str());
    Json::Value data;
    data["SourceType"] = sourceType;
    data["SourceUniqueKey"] = uniqueKey;
    return Get()->m_MakeAPICall("RunApp", std::move(data));
}

char *CSourceAPI::GetSourceList() {
    LOG_ERROR("GetSourceList!");
    if (!atomicLoad(m_bIntializedSourceItemArray)) {
        if (!m_UpdateCache(fetchRequest())) {
            LOG_ERROR("Failed to get sourcelist!");
            return nullptr;
        }
        LOG_ERROR("Notify Source List Changed!");
        m_NotifySourceListChanged(0);
    }
    std::string text = m_GetSourceItemArrayString();
    m_ReplaceText(text, "\n", "");
    LOG_INFO("%s", text.c_str());
    return newCText(text);
}

bool CSourceAPI::GetSourceList(std::shared_ptr<std::multimap<int, CSourceItem>> *out) {
    LOG_ERROR("GetSourceList!");
    *out = std::make_shared<std::multimap<int, CSourceItem>>();
    if (!atomicLoad(m_bIntializedSourceItemArray) && !m_UpdateCache(fetchRequest())) {
        LOG_ERROR("Failed to get sourcelist!");
        return false;
    }
    try {
        // Copied one by one, so that a long list lies in memory in the order of reading.
        std::vector<Json::Value> list;
        {
            const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
            list.reserve(m_sourceItemArray.size());
            for (const Json::Value &element : m_sourceItemArray) {
                list.push_back(element);
            }
        }
        for (Json::Value &element : list) {
            const int key = element["sourceType"].asInt();
            LOG_INFO("[%d] %s", key, oneLine(element).c_str());
            CSourceItem &item = (*out)->emplace(key, CSourceItem())->second;
            m_ConvertJsonToSourceItemObject(std::move(element), &item);
            // As in every copy of a record.
            item.settingMethod = 0;
        }
    } catch (const Json::Exception &exception) {
        LOG_ERROR("Exception occured! [%s]", exception.what());
        return false;
    }
    return true;
}

bool CSourceAPI::GetSourceEditName(int sourceType, std::string &name, int mbrActivityIndex) {
    if (!atomicLoad(m_bIntializedSourceDataMap) && !m_UpdateCache(fetchRequest())) {
        LOG_ERROR("Failed to get sourcemap!");
        return false;
    }
    LOG_ERROR("GetSourceEditName");
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    const SourceNameList *const entry = findName(m_SourceDataMap, sourceType, mbrActivityIndex);
    if (entry == nullptr) {
        LOG_INFO("get GetSourceEditName fail[%d][%d]", sourceType, mbrActivityIndex);
        return false;
    }
    name = entry->editName.empty() ? entry->detectedName : entry->editName;
    LOG_INFO(
        "nSourceType[%d], strSourceName[%s], nMbrActivityIndex[%d] (EditName: %s, DetectedName: "
        "%s)",
        sourceType, name.c_str(), mbrActivityIndex, entry->editName.c_str(),
        entry->detectedName.c_str());
    return true;
}

bool CSourceAPI::GetSourceDeviceType(int sourceType, unsigned int *deviceType,
                                     int mbrActivityIndex) {
    if (!atomicLoad(m_bIntializedSourceDataMap) && !m_UpdateCache(fetchRequest())) {
        LOG_ERROR("Failed to get sourcemap!");
        return false;
    }
    LOG_ERROR("GetSourceDeviceType");
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    const SourceNameList *const entry = findName(m_SourceDataMap, sourceType, mbrActivityIndex);
    if (entry == nullptr) {
        LOG_INFO("get GetSourceDeviceType fail[%d][%d]", sourceType, mbrActivityIndex);
        return false;
    }
    *deviceType = static_cast<unsigned int>(entry->deviceType);
    LOG_INFO("nSourceType[%d], nDeviceType[%d], nMbrActivityIndex[%d]", sourceType,
             entry->deviceType, mbrActivityIndex);
    return true;
}

bool CSourceAPI::GetSourceOSDText(int sourceType, std::string &text) {
    LOG_ERROR("GetSourceOSDText");
    text = CSourceUtil::GetLagacySourceType(sourceType);
    LOG_INFO("%s", text.c_str());
    return text != unknownSourceType;
}

bool CSourceAPI::SetSourceDetectedNameAndDeviceType(int nSourceType,
                                                    const std::string &strDetectedName,
                                                    unsigned int nDetectedDeviceType,
                                                    int nMbrActivityIndex) {
    LOG_ERROR(
        "nSourceType[%d], strDetectedName[%s], nDetectedDeviceType[%d], nMbrActivityIndex[%d]",
        nSourceType, strDetectedName.c_str(), nDetectedDeviceType, nMbrActivityIndex);
    Json::Value data;
    data["SourceType"] = nSourceType;
    data["DetectedName"] = strDetectedName;
    data["DetectedDeviceType"] = nDetectedDeviceType;
    data["MBRActivityIndex"] = nMbrActivityIndex;
    const bool done =
        Get()->m_MakeAPICall("UtilSetSourceDetectedNameAndDeviceType", std::move(data));
    if (done) {
        expireNames(m_bIntializedSourceDataMap);
    }
    return done;
}

bool CSourceAPI::SetSourceEditName(int nSourceType, const std::string &strSourceName,
                                   int nMbrActivityIndex) {
    LOG_ERROR("nSourceType[%d], strSourceName[%s], nMbrActivityIndex[%d]", nSourceType,
              strSourceName.c_str(), nMbrActivityIndex);
    Json::Value data;
    data["SourceType"] = nSourceType;
    data["EditName"] = strSourceName;
    data["MBRActivityIndex"] = nMbrActivityIndex;
    const bool done = Get()->m_MakeAPICall("UtilSetSourceEditName", std::move(data));
    if (done) {
        expireNames(m_bIntializedSourceDataMap);
    }
    return done;
}

bool CSourceAPI::SetSourceDeviceType(int nSourceType, unsigned int nDeviceType,
                                     int nMbrActivityIndex) {
    LOG_ERROR("nSourceType[%d], nDeviceType[%d], nMbrActivityIndex[%d]", nSourceType, nDeviceType,
              nMbrActivityIndex);
    Json::Value data;
    data["SourceType"] = nSourceType;
    data["DeviceType"] = nDeviceType;
    data["MBRActivityIndex"] = nMbrActivityIndex;
    const bool done = Get()->m_MakeAPICall("UtilSetSourceDeviceType", std::move(data));
    if (done) {
        expireNames(m_bIntializedSourceDataMap);
    }
    return done;
}

bool CSourceAPI::SetCustomIconPath(int SourceType, const std::string &SourceIconPath,
                                   const std::pair<std::string, std::string> &LauncherIconPath,
                                   int MbrActivityIndex) {
    LOG_ERROR(
        "SourceType[%d], SourceIconPath[%s], LauncherIconPath_f[%s], LauncherIconPath_n[%s], "
        "MbrActivityIndex[%d]",
        SourceType, SourceIconPath.c_str(), LauncherIconPath.first.c_str(),
        LauncherIconPath.second.c_str(), MbrActivityIndex);
    Json::Value data;
    data["SourceType"] = SourceType;
    data["Pid"] = static_cast<int>(getpid());
    data["MbrActivityIndex"] = MbrActivityIndex;
    data["SourceIconPath"] = SourceIconPath;
    data["LauncherFocusedIconPath"] = LauncherIconPath.first;
    data["LauncherUnfocusedIconPath"] = LauncherIconPath.second;
    return Get()->m_MakeAPICall("UtilSetCustomIconPath", std::move(data));
}

bool CSourceAPI::GetCustomIconPath(int SourceType, std::string &SourceIconPath,
                                   std::pair<std::string, std::string> &LauncherIconPath,
                                   int MbrActivityIndex) {
    LOG_ERROR("GetCustomIconPath");
    try {
        Json::Value data;
        data["SourceType"] = SourceType;
        data["MbrActivityIndex"] = MbrActivityIndex;
        SourceTCMessage request;
        request.m_JsonRoot["method"] = "UtilGetCustomIconPath";
        request.m_JsonRoot["data"] = std::move(data);
        SourceTCMessage reply;
        if (!Get()->m_SendMessageSync(request, reply)) {
            return false;
        }
        Json::Value &root = reply.m_JsonRoot;
        SourceIconPath = root["SourceIconPath"].asString();
        LauncherIconPath.first = root["LauncherFocusedIconPath"].asString();
        LauncherIconPath.second = root["LauncherUnfocusedIconPath"].asString();
        return true;
    } catch (const Json::Exception &exception) {
        LOG_ERROR("Exception occured! [%s]", exception.what());
        return false;
    }
}

char *CSourceAPI::GetUsbData(const char *uniqueKey) {
    char *text = nullptr;
    ::GetUsbData(uniqueKey, uniqueKey, m_SendMessageSync,
                 [&](const Json::Value &root) { text = newCText(styledText(root)); });
    return text;
}

bool CSourceAPI::GetUsbData(std::string uniqueKey,
                            std::shared_ptr<std::map<std::string, std::string>> *usbData) {
    return ::GetUsbData(uniqueKey, uniqueKey.c_str(), m_SendMessageSync, [&](Json::Value &root) {
        *usbData = std::make_shared<std::map<std::string, std::string>>();
        const auto store = [&](const char *key, const char *member) {
            (*usbData)->emplace(key, root[member].asString());
        };
        store("called_app", "calledApp");
        store("device_type", "deviceType");
        store("device_name", "deviceName");
        if (root["isPTP"].asBool()) {
            store("device_busnumber", "deviceBusNumber");
            store("device_addressnumber", "deviceAddressNumber");
        } else {
            store("vendor_name", "vendorName");
            store("volume_name", "volumeName");
            store("device_path", "devicePath");
        }
    });
}

bool CSourceAPI::m_CreateDbusConnection() {
    if (atomicLoad(dBusHandler) == nullptr) {
        std::unique_ptr<SourceTCServer> endpoint(
            new (std::nothrow) SourceTCServer(clientName, SourceTCServer::PROXY));
        if (!endpoint) {
            LOG_ERROR("Fail to create SourceTCServer. dBusHandler is NULL");
            return false;
        }
        if (endpoint->CreateDBusProxy() == 0) {
            LOG_ERROR("fail to create dbus proxy for source serivce daemon");
            if (atomicLoad(dBusHandler) == nullptr) {
                m_CloseDbusConnection();
            }
            return false;
        }
        if (publishEndpoint(dBusHandler, endpoint)) {
            LOG_ERROR("Created source API dbus connection!");
        } else {
            endpoint->CloseDBusProxy();
        }
    }
    if (!atomicLoad(m_bIntializedSourceDataMap)) {
        LOG_INFO("Initialize Source Map");
        m_UpdateSourceDataMapCache();
    }
    LOG_INFO("Subscribe for signal :: [%d]", atomicLoad(m_bHasSubscribedForEvent));
    const MutexLock lock(connectionMutex);
    if (!atomicLoad(m_bHasSubscribedForEvent)) {
        const bool subscribed = m_SubscribeSignal();
        atomicStore(m_bHasSubscribedForEvent, subscribed);
        if (!subscribed) {
            LOG_ERROR("Fail to subscribe signal");
        }
    }
    return true;
}

void CSourceAPI::m_CloseDbusConnection() {
    const MutexLock lock(connectionMutex);
    LOG_INFO("Has subscribed for event :: [%d]", atomicLoad(m_bHasSubscribedForEvent));
    if (atomicLoad(m_bHasSubscribedForEvent)) {
        LOG_INFO("UNSubscribe signal callback");
        m_UnSubscribeSignal();
        atomicStore(m_bHasSubscribedForEvent, false);
    }
    retireEndpoint(dBusHandler);
}

bool CSourceAPI::m_SubscribeSignal() {
    LOG_INFO("m_SubscribeSignal");
    const EndpointUse endpoint(dBusHandler);
    if (!endpoint) {
        LOG_ERROR("dBusHandler is NULL. Can't subscribe signal.");
        return false;
    }
    return endpoint->SubscribeSignal(clientName, m_OnFunctionCallBack, nullptr) != 0;
}

void CSourceAPI::m_UnSubscribeSignal() {
    LOG_INFO("m_UnSubscribeSignal");
    const EndpointUse endpoint(dBusHandler);
    if (!endpoint) {
        LOG_ERROR("dBusHandler is NULL. Can't unsubscribe signal.");
        return;
    }
    endpoint->UnSubscribeSignal(clientName);
}

bool CSourceAPI::m_SendMessageSync(SourceTCMessage &request, SourceTCMessage &reply) {
    LOG_ERROR("m_SendMessageSync");
    if (atomicLoad(dBusHandler) == nullptr) {
        LOG_ERROR("Need to create Dbus Connection");
        if (!m_CreateDbusConnection() || atomicLoad(dBusHandler) == nullptr) {
            LOG_ERROR("Fail to create dbus connection. Can't send message");
            return false;
        }
    }
    if (!atomicLoad(m_bHasSubscribedForEvent)) {
        const MutexLock lock(connectionMutex);
        if (!atomicLoad(m_bHasSubscribedForEvent)) {
            LOG_ERROR("Subscribe signal");
            const bool subscribed = m_SubscribeSignal();
            atomicStore(m_bHasSubscribedForEvent, subscribed);
            if (!subscribed) {
                LOG_ERROR("Fail to subscribe signal");
            }
        }
    }
    const EndpointUse endpoint(dBusHandler);
    if (!endpoint) {
        // Closed meanwhile: the process is exiting.
        LOG_ERROR("Fail to create dbus connection. Can't send message");
        return false;
    }
    if (endpoint->IsServiceAvailable(serviceName) == 0) {
        LOG_ERROR("source-service server is not available yet!!!");
        return false;
    }
    return endpoint->SendMessage(serviceName, &request, true, &reply) != 0;
}

bool CSourceAPI::m_MakeAPICall(std::string method, Json::Value params) {
    try {
        SourceTCMessage request;
        request.m_JsonRoot["method"] = method;
        request.m_JsonRoot["data"] = std::move(params);
        SourceTCMessage reply;
        if (!m_SendMessageSync(request, reply)) {
            return false;
        }
        const Json::Value &root = reply.m_JsonRoot;
        LOG_INFO("ret_data %s", styledText(root).c_str());
        if (!root.isMember("return_data")) {
            LOG_ERROR("Error: no response or return_data!");
            return false;
        }
        const bool done = root["return_data"].asBool();
        LOG_INFO(" Return data = %d", done);
        return done;
    } catch (const Json::Exception &exception) {
        LOG_ERROR("Exception occured! [%s]", exception.what());
        LOG_ERROR("Error: no response or return_data!");
        return false;
    }
}

void CSourceAPI::m_ConvertJsonToSourceItemObject(Json::Value item, CSourceItem *out) {
    // Calls `take` with a member that is there.
    const auto with = [&item](std::string_view key, auto take) {
        if (const Json::Value *const member = item.find(key.data(), key.data() + key.size())) {
            take(*member);
        }
    };
    try {
        with("sourceType", [&](const auto &value) { out->sourceType = value.asInt(); });
        with("editName",
             [&](const auto &value) { out->editName = Get()->m_DecodeURL(value.asString()); });
        with("detectedName",
             [&](const auto &value) { out->detectedName = Get()->m_DecodeURL(value.asString()); });
        with("iconPath", [&](const auto &value) { out->iconPath = value.asString(); });
        with("uniqueKey", [&](const auto &value) { out->uniqueKey = value.asString(); });
        with("connectionState", [&](const auto &value) { out->connectionState = value.asBool(); });
        with("powerState", [&](const auto &value) { out->powerState = value.asInt(); });
        with("mbrActivityIndex", [&](const auto &value) { out->mbrActivityIndex = value.asInt(); });
        with("settingMethod", [&](const auto &value) { out->settingMethod = value.asInt(); });
    } catch (const Json::Exception &exception) {
        LOG_ERROR("Exception occured! [%s]", exception.what());
    }
}

std::string CSourceAPI::m_DecodeURL(const std::string &text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t index = 0; index < text.size();) {
        if (text[index] != '%') {
            decoded += text[index++];
            continue;
        }
        decoded += unescape(text.substr(index + 1, 2));
        index += 3;
    }
    return decoded;
}

void CSourceAPI::m_ReplaceText(std::string &text, std::string from, std::string to) {
    replaceText(text, from, to);
}

bool CSourceAPI::m_GetSourceList() {
    FerrelWaitEvent(readinessEvent, readinessTimeout);
    LOG_ERROR("m_GetSourceList");
    try {
        SourceTCMessage request;
        request.m_JsonRoot["method"] = "UtilGetSourceList";
        request.m_JsonRoot["data"] = Json::Value();
        LOG_ERROR("update sourcelist");
        SourceTCMessage reply;
        if (!m_SendMessageSync(request, reply)) {
            return false;
        }
        m_SetSourceListCache(std::move(reply.m_JsonRoot["return_data"]));
        return true;
    } catch (const Json::Exception &exception) {
        LOG_ERROR("Exception occured! [%s]", exception.what());
        LOG_ERROR("Error: no response or return_data!");
        return false;
    }
}

void CSourceAPI::m_SetSourceListCache(Json::Value list) {
    LOG_INFO("m_SetSourceListCache");
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    // The old list leaves in `list`, which outlives the lock.
    m_sourceItemArray.swap(list);
    atomicStore(m_bIntializedSourceItemArray, true);
}

bool CSourceAPI::m_UpdateSourceListCache(Json::Value list) {
    LOG_INFO("m_UpdateSourceListCache");
    if (list != fetchRequest()) {
        LOG_INFO("update source list from callback data");
        m_SetSourceListCache(std::move(list));
    } else {
        atomicStore(m_bIntializedSourceItemArray, m_GetSourceList());
    }
    return atomicLoad(m_bIntializedSourceItemArray);
}

bool CSourceAPI::m_UpdateCache(Json::Value list) {
    m_UpdateSourceDataMapCache();
    m_UpdateSourceListCache(std::move(list));
    // Not the flag: another thread's rename during the fetch makes the names stale, not unread.
    const bool hasMap = namesWereRead;
    const bool hasList = atomicLoad(m_bIntializedSourceItemArray);
    const bool updated = hasMap && hasList;
    LOG_INFO("Update SourceDataMap[%d] SourceItemArray[%d] --> [%d]", hasMap, hasList, updated);
    atomicStore(m_bNotified, false);
    return updated;
}

bool CSourceAPI::m_IsUpdated(Json::Value list) {
    return ::m_IsUpdated(m_sourceItemArray, list);
}

std::string CSourceAPI::m_GetSourceItemArrayString() {
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    return styledText(m_sourceItemArray);
}

void CSourceAPI::m_NotifySourceListChanged(int value) {
    LOG_INFO("m_NotifySourceListChanged");
    if (pendingValues != nullptr) {
        LOG_ERROR("already notifying");
        pendingValues->push_back(value);
        return;
    }
    CSourceAPI *const api = Get();
    const std::lock_guard<std::mutex> lock(m_sourceAPICallbackDataMutex);
    std::vector<STSourceAPICallbackData> registrations;
    {
        const MutexLock arrayLock(registrationsMutex);
        registrations = api->m_sourceAPICallbackData;
    }
    if (registrations.empty()) {
        LOG_INFO("callback function is no exist!");
        return;
    }
    Announcement announcement(value);
    while (const std::optional<int> told = announcement.next()) {
        for (const STSourceAPICallbackData &registration : registrations) {
            if (registration.apiCallback == nullptr) {
                LOG_ERROR("callBackData.apiCallback is NULL");
                continue;
            }
            LOG_INFO("callback %p", reinterpret_cast<void *>(registration.apiCallback));
            LOG_INFO("pUserData %p", registration.pUserData);
            registration.apiCallback(*told, registration.pUserData);
        }
    }
}

void CSourceAPI::m_OnFunctionCallBack(const char * /*sender*/, const char * /*signalName*/,
                                      SourceTCMessage *message, void * /*userData*/) {
    LOG_INFO("m_OnFunctionCallBack (Notified: %d)", atomicLoad(m_bNotified));
    Json::Value &root = message->m_JsonRoot;
    // The message ends with this call, so its list is taken, not copied.
    Json::Value list = std::move(root["return_data"]);
    if (atomicLoad(m_bNotified) && !::m_IsUpdated(m_sourceItemArray, list)) {
        LOG_ERROR("Not changed. Don't notify");
        return;
    }
    m_UpdateCache(std::move(list));
    m_NotifySourceListChanged(root["data"]["result"].asInt());
    atomicStore(m_bNotified, true);
    LOG_INFO("Done");
}

bool CSourceAPI::m_GetSourceMap(std::multimap<int, SourceNameList> &out) {
    LOG_ERROR("m_GetSourceMap");
    const std::unique_ptr<char, decltype(&std::free)> value(vconf_get_str(sourceNameKey),
                                                            std::free);
    if (!value) {
        LOG_INFO("fail to get db/source-list/source-name");
        return false;
    }
    Json::Value root;
    if (!parseJson(value.get(), root)) {
        LOG_INFO("nothing to parse");
        return true;
    }
    if (root.empty()) {
        LOG_INFO("root is empty");
        return true;
    }
    // Kept across members: one that is no object takes over the name read before it.
    std::string detectedName;
    for (const Json::Value &member : root) {
        int sourceType = -1;
        SourceNameList entry;
        if (member.isObject()) {
            entry.editName = member["EditName"].asString();
            sourceType = member["SourceType"].asInt();
            entry.deviceType = member["DeviceType"].asInt();
            entry.mbrActivityIndex = member["MbrActivityIndex"].asInt();
            detectedName = member["DetectedName"].asString();
            entry.editState = member["EditState"].asInt();
            entry.settingMethod = member["SettingMethod"].asInt();
            LOG_INFO("[%d][%d][%d][%s][%s][%d][%d]", sourceType, entry.deviceType,
                     entry.mbrActivityIndex, entry.editName.c_str(), detectedName.c_str(),
                     entry.editState, entry.settingMethod);
        }
        entry.detectedName = detectedName;
        out.emplace(sourceType, entry);
    }
    return true;
}

void CSourceAPI::m_SetSourceMapCache(std::multimap<int, SourceNameList> map) {
    LOG_INFO("m_SetSourceMapCache");
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    m_SourceDataMap.swap(map);
}

void CSourceAPI::m_UpdateSourceDataMapCache() {
    LOG_INFO("m_UpdateSourceDataMapCache");
    unsigned int changesBefore = 0;
    do {
        changesBefore = nameChanges;
        std::multimap<int, SourceNameList> map;
        const bool read = m_GetSourceMap(map);
        m_SetSourceMapCache(std::move(map));
        namesWereRead = read;
        // Stored last: who sees the flag finds the new map.
        atomicStore(m_bIntializedSourceDataMap, read);
        // What another thread changed meanwhile may be missing in what was read.
    } while (nameChanges != changesBefore);
}
