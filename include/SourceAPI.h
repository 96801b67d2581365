// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

/// \file
/// The TV's list of input sources: reading it, changing it, being notified of changes.
///
/// 1. One object serves the whole process: CSourceAPI::Get(). The first call connects to the
///    system bus, reads the sources' names and subscribes to changes. Any step that fails is tried
///    again by the next request, but a bus connection that was lost later is not made again: every
///    request then fails at once. Nothing needs to be closed. A process that was forked from one
///    that uses the library must not use it: there, every request fails at once.
/// 2. Failures show as results: false, a null pointer, or a device type of 0. A false result
///    covers a refusal by the source service as well as a service that could not be reached; the
///    platform's log (tag "SOURCE_API") shows which. Json::Exception leaves the library only from
///    Get() and the name and list queries, when the settings store holds values of wrong types.
/// 3. Time: a request blocks its caller until the service answers, at most for the bus's default
///    time-out (25 seconds) for each of its two bus calls, and fails at once when the service is
///    not on the bus. Only a fetch of the list first waits for the service to come up, with a
///    time-out argument of 10000 to the platform's readiness event. The list is fetched when it is
///    read and no fetch has succeeded yet, when a name or device type is read after one was
///    changed, and when a change signal carries no list.
/// 4. Threads: any thread may call any function at any time, also from a callback, except for what
///    5 forbids. The library starts no thread and runs no main loop.
/// 5. Change callbacks run on the thread that iterates the GLib main context which was the
///    thread-default one where Get() was first called (the global default context, unless the
///    application pushed another), and only while it is iterated; those of a first load run on
///    the thread that read the list. All registrations are called one after another under one
///    lock: a callback may read the list and make requests, but must not register or unregister
///    (that would deadlock), and should return soon. The list that it reads is already the new one.
/// 6. Memory: texts returned as char* are heap copies that the caller releases with free(). Null
///    output pointers are not checked. A null text raises std::logic_error.
/// 7. A source is named by its type, in the source service's numbering, and by its activity index
///    (mbrActivityIndex), which tells apart several sources of one type. Texts are UTF-8.
#ifndef SOURCE_API_CLASS_H
#define SOURCE_API_CLASS_H

#include <json/json.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "SourceTCMessage.h"

class SourceTCServer;

namespace source_api {
namespace internal {
struct ClientOperations;
}  // namespace internal
}  // namespace source_api

/// The two locks of the client. Neither is held over a request, and the library never holds both.
/// Applications have no need to touch them.
///
/// Guards the cached source list and the cached source names. Held for copies and swaps only.
extern std::recursive_mutex m_sourceUtilMutex;
/// Guards the change callbacks. Held while they run.
extern std::mutex m_sourceAPICallbackDataMutex;

/// One source of the service's list.
class CSourceItem {
 public:
    /// Empty texts, zero numbers, false.
    CSourceItem();
    /// Copies all but settingMethod, which is 0 then.
    CSourceItem(const CSourceItem &other);
    /// Copies all but settingMethod, which stays.
    CSourceItem &operator=(const CSourceItem &other);
    ~CSourceItem();

    int sourceType;            ///< in the service's numbering
    std::string editName;      ///< given by the user
    std::string detectedName;  ///< reported by the connected device
    std::string iconPath;      ///< empty when there is none
    std::string uniqueKey;     ///< identifies the source
    bool connectionState;      ///< a device is connected
    int powerState;            ///< in the service's numbering
    int mbrActivityIndex;      ///< tells apart several sources of one type
    int settingMethod;         ///< in the service's numbering
};

/// One entry of the source names, as the settings store holds it.
class SourceNameList {
 public:
    /// Empty texts, zero numbers, and -2 as the activity index.
    SourceNameList();
    /// Copies everything.
    SourceNameList(const SourceNameList &other) = default;
    /// Copies everything.
    SourceNameList &operator=(const SourceNameList &other) = default;
    ~SourceNameList();

    std::string editName;      ///< given by the user
    std::string detectedName;  ///< reported by the connected device
    int deviceType;            ///< in the service's numbering
    int mbrActivityIndex;      ///< -2 in a new entry
    int editState;             ///< how the name was set
    int settingMethod;         ///< how the device type was set
};

/// One registered change callback.
struct STSourceAPICallbackData {
    void (*apiCallback)(int value, void *userData);  ///< what is called
    void *pUserData;                                 ///< what it is called with
};

/// The client: requests to the source service, and the caches of their results.
class CSourceAPI {
 public:
    /// The name of the interface, "Source".
    static const char *API_NAME;

    /// The one object of the process, made by the first call and kept until exit. Never null.
    /// Throws Json::Exception when the settings store holds values of wrong types; the next call
    /// tries again.
    static CSourceAPI *Get();

    /// Has `callback` called as callback(value, pUserData) on every change of the source list;
    /// `value` is the service's "result" number, or 0 when GetSourceList() loads the list for the
    /// first time. The same pair may be registered several times and is then called as often. A
    /// null `callback` is refused with a log line. Blocks while callbacks run on another thread.
    static void RegisterSourceAPICallback(void (*callback)(int, void *), void *pUserData);

    /// Removes the oldest registration whose user data is `pUserData`, null included, whatever its
    /// function. Unknown user data is ignored. Blocks while callbacks run on another thread; when
    /// it returns, the removed registration is not called any more.
    static void UnregisterSourceAPICallback(void *pUserData);

    /// Asks the service to switch the TV to a source. True when the service has done it.
    bool Connect(int sourceType);

    /// Asks the service to connect the source of that type and unique key. True when done.
    bool RunApp(int sourceType, std::string uniqueKey);

