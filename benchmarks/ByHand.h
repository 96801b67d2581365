// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The baselines: the protocol as an application would implement it by hand, without the library.
#ifndef BENCH_BY_HAND_H
#define BENCH_BY_HAND_H

#include <json/json.h>

#include <map>
#include <string>
#include <utility>

#include "BusConnection.h"
#include "source_api.h"

namespace bench {

// Throws if the text is not JSON.
Json::Value parsed(const char *text);

// The indented form of a value with the newlines removed.
std::string oneLine(const Json::Value &value);

// The contents of the service's change signal.
struct Change {
    Json::Value list;
    int result;
};
Change readChange(GVariant *body);

// The text of the request that connects a source.
std::string connectRequest(int sourceType);

class ByHand {
 public:
    ByHand() : m_connection(support::sharedSystemBus()) {}
    explicit ByHand(support::Connection connection) : m_connection(std::move(connection)) {}

    GDBusConnection *connection() const { return m_connection.get(); }

    // A request consists of two calls: isServiceThere(), and send() with its text.
    bool connectSource(int sourceType) const;
    bool isServiceThere() const;
    bool send(const std::string &request) const;

 private:
    support::Connection m_connection;
};

// The list as text, to be released with free().
char *listText(const Json::Value &list);

// Passes the list's records to the callback, which owns them.
void listRecords(const Json::Value &list, sourceapi_sourcelist_cb callback);
void releaseRecord(int key, sourceapi_source_item *record, bool last);

// The names of the sources from the document in the settings store.
struct SourceName {
    std::string editName;
    std::string detectedName;
    int mbrActivityIndex;
};
using SourceNames = std::multimap<int, SourceName>;
SourceNames readNames(const std::string &document);
// To be released with free(); null if the source is unknown.
char *nameOf(const SourceNames &names, int sourceType, int mbrActivityIndex);

// The member names of the library's signal, and of one that only the baseline subscribes to.
constexpr const char *librarySignal = "source_api";
constexpr const char *handSignal = "by_hand";

// Emits signals on a separate connection.
class Emitter {
 public:
    Emitter();
    // Returns when the signal is queued in the main context.
    void emit(const char *member, const std::string &text) const;

 private:
    support::Connection m_connection;
};

// Dispatches the queued signal.
void deliver();

// Returns when the bus has processed this process's subscriptions.
void settleSubscriptions();

}  // namespace bench

#endif
