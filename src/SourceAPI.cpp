// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceAPI.h"

#include <unistd.h>

#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>

#include "Atomic.h"
#include "JsonText.h"
#include "Log.h"
#include "Mutex.h"
#include "SourceTCServer.h"

using namespace source_api::internal;

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

// Guards the endpoint and the subscription: it is held to publish or withdraw the endpoint, to copy
// the pointer to it, and to check, make, note or end the subscription, so that threads that connect
// at the same time end up with one of each. The endpoint's m_Mutex and then its tableMutex are
// taken inside it. It is never held over a bus call, the settings store or the opening of a bus.
Mutex connectionMutex;

// The endpoint that dBusHandler points to. A request holds a copy, so that an endpoint that is
// withdrawn meanwhile is deleted by its last user. Never destroyed: a request on another thread may
// end after the process has begun to exit.
std::shared_ptr<SourceTCServer> &sharedEndpoint GUARDED_BY(connectionMutex) =
    *new std::shared_ptr<SourceTCServer>;

// Null when there is no endpoint.
std::shared_ptr<SourceTCServer> currentEndpoint() EXCLUDES(connectionMutex) {
    const MutexLock lock(connectionMutex);
    return sharedEndpoint;
}

// The process that connected. In a child that it forked, locks may be held by threads that do not
// exist there, and GLib's thread, which serves the bus connection, does not exist either.
std::atomic<pid_t> connectingProcess{0};

bool isForkedChild() {
    const pid_t process = connectingProcess;
    return process != 0 && process != getpid();
}

// Makes the subscription unless it is there. Returns whether it is there now.
bool ensureSubscribed(bool &isSubscribed, bool (*subscribe)()) EXCLUDES(connectionMutex) {
    const MutexLock lock(connectionMutex);
    if (!atomicLoad(isSubscribed)) {
        atomicStore(isSubscribed, subscribe());
    }
    return atomicLoad(isSubscribed);
}

// The values that this thread still has to announce; null when it is not announcing.
thread_local std::vector<int> *pendingValues = nullptr;

// Marks this thread as announcing.
class Announcement {
 public:
    explicit Announcement(int value) : m_values{value} { pendingValues = &m_values; }
    ~Announcement() { pendingValues = nullptr; }
    Announcement(const Announcement &) = delete;
    Announcement &operator=(const Announcement &) = delete;

    // The next value to announce. Callbacks may add values at any time.
    std::optional<int> next() {
        return m_announced < m_values.size() ? std::optional<int>(m_values[m_announced++])
                                             : std::nullopt;
    }

 private:
    std::vector<int> m_values;
    std::size_t m_announced = 0;
};

// True if the last read of the settings key succeeded. The cached names may still be stale.
std::atomic<bool> namesWereRead{false};

// How often names or device types were changed by this process. Changed under m_sourceUtilMutex.
std::atomic<unsigned int> nameChanges{0};

// Makes the next query of names or device types read the store again.
void expireNames(bool &areFresh) {
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    ++nameChanges;
    atomicStore(areFresh, false);
}

// Where a refresh takes the list from. On the bus, and in the interface of the operations, a list
// that is the empty string means: fetch it from the service.
enum class ListOrigin { service, signal };

ListOrigin originOf(const Json::Value &list) {
    return list.isString() && list.asString().empty() ? ListOrigin::service : ListOrigin::signal;
}

// A command in the form that the service expects.
struct Request : SourceTCMessage {
    Request(const std::string &method, Json::Value data) {
        m_JsonRoot["method"] = method;
        m_JsonRoot["data"] = std::move(data);
    }
};

// The first entry of a source type with that activity index, or null. The caller holds
// m_sourceUtilMutex.
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
        return false;  // nested deeper than the reader's limit
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

// Whether `list` differs from the cache. The operation of the same name takes its argument by
// value; this one does not copy. It has the same name because the log shows it.
bool m_IsUpdated(const Json::Value &cache, const Json::Value &list) {
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    const bool updated = cache != list;
    if (!updated) {
        LOG_INFO("Sourcelist is not changed");
    }
    return updated;
}

// The character for the digits of a percent escape.
char unescape(const std::string &digits) {
    unsigned int value = 0;
    const char *const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, value, 16);
    if (read.ec != std::errc() || read.ptr != end) {
        // For malformed escapes (blanks, signs, no digit) the result is that of sscanf.
        value = 0;
        (void)std::sscanf(digits.c_str(), "%x", &value);
    }
    return static_cast<char>(value & 0xFFU);
}