    /// The source list as one line of JSON, an array with one object for each source; the caller
    /// releases it with free(). Null when it could not be read. The first successful read asks the
    /// service and calls all registered callbacks with 0; later ones are served from the cache.
    char *GetSourceList();

    /// The source list as records in the service's order under each source type. *out is replaced
    /// by a new map in any case; a map that it held before stays as it was for its other owners.
    /// False when the list could not be read (*out then is empty) or an element was unreadable
    /// (*out then has the elements before it). Does not call the callbacks.
    bool GetSourceList(std::shared_ptr<std::multimap<int, CSourceItem>> *out);

    /// The name of a source: the user's, else the detected one. False, and `name` unchanged, when
    /// there is no such entry or the names could not be read. Served from a cache; only after a
    /// change of a name or a device type, or a failed read, the names are read again and the list
    /// is fetched (see 3 above).
    bool GetSourceEditName(int sourceType, std::string &name, int mbrActivityIndex);

    /// The device type of a source, in the same way.
    bool GetSourceDeviceType(int sourceType, unsigned int *deviceType, int mbrActivityIndex);

    /// The platform's on-screen text of a source type. False when the platform does not know the
    /// type; `text` then is "----". Asks neither the service nor the settings store.
    bool GetSourceOSDText(int sourceType, std::string &text);

    /// Tells the service which name and device type were detected for a source. True when it has
    /// taken them. Texts are sent as they are, empty ones included, here and below.
    bool SetSourceDetectedNameAndDeviceType(int nSourceType, const std::string &strDetectedName,
                                            unsigned int nDetectedDeviceType,
                                            int nMbrActivityIndex);
    /// Tells the service the user's name for a source. True when it has taken it.
    bool SetSourceEditName(int nSourceType, const std::string &strSourceName,
                           int nMbrActivityIndex);
    /// Tells the service the device type of a source. True when it has taken it.
    bool SetSourceDeviceType(int nSourceType, unsigned int nDeviceType, int nMbrActivityIndex);
    /// Tells the service the icons of a source: its own, and the launcher's, first for the focused
    /// state and second for the unfocused one. The caller's process id goes along. True when the
    /// service has taken them.
    bool SetCustomIconPath(int SourceType, const std::string &SourceIconPath,
                           const std::pair<std::string, std::string> &LauncherIconPath,
                           int MbrActivityIndex);

    /// Asks the service for the icons of a source. True when it answered; an icon that the answer
    /// lacks is empty. False when the call failed (the outputs are unchanged) or the answer could
    /// not be read (the outputs before the unreadable one are set).
    bool GetCustomIconPath(int SourceType, std::string &SourceIconPath,
                           std::pair<std::string, std::string> &LauncherIconPath,
                           int MbrActivityIndex);

    /// Asks the service what it knows of the USB device with that unique key. The service's whole
    /// answer as indented JSON text, which the caller releases with free(); null when the service
    /// refused or could not be reached.
    static char *GetUsbData(const char *uniqueKey);

    /// The same as a new map in *usbData with the keys "called_app", "device_type" and
    /// "device_name", and "device_busnumber" and "device_addressnumber" for a PTP device, or
    /// "vendor_name", "volume_name" and "device_path" for any other. What the answer lacks is an
    /// empty text. False leaves *usbData alone, unless the answer became unreadable half-way (then
    /// it is a new map with what came before).
    static bool GetUsbData(std::string uniqueKey,
                           std::shared_ptr<std::map<std::string, std::string>> *usbData);

 private:
    friend struct source_api::internal::ClientOperations;

    CSourceAPI();
    ~CSourceAPI();
    CSourceAPI(const CSourceAPI &) = delete;
    CSourceAPI &operator=(const CSourceAPI &) = delete;

    static bool m_CreateDbusConnection();
    static void m_CloseDbusConnection();
    static bool m_SubscribeSignal();
    static void m_UnSubscribeSignal();
    static bool m_SendMessageSync(SourceTCMessage &request, SourceTCMessage &reply);
    bool m_MakeAPICall(std::string method, Json::Value params);

    static void m_ConvertJsonToSourceItemObject(Json::Value item, CSourceItem *out);
    std::string m_DecodeURL(const std::string &text);
    static void m_ReplaceText(std::string &text, std::string from, std::string to);

    static bool m_GetSourceList();
    static void m_SetSourceListCache(Json::Value list);
    static bool m_UpdateSourceListCache(Json::Value list);
    static bool m_UpdateCache(Json::Value list);
    static bool m_IsUpdated(Json::Value list);
    static std::string m_GetSourceItemArrayString();

    static void m_NotifySourceListChanged(int value);
    static void m_OnFunctionCallBack(const char *sender, const char *signalName,
                                     SourceTCMessage *message, void *userData);

    static bool m_GetSourceMap(std::multimap<int, SourceNameList> &out);
    static void m_SetSourceMapCache(std::multimap<int, SourceNameList> map);
    static void m_UpdateSourceDataMapCache();

    // Guarded by m_sourceAPICallbackDataMutex.
    std::vector<STSourceAPICallbackData> m_sourceAPICallbackData;

    // Read and written by several threads without a lock, through atomic operations only.
    static SourceTCServer *dBusHandler;
    static bool m_bHasSubscribedForEvent;
    static bool m_bNotified;
    static bool m_bIntializedSourceDataMap;
    static bool m_bIntializedSourceItemArray;

    // Guarded by m_sourceUtilMutex. References to objects that are never destroyed: a request on
    // another thread may end after the process has begun to exit.
    static Json::Value &m_sourceItemArray;
    static std::multimap<int, SourceNameList> &m_SourceDataMap;
};

#endif
