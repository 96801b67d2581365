// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SERVICE_CHECK_CONFORMING_SERVICE_H
#define TESTS_SERVICE_CHECK_CONFORMING_SERVICE_H

#include <json/json.h>

#include <string>

#include "FakeService.h"

// A source service that passes every check except the one with the given id.
class ConformingService {
 public:
    explicit ConformingService(const TestBus &bus, const std::string &failing = "");

    // The service's state.
    Json::Value list() const;
    Json::Value icons() const;
    FakeService &endpoint() { return m_service; }

    // Conforms in unusual ways: numbers where booleans are expected, optional members are absent,
    // refusals are "dbus_result": "fail", and the list in a signal is empty.
    void conformUnusually();
    // Variations that affect what service-check can test.
    void refuseRenaming();
    void acceptOneRenameOnly();
    void setIcons();
    // SendMessage with an unexpected signature gets no reply.
    void ignoreOtherSignatures();

    // A shell command on which the service releases its well-known name and owns it again.
    static std::string restartCommand();

 private:
    bool fails(const std::string &id) const { return m_failing == id; }
    GDBusMessage *reply(GDBusMessage *message, const ReceivedCall &call);
    GDBusMessage *restart(GDBusMessage *message);
    GVariant *replyBody(const ReceivedCall &call);
    Json::Value resultOf(const ReceivedCall &call);
    Json::Value execute(const std::string &command, const Json::Value &data);
    Json::Value executeSetting(const std::string &command, const Json::Value &data,
                               Json::Value *source);
    Json::Value getList();
    Json::Value getIcons(bool isKnown);
    Json::Value getUsbData(const std::string &key) const;
    Json::Value rename(Json::Value &source, const std::string &name);
    Json::Value done(const std::string &id) const;
    Json::Value refused(const std::string &id) const;
    Json::Value encodedList() const;
    Json::Value *find(int type);
    void emitChange();
    void changeOwner();

    const std::string m_failing;
    mutable std::mutex m_mutex;
    Json::Value m_sources;
    Json::Value m_icons;
    int m_unknownConnects = 0;
    bool m_isUnusual = false;
    int m_renamesToAccept = 1000;
    bool m_repliesToOtherSignatures = true;
    bool m_hasRestarted = false;
    FakeService m_service;
};

#endif
