// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What an application would write without the library: the baselines.
#ifndef BENCH_BY_HAND_H
#define BENCH_BY_HAND_H

#include <gio/gio.h>
#include <json/json.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "source_api.h"

struct ReleaseObject {
    void operator()(void *object) const { g_object_unref(object); }
};
using Connection = std::unique_ptr<GDBusConnection, ReleaseObject>;

// The connection to the system bus that the process shares.
Connection sharedConnection();

// A connection to the bus at that address.
Connection connectionTo(const std::string &busAddress);

// The text in JSON. Throws when it is none.
Json::Value parsed(const char *text);

// A value's styled form on one line.
std::string oneLine(const Json::Value &value);

// The service's change signal, as its body holds it.
struct Change {
    Json::Value list;
    int result;
};
Change readChange(GVariant *body);

// What the service is called with to connect a source.
std::string connectRequest(int sourceType);

class ByHand {
 public:
    ByHand() : m_connection(sharedConnection()) {}
    explicit ByHand(Connection connection) : m_connection(std::move(connection)) {}

    GDBusConnection *connection() const { return m_connection.get(); }

    // The two calls of a request, and its answer.
    bool isServiceThere() const;
    bool connectSource(int sourceType) const;
    // The second call alone.
    bool send(const std::string &request) const;

 private:
    Connection m_connection;
};

// The list as text that the caller releases with free().
char *listText(const Json::Value &list);

// Hands out the list's records, which the callback owns.
void listRecords(const Json::Value &list, sourceapi_sourcelist_cb callback);
void releaseRecord(int key, sourceapi_source_item *record, bool last);

// The names of the sources, read from the settings store's document.
struct SourceName {
    std::string editName;
    std::string detectedName;
    int mbrActivityIndex;
};
using SourceNames = std::multimap<int, SourceName>;
SourceNames readNames(const std::string &document);
// The caller releases it with free(). Null when there is none.
char *nameOf(const SourceNames &names, int sourceType, int mbrActivityIndex);

#endif
