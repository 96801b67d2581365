// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A source service inside the fuzzer's process. The client's connection and subscription are real,
// on a private bus; its method calls do not reach the bus but are replied to by this object.
#ifndef FUZZ_STUB_SERVICE_H
#define FUZZ_STUB_SERVICE_H

#include <gio/gio.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace fuzz {

class StubService {
 public:
    // The first call starts the bus and connects the client to it.
    static StubService &get();

    // Whether the well-known name has an owner.
    bool present = true;
    // Returns the body of a reply, possibly floating; null makes the call fail.
    std::function<GVariant *()> makeReply;
    // The texts of the requests since the vector was last cleared.
    std::vector<std::string> requests;

    // The number of reply bodies that the client has not released. It leaks one if a call fails.
    std::size_t leakedBodies() const { return m_unreleasedBodies.size(); }
    void releaseLeakedBodies();

    // Resets the client's caches and this object. To be called after each input, as the engine
    // searches for leaks if an input leaves memory allocated.
    void reset();
    // Empties the client's caches alone.
    static void resetCaches();

    // Delivers a change signal with that body to the client.
    static void emitChange(GVariant *body);

    // Called by the replacement of g_dbus_connection_call_sync().
    GVariant *call(const char *path, const char *interface, const char *method, GVariant *body,
                   GError **error);

 private:
    StubService();
    GVariant *track(GVariant *body);

    // By the address of their data.
    std::map<void *, GVariant *> m_unreleasedBodies;
};

}  // namespace fuzz

#endif
