// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SOURCE_SERVICE_H
#define EMULATED_TV_SOURCE_SERVICE_H

#include "BusConnection.h"
#include "Commands.h"
#include "Faults.h"
#include "Replies.h"
#include "SourceStore.h"

namespace emulated_tv {

// The source service on the bus. It replies to requests and emits change signals.
class SourceService {
 public:
    // All arguments must outlive the service. Throws std::runtime_error if the bus has a source
    // service already.
    SourceService(GDBusConnection *connection, SourceStore &store, PendingFaults &faults);

    // Emits the change signal with the current list.
    void announce(ListChange change) const;

 private:
    void handle(const std::string &method, GVariant *arguments, GDBusMethodInvocation *invocation);

    GDBusConnection *m_connection;
    SourceStore &m_store;
    PendingFaults &m_faults;
    Commands m_commands;
    DelayedReplies m_delayedReplies;
    support::ExportedObject m_object;
    support::OwnedName m_name;
};

}  // namespace emulated_tv

#endif