// Both forms of the query: sends the request with `send` and passes the reply to `take`. It has
// their name because the log shows it.
template <class Key, class Send, class Take>
bool GetUsbData(const Key &uniqueKey, const char *shownKey, Send send, Take take) {
    LOG_ERROR("connecting uniquekey = [%s]", orNull(shownKey));
    try {
        Json::Value data;
        data["SourceUniqueKey"] = std::string(uniqueKey);
        Request request("UtilGetUsbData", std::move(data));
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

// Internal forms of private operations. They have the same names because the log shows them.
struct source_api::internal::ClientOperations {
    static bool m_UpdateSourceListCache(ListOrigin origin, Json::Value list);
    static bool m_UpdateCache(ListOrigin origin, Json::Value list = Json::Value());

    // The whole of the destructor.
    static void closeClient();
    // Returns the withdrawn endpoint, which the caller releases without the lock.
    static std::shared_ptr<SourceTCServer> m_CloseDbusConnection() REQUIRES(connectionMutex);
};

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
    // Closed at exit, but its memory is not released: a thread that is still running may be calling
    // or changing the registrations.
    static CSourceAPI &instance = *new CSourceAPI;
    static const struct CloseAtExit {
        CloseAtExit() {}
        ~CloseAtExit() { ClientOperations::closeClient(); }
    } closeAtExit;
    return &instance;
}

CSourceAPI::CSourceAPI() {
    LOG_INFO("CSourceAPI constructor");
    m_CreateDbusConnection();
}

CSourceAPI::~CSourceAPI() {
    ClientOperations::closeClient();
}

void ClientOperations::closeClient() {
    if (isForkedChild()) {
        return;
    }
    LOG_INFO_AS("~CSourceAPI", "CSourceAPI destructor");
    CSourceAPI::m_CloseDbusConnection();
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
    api->m_sourceAPICallbackData.push_back({callback, pUserData});
}

void CSourceAPI::UnregisterSourceAPICallback(void *pUserData) {
    LOG_INFO("UnregisterSourceAPICallback");
    if (pUserData == nullptr) {
        LOG_INFO("user data is null");
    }
    CSourceAPI *const api = Get();
    const std::lock_guard<std::mutex> lock(m_sourceAPICallbackDataMutex);
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
        if (!ClientOperations::m_UpdateCache(ListOrigin::service)) {
            LOG_ERROR("Failed to get sourcelist!");
            return nullptr;
        }
        LOG_ERROR("Notify Source List Changed!");
        m_NotifySourceListChanged(0);
    }
    std::string text = m_GetSourceItemArrayString();
    m_ReplaceText(text, "\n", "");
    LOG_INFO("%s", text.c_str());
    return strdup(text.c_str());
}

bool CSourceAPI::GetSourceList(std::shared_ptr<std::multimap<int, CSourceItem>> *out) {
    LOG_ERROR("GetSourceList!");
    *out = std::make_shared<std::multimap<int, CSourceItem>>();
    if (!atomicLoad(m_bIntializedSourceItemArray) &&
        !ClientOperations::m_UpdateCache(ListOrigin::service)) {
        LOG_ERROR("Failed to get sourcelist!");
        return false;
    }
    try {
        // Copied one by one: a long list is then stored in the order in which it is read.
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
            // A copied record would not have it either.
            item.settingMethod = 0;
        }
    } catch (const Json::Exception &exception) {
        LOG_ERROR("Exception occured! [%s]", exception.what());
        return false;
    }
    return true;
}

