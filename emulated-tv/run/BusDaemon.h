// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_BUS_DAEMON_H
#define EMULATED_TV_BUS_DAEMON_H

#include <sys/types.h>

#include <string>

#include "EmulatorRoot.h"
#include "FileDescriptor.h"

namespace emulated_tv {

// A private bus under the policy of a real TV: only this process's user may be the source service
// and say that its list has changed. It dies with this process; ending and reaping it earlier is up
// to the owner.
class BusDaemon {
 public:
    // Writes the daemon's configuration to its place and starts it. Throws std::system_error when
    // there is no daemon to start.
    explicit BusDaemon(const RootPlaces &places);

    pid_t pid() const { return m_pid; }

    // Readable when the bus can be used, or has failed.
    int descriptor() const { return m_addressOutput.get(); }
    // Throws std::runtime_error when it has failed.
    std::string address() const;

 private:
    support::FileDescriptor m_addressOutput;
    pid_t m_pid = 0;
};

}  // namespace emulated_tv

#endif
