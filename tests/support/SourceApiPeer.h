// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Access to the private members of the library's classes, for tests only. SourceApiPeer.cpp is the
// only file that is compiled without access control.
#ifndef TESTS_SOURCE_API_PEER_H
#define TESTS_SOURCE_API_PEER_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "SourceAPI.h"
#include "SourceTCServer.h"

// The client. State is returned by reference, so that a test can read and set it.
struct ClientPeer {
    static SourceTCServer *&endpoint();                            // dBusHandler
    static bool &isSubscribed();                                   // m_bHasSubscribedForEvent
    static bool &hasAnnounced();                                   // m_bNotified
    static bool &hasNames();                                       // m_bIntializedSourceDataMap
    static bool &hasList();                                        // m_bIntializedSourceItemArray
    static Json::Value &list();                                    // m_sourceItemArray
    static std::multimap<int, SourceNameList> &names();            // m_SourceDataMap
    static std::vector<STSourceAPICallbackData> &registrations();  // m_sourceAPICallbackData

    // A second client object beside that of Get().
    using ClientPtr = std::unique_ptr<CSourceAPI, std::function<void(CSourceAPI *)>>;
    static ClientPtr makeAnother();

    static bool connect();                                               // m_CreateDbusConnection
    static void disconnect();                                            // m_CloseDbusConnection
    static bool subscribe();                                             // m_SubscribeSignal
    static void unsubscribe();                                           // m_UnSubscribeSignal
    static bool send(SourceTCMessage &request, SourceTCMessage &reply);  // m_SendMessageSync
    static bool command(const std::string &method, const Json::Value &params);  // m_MakeAPICall

    static void convert(const Json::Value &source, CSourceItem &item);
    static std::string decodeUrl(const std::string &text);
    static void replaceText(std::string &text, const std::string &from, const std::string &to);

    static bool fetchList();                            // m_GetSourceList
    static void setList(const Json::Value &list);       // m_SetSourceListCache
    static bool updateList(const Json::Value &list);    // m_UpdateSourceListCache
    static bool updateCaches(const Json::Value &list);  // m_UpdateCache
    static bool isNewList(const Json::Value &list);     // m_IsUpdated
    static std::string listText();                      // m_GetSourceItemArrayString

    static void announce(int value);                         // m_NotifySourceListChanged
    static SourceTCServer::SignalCallback signalCallback();  // m_OnFunctionCallBack

    static bool readNames(std::multimap<int, SourceNameList> &names);       // m_GetSourceMap
    static void setNames(const std::multimap<int, SourceNameList> &names);  // m_SetSourceMapCache
    static void updateNames();  // m_UpdateSourceDataMapCache
};

// The members of an endpoint, of a semaphore and of a lock, in the order of their declaration.
struct EndpointPeer {
    SourceTCServer::SourceTCServerType &type;
    int &isOpen;  // m_Created
    std::string &name;
    std::string &busName;
    std::string &extraName;
    unsigned int &reserved;
    GDBusConnection *&connection;
    unsigned int &ownerId;
    unsigned int &registrationId;
    GDBusNodeInfo *&introspectionData;
    std::map<std::string, SourceTCServer::STSignalControl *> &subscriptions;  // m_SignalControls
    SourceTCMutex &mutex;
    unsigned int &callsInFlight;  // m_SendCount

    static std::map<std::string, SourceTCServer *> &registry();        // m_CreatedDbusServers
    static int sanitise(SourceTCServer &endpoint, std::string &name);  // m_FormatString
    static int decode(GVariant *body, char **name, unsigned int *number, char **auxText,
                      char **text, unsigned char **buffer, unsigned int *size);  // m_AnalyseMsg
    static void handleSignal(const char *sender, const char *objectPath, const char *interfaceName,
                             const char *signalName, GVariant *parameters,
                             void *userData);  // m_DSignalHandler
};

struct SemaphorePeer {
    int &count;
    GMutex *&mutex;
    GCond *&condition;
};

struct MutexPeer {
    SourceTCSemaphore &semaphore;
    GThread *&owner;
    int &lockCount;
};

EndpointPeer peerOf(SourceTCServer &endpoint);
SemaphorePeer peerOf(SourceTCSemaphore &semaphore);
MutexPeer peerOf(SourceTCMutex &mutex);

#endif