bool CSourceAPI::GetSourceEditName(int sourceType, std::string &name, int mbrActivityIndex) {
    if (!atomicLoad(m_bIntializedSourceDataMap) &&
        !ClientOperations::m_UpdateCache(ListOrigin::service)) {
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
    if (!atomicLoad(m_bIntializedSourceDataMap) &&
        !ClientOperations::m_UpdateCache(ListOrigin::service)) {
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
        Request request("UtilGetCustomIconPath", std::move(data));
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
                 [&](const Json::Value &root) { text = strdup(styledText(root).c_str()); });
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
    if (isForkedChild()) {
        return false;
    }
    connectingProcess = getpid();
    if (atomicLoad(dBusHandler) == nullptr) {
        std::unique_ptr<SourceTCServer> endpoint(
            new (std::nothrow) SourceTCServer(clientName, SourceTCServer::PROXY));
        if (!endpoint) {
            LOG_ERROR("Fail to create SourceTCServer. dBusHandler is NULL");
            return false;
        }
        const bool isOpen = endpoint->CreateDBusProxy() != 0;
        if (!isOpen) {
            LOG_ERROR("fail to create dbus proxy for source serivce daemon");
        }
        bool isPublished = false;
        {
            const MutexLock lock(connectionMutex);
            // Another thread may have connected meanwhile; its endpoint is used then.
            if (!sharedEndpoint) {
                if (!isOpen) {
                    ClientOperations::m_CloseDbusConnection();
                    return false;
                }
                sharedEndpoint.reset(endpoint.release());
                atomicStore(dBusHandler, sharedEndpoint.get());
                isPublished = true;
            }
        }
        if (isPublished) {
            LOG_ERROR("Created source API dbus connection!");
        } else if (isOpen) {
            endpoint->CloseDBusProxy();
        }
    }
    if (!atomicLoad(m_bIntializedSourceDataMap)) {
        LOG_INFO("Initialize Source Map");
        m_UpdateSourceDataMapCache();
    }
    LOG_INFO("Subscribe for signal :: [%d]", atomicLoad(m_bHasSubscribedForEvent));
    if (!ensureSubscribed(m_bHasSubscribedForEvent, m_SubscribeSignal)) {
        LOG_ERROR("Fail to subscribe signal");
    }
    return true;
}

std::shared_ptr<SourceTCServer> ClientOperations::m_CloseDbusConnection() {
    bool &isSubscribed = CSourceAPI::m_bHasSubscribedForEvent;
    LOG_INFO("Has subscribed for event :: [%d]", atomicLoad(isSubscribed));
    if (atomicLoad(isSubscribed)) {
        LOG_INFO("UNSubscribe signal callback");
        CSourceAPI::m_UnSubscribeSignal();
        atomicStore(isSubscribed, false);
    }
    atomicStore<SourceTCServer *>(CSourceAPI::dBusHandler, nullptr);
    return std::exchange(sharedEndpoint, nullptr);
}

void CSourceAPI::m_CloseDbusConnection() {
    // Declared before the lock, so that the endpoint is deleted after its release.
    std::shared_ptr<SourceTCServer> endpoint;
    const MutexLock lock(connectionMutex);
    endpoint = ClientOperations::m_CloseDbusConnection();
}

// Called with connectionMutex held, as is m_UnSubscribeSignal, so the endpoint cannot be withdrawn.
bool CSourceAPI::m_SubscribeSignal() {
    LOG_INFO("m_SubscribeSignal");
    SourceTCServer *const endpoint = atomicLoad(dBusHandler);
    if (endpoint == nullptr) {
        LOG_ERROR("dBusHandler is NULL. Can't subscribe signal.");
        return false;
    }
    return endpoint->SubscribeSignal(clientName, m_OnFunctionCallBack, nullptr) != 0;
}

void CSourceAPI::m_UnSubscribeSignal() {
    LOG_INFO("m_UnSubscribeSignal");
    SourceTCServer *const endpoint = atomicLoad(dBusHandler);
    if (endpoint == nullptr) {
        LOG_ERROR("dBusHandler is NULL. Can't unsubscribe signal.");
        return;
    }
    endpoint->UnSubscribeSignal(clientName);
}

bool CSourceAPI::m_SendMessageSync(SourceTCMessage &request, SourceTCMessage &reply) {
    LOG_ERROR("m_SendMessageSync");
    if (isForkedChild()) {
        LOG_ERROR("Fail to create dbus connection. Can't send message");
        return false;
    }
    if (atomicLoad(dBusHandler) == nullptr) {
        LOG_ERROR("Need to create Dbus Connection");
        if (!m_CreateDbusConnection() || atomicLoad(dBusHandler) == nullptr) {
            LOG_ERROR("Fail to create dbus connection. Can't send message");
            return false;
        }
    }
    if (!atomicLoad(m_bHasSubscribedForEvent)) {
        LOG_ERROR("Subscribe signal");
        if (!ensureSubscribed(m_bHasSubscribedForEvent, m_SubscribeSignal)) {
            LOG_ERROR("Fail to subscribe signal");
        }
    }
    const std::shared_ptr<SourceTCServer> endpoint = currentEndpoint();
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
        Request request(method, std::move(params));
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
    // Calls `take` if the member is present.
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
    if (!isForkedChild()) {
        FerrelWaitEvent(readinessEvent, readinessTimeout);
    }
    LOG_ERROR("m_GetSourceList");
    try {
        Request request("UtilGetSourceList", Json::Value());
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
    // The old list is deleted with `list`, after the lock is released.
    m_sourceItemArray.swap(list);
    atomicStore(m_bIntializedSourceItemArray, true);
}

bool ClientOperations::m_UpdateSourceListCache(ListOrigin origin, Json::Value list) {
    LOG_INFO("m_UpdateSourceListCache");
    bool &isInitialized = CSourceAPI::m_bIntializedSourceItemArray;
    if (origin == ListOrigin::signal) {
        LOG_INFO("update source list from callback data");
        CSourceAPI::m_SetSourceListCache(std::move(list));
    } else {
        atomicStore(isInitialized, CSourceAPI::m_GetSourceList());
    }
    return atomicLoad(isInitialized);
}

bool CSourceAPI::m_UpdateSourceListCache(Json::Value list) {
    const ListOrigin origin = originOf(list);
    return ClientOperations::m_UpdateSourceListCache(origin, std::move(list));
}

bool ClientOperations::m_UpdateCache(ListOrigin origin, Json::Value list) {
    CSourceAPI::m_UpdateSourceDataMapCache();
    m_UpdateSourceListCache(origin, std::move(list));
    // Not the flag: a rename on another thread during the fetch makes the names stale, not missing.
    const bool hasMap = namesWereRead;
    const bool hasList = atomicLoad(CSourceAPI::m_bIntializedSourceItemArray);
    const bool updated = hasMap && hasList;
    LOG_INFO("Update SourceDataMap[%d] SourceItemArray[%d] --> [%d]", hasMap, hasList, updated);
    atomicStore(CSourceAPI::m_bNotified, false);
    return updated;
}

bool CSourceAPI::m_UpdateCache(Json::Value list) {
    const ListOrigin origin = originOf(list);
    return ClientOperations::m_UpdateCache(origin, std::move(list));
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
    const std::vector<STSourceAPICallbackData> &registrations = api->m_sourceAPICallbackData;
    if (registrations.empty()) {
        LOG_INFO("callback function is no exist!");
        return;
    }
    Announcement announcement(value);
    while (const std::optional<int> announced = announcement.next()) {
        for (const STSourceAPICallbackData &registration : registrations) {
            if (registration.apiCallback == nullptr) {
                LOG_ERROR("callBackData.apiCallback is NULL");
                continue;
            }
            LOG_INFO("callback %p", reinterpret_cast<void *>(registration.apiCallback));
            LOG_INFO("pUserData %p", registration.pUserData);
            registration.apiCallback(*announced, registration.pUserData);
        }
    }
}

void CSourceAPI::m_OnFunctionCallBack(const char * /*sender*/, const char * /*signalName*/,
                                      SourceTCMessage *message, void * /*userData*/) {
    LOG_INFO("m_OnFunctionCallBack (Notified: %d)", atomicLoad(m_bNotified));
    Json::Value &root = message->m_JsonRoot;
    // The message is not used after this call, so its list is moved, not copied.
    Json::Value list = std::move(root["return_data"]);
    if (atomicLoad(m_bNotified) && !::m_IsUpdated(m_sourceItemArray, list)) {
        LOG_ERROR("Not changed. Don't notify");
        return;
    }
    const ListOrigin origin = originOf(list);
    ClientOperations::m_UpdateCache(origin, std::move(list));
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
    // Kept across members: a member that is not an object gets the name of the one before it.
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
    const unsigned int changesBefore = nameChanges;
    std::multimap<int, SourceNameList> map;
    const bool read = m_GetSourceMap(map);
    m_SetSourceMapCache(std::move(map));
    const std::lock_guard<std::recursive_mutex> lock(m_sourceUtilMutex);
    namesWereRead = read;
    // Stored after the map, which it announces. What was changed meanwhile may be missing in the
    // map; the next query then reads again.
    atomicStore(m_bIntializedSourceDataMap, read && nameChanges == changesBefore);
}
