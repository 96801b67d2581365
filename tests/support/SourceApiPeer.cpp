// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceApiPeer.h"

SourceTCServer *&ClientPeer::endpoint() {
    return CSourceAPI::dBusHandler;
}

bool &ClientPeer::isSubscribed() {
    return CSourceAPI::m_bHasSubscribedForEvent;
}

bool &ClientPeer::hasAnnounced() {
    return CSourceAPI::m_bNotified;
}

bool &ClientPeer::hasNames() {
    return CSourceAPI::m_bIntializedSourceDataMap;
}

bool &ClientPeer::hasList() {
    return CSourceAPI::m_bIntializedSourceItemArray;
}

Json::Value &ClientPeer::list() {
    return CSourceAPI::m_sourceItemArray;
}

std::multimap<int, SourceNameList> &ClientPeer::names() {
    return CSourceAPI::m_SourceDataMap;
}

std::vector<STSourceAPICallbackData> &ClientPeer::registrations() {
    return CSourceAPI::Get()->m_sourceAPICallbackData;
}

ClientPeer::ClientPtr ClientPeer::makeAnother() {
    return {new CSourceAPI, [](CSourceAPI *client) { delete client; }};
}

bool ClientPeer::connect() {
    return CSourceAPI::m_CreateDbusConnection();
}

void ClientPeer::disconnect() {
    CSourceAPI::m_CloseDbusConnection();
}

bool ClientPeer::subscribe() {
    return CSourceAPI::m_SubscribeSignal();
}

void ClientPeer::unsubscribe() {
    CSourceAPI::m_UnSubscribeSignal();
}

bool ClientPeer::send(SourceTCMessage &request, SourceTCMessage &reply) {
    return CSourceAPI::m_SendMessageSync(request, reply);
}

bool ClientPeer::command(const std::string &method, const Json::Value &params) {
    return CSourceAPI::Get()->m_MakeAPICall(method, params);
}

void ClientPeer::convert(const Json::Value &source, CSourceItem &item) {
    CSourceAPI::m_ConvertJsonToSourceItemObject(source, &item);
}

std::string ClientPeer::decodeUrl(const std::string &text) {
    return CSourceAPI::Get()->m_DecodeURL(text);
}

void ClientPeer::replaceText(std::string &text, const std::string &from, const std::string &to) {
    CSourceAPI::m_ReplaceText(text, from, to);
}

bool ClientPeer::fetchList() {
    return CSourceAPI::m_GetSourceList();
}

void ClientPeer::setList(const Json::Value &list) {
    CSourceAPI::m_SetSourceListCache(list);
}

bool ClientPeer::updateList(const Json::Value &list) {
    return CSourceAPI::m_UpdateSourceListCache(list);
}

bool ClientPeer::updateCaches(const Json::Value &list) {
    return CSourceAPI::m_UpdateCache(list);
}

bool ClientPeer::isNewList(const Json::Value &list) {
    return CSourceAPI::m_IsUpdated(list);
}

std::string ClientPeer::listText() {
    return CSourceAPI::m_GetSourceItemArrayString();
}

void ClientPeer::announce(int value) {
    CSourceAPI::m_NotifySourceListChanged(value);
}

SourceTCServer::SignalCallback ClientPeer::signalCallback() {
    return CSourceAPI::m_OnFunctionCallBack;
}

bool ClientPeer::readNames(std::multimap<int, SourceNameList> &names) {
    return CSourceAPI::m_GetSourceMap(names);
}

void ClientPeer::setNames(const std::multimap<int, SourceNameList> &names) {
    CSourceAPI::m_SetSourceMapCache(names);
}

void ClientPeer::updateNames() {
    CSourceAPI::m_UpdateSourceDataMapCache();
}

std::map<std::string, SourceTCServer *> &EndpointPeer::registry() {
    return SourceTCServer::m_CreatedDbusServers;
}

int EndpointPeer::sanitise(SourceTCServer &endpoint, std::string &name) {
    return endpoint.m_FormatString(name);
}

int EndpointPeer::decode(GVariant *body, char **name, unsigned int *number, char **auxText,
                         char **text, unsigned char **buffer, unsigned int *size) {
    return SourceTCServer::m_AnalyseMsg(body, name, number, auxText, text, buffer, size);
}

void EndpointPeer::handleSignal(const char *sender, const char *objectPath,
                                const char *interfaceName, const char *signalName,
                                GVariant *parameters, void *userData) {
    SourceTCServer::m_DSignalHandler(nullptr, sender, objectPath, interfaceName, signalName,
                                     parameters, userData);
}

EndpointPeer peerOf(SourceTCServer &endpoint) {
    return {endpoint.m_ServerType,        endpoint.m_Created,        endpoint.m_ServerName,
            endpoint.m_BusName,           endpoint.m_ExtraName,      endpoint.m_Reserved,
            endpoint.m_Connection,        endpoint.m_OwnerId,        endpoint.m_RegistrationId,
            endpoint.m_IntrospectionData, endpoint.m_SignalControls, endpoint.m_Mutex,
            endpoint.m_SendCount};
}

SemaphorePeer peerOf(SourceTCSemaphore &semaphore) {
    return {semaphore.m_Count, semaphore.m_EventMutex, semaphore.m_EventCond};
}

MutexPeer peerOf(SourceTCMutex &mutex) {
    return {mutex.m_Semaphore, mutex.m_Owner, mutex.m_LockCount};
}
