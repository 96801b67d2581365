// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SOURCE_SERVICE_H
#define EMULATED_TV_SOURCE_SERVICE_H

#include "ArmedFaults.h"
#include "BusConnection.h"
#include "Commands.h"
#include "LateAnswers.h"
#include "SourceState.h"

namespace emulated_tv {

// The source service on the bus: answers requests and announces changes of the list for as long
// as it lives.
class SourceService {
 public:
    // All must outlive the service. Throws std::runtime_error when the bus already has one.
    SourceService(GDBusConnection *connection, SourceState &state, ArmedFaults &faults);

    // Sends the change signal with the list as it is now.
    void announce(ListChange change) const;

 private:
    void answer(const std::string &method, GVariant *arguments, GDBusMethodInvocation *invocation);

    GDBusConnection *m_connection;
    SourceState &m_state;
    ArmedFaults &m_faults;
    Commands m_commands;
    LateAnswers m_lateAnswers;
    support::ExportedObject m_object;
    support::OwnedName m_name;
};

}  // namespace emulated_tv

#endif
