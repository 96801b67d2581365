// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_BUS_DAEMON_H
#define EMULATED_TV_BUS_DAEMON_H

#include <glib.h>
#include <sys/types.h>

#include <filesystem>
#include <string>

#include "FileDescriptor.h"

namespace emulated_tv {

// A private bus with the policy of a TV: only this process's user may own the source service's
// name and send its signal. The daemon dies with this process.
class BusDaemon {
 public:
    // Makes the socket and another file beside it.
    explicit BusDaemon(std::filesystem::path socket);
    // Kills the daemon and removes the files.
    ~BusDaemon();
    BusDaemon(const BusDaemon &) = delete;
    BusDaemon &operator=(const BusDaemon &) = delete;

    // Throws std::runtime_error if the daemon cannot be run.
    void start();

    // 0 before the start and after the end, which the owner notes when it reaps the daemon.
    pid_t pid() const { return m_pid; }
    void noteEnd() { m_pid = 0; }

    // True until the daemon either accepts connections or has failed, which the main loop finds.
    bool isStarting() const { return m_source != 0; }
    // Empty while it is starting, and if it has failed.
    const std::string &address() const { return m_address; }

 private:
    static gboolean readAddress(gint output, GIOCondition condition, gpointer bus);

    const std::filesystem::path m_socket;
    const std::filesystem::path m_configuration;
    support::FileDescriptor m_output;
    pid_t m_pid = 0;
    guint m_source = 0;
    std::string m_address;
};

}  // namespace emulated_tv

#endif
