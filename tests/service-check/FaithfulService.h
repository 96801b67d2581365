// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SERVICE_CHECK_FAITHFUL_SERVICE_H
#define TESTS_SERVICE_CHECK_FAITHFUL_SERVICE_H

#include <json/json.h>

#include <string>

#include "FakeService.h"

// A source service that keeps every promise but the one with the given id.
class FaithfulService {
 public:
    explicit FaithfulService(const TestBus &bus, const std::string &broken = "");

    // What the service says and holds of its sources.
    Json::Value list() const;
    Json::Value icons() const;
    FakeService &onTheBus() { return m_service; }

    // Ways to keep the promises that few services go: texts for numbers and the like, whatever can
    // be absent is, refusals are failures, and signals ask for the list.
    void keepThemStrangely();
    void refuseNames();
    void takeOneNameOnly();
    void giveIcons();
    // Those of SendMessage.
    void leaveOtherBodiesUnanswered();

    // A command of the shell that has the service lose its name and own it again.
    static std::string restartCommand();

 private:
    bool breaks(const std::string &id) const { return m_broken == id; }
    GDBusMessage *reply(GDBusMessage *message, const ReceivedCall &call);
    GDBusMessage *replyToRestart(GDBusMessage *message);
    GVariant *bodyFor(const ReceivedCall &call);
    Json::Value answer(const ReceivedCall &call);
    Json::Value answerToRequest(const std::string &command, const Json::Value &data);
    Json::Value answerToSetting(const std::string &command, const Json::Value &data,
                                Json::Value *source);
    Json::Value answerWithList();
    Json::Value answerWithIcons(bool isKnown);
    Json::Value answerWithDevice(const std::string &key) const;
    Json::Value rename(Json::Value &source, const std::string &name);
    Json::Value done(const std::string &id) const;
    Json::Value refused(const std::string &id) const;
    Json::Value shownList() const;
    Json::Value *find(int type);
    void announce();
    void changeOwner();

    const std::string m_broken;
    mutable std::mutex m_mutex;
    Json::Value m_sources;
    Json::Value m_icons;
    int m_unknownConnects = 0;
    bool m_isStrange = false;
    int m_namesToTake = 1000;
    bool m_answersOtherBodies = true;
    bool m_hasRestarted = false;
    FakeService m_service;
};

#endif
