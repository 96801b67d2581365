// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A source service for tests: a real connection to the bus that records every call and sends the
// configured replies.
#ifndef TESTS_FAKE_SERVICE_H
#define TESTS_FAKE_SERVICE_H

#include <gio/gio.h>
#include <json/json.h>

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "TestBus.h"

// One method call as received.
struct ReceivedCall {
    std::string destination;
    std::string path;
    std::string interface;
    std::string member;
    std::string bodyType;
    std::string sender;  // the body's fields; empty for a body of another type
    unsigned int number = 0;
    std::string auxText;
    std::string text;
    std::vector<unsigned char> buffer;
    Json::Value json;  // the text, parsed
};

// A body "(suss)" from "source_service", and the same with a buffer, "(sussa(y))".
GVariant *plainBody(const std::string &text, unsigned int number = 0,
                    const std::string &auxText = "");
GVariant *bufferBody(const std::string &text, const std::vector<unsigned char> &buffer,
                     unsigned int number = 0, const std::string &auxText = "");

// JSON in the format of a signal or a reply.
std::string jsonText(const Json::Value &value);
Json::Value parsedJson(const std::string &text);

class FakeService {
 public:
    // Connects and owns `busName`, once an owner that was killed has left it.
    explicit FakeService(const TestBus &bus, const std::string &busName = "source_service.message");
    explicit FakeService(BusConnection connection,
                         const std::string &busName = "source_service.message");
    ~FakeService();
    FakeService(const FakeService &) = delete;
    FakeService &operator=(const FakeService &) = delete;

    // Set the reply to the following calls: a body "(suss)" with this text; the same for one
    // command only (the "method" of the request's JSON), which takes precedence; any body (null for
    // an empty reply); a D-Bus error.
    void reply(const std::string &text);
    void replyTo(const std::string &command, const std::string &text);
    void replyWith(std::function<GVariant *(const ReceivedCall &)> makeBody);
    void replyWithError(const std::string &name, const std::string &message);
    // Makes the whole reply, on the connection's thread; null for no reply.
    using MakeReply = std::function<GDBusMessage *(GDBusMessage *message, const ReceivedCall &)>;
    void replyWithMessage(MakeReply makeReply);

    // Withholds every reply until release().
    void hold();
    void release();

    // The calls so far. waitForCalls() returns once there are at least `count`, or fails the test
    // at the limit.
    std::vector<ReceivedCall> calls() const;
    std::vector<ReceivedCall> waitForCalls(std::size_t count) const;
    ReceivedCall lastCall() const;
    // The number of calls of one command.
    int countOf(const std::string &command) const;

    // Releases the bus name, as a service that exits; owns it again.
    void releaseName();
    void ownName();

    // Emits a signal. The first form is the change signal with this JSON text.
    void emitChange(const std::string &text);
    void emit(const std::string &path, const std::string &interface, const std::string &member,
              GVariant *body);

    GDBusConnection *connection() const { return m_connection.get(); }

 private:
    static GDBusMessage *filter(GDBusConnection *connection, GDBusMessage *message,
                                gboolean incoming, gpointer self);
    // The result of a bus driver method about the bus name, 0 if it failed.
    guint callBusDriver(const char *method, GVariant *arguments);
    void noteOwner(GDBusMessage *message);
    void receive(GDBusMessage *message);
    void sendReply(GDBusMessage *message, const ReceivedCall &call);

    std::string m_busName;
    BusConnection m_connection;
    guint m_filter = 0;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<ReceivedCall> m_calls;
    std::function<GVariant *(const ReceivedCall &)> m_makeBody;
    MakeReply m_makeReply;
    std::map<std::string, std::string> m_commandReplies;
    std::string m_errorName;
    std::string m_errorMessage;
    bool m_ownsName = false;
    bool m_held = false;
    std::vector<std::pair<GDBusMessage *, ReceivedCall>> m_withheld;
};

#endif
