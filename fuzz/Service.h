// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The source service as the client meets it. The client's connection and subscription are real, on
// a bus of the process's own; its calls are answered in the process, without a way over the bus.
#ifndef FUZZ_SERVICE_H
#define FUZZ_SERVICE_H

#include <gio/gio.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

class Service {
 public:
    // The first call starts the bus and connects the client to it.
    static Service &get();

    // Whether somebody owns the service's bus name.
    bool present = true;
    // Makes the body of a reply; a floating reference is taken. Null makes the call fail.
    std::function<GVariant *()> makeReply;
    // The message texts of the requests since somebody cleared them.
    std::vector<std::string> requests;

    // How many bodies the client has got and not released. One that makes a call fail is kept.
    std::size_t keptBodies() const { return m_keptBodies.size(); }
    void releaseKeptBodies();

    // Makes the client forget what it has read, and this object how to answer. To be called after
    // each input: the engine looks for leaks when an input leaves memory behind.
    void forget();

    // Hands the client the change signal with that body.
    static void emitChange(GVariant *body);

    // What the doubled function of the bus library calls.
    GVariant *answer(const char *path, const char *interface, const char *method, GVariant *body,
                     GError **error);

 private:
    Service();
    GVariant *handOut(GVariant *body);

    // By the memory that holds their bytes.
    std::map<void *, GVariant *> m_keptBodies;
};

#endif
