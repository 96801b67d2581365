// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "BusDaemon.h"

#include <fcntl.h>
#include <gio/gio.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include "ChildProcess.h"
#include "SettingsStore.h"

namespace {

// A system bus on which everything is allowed.
std::string configurationFor(const std::filesystem::path &socket) {
    g_autofree char *path = g_dbus_address_escape_value(socket.c_str());
    g_autofree char *text = g_markup_printf_escaped(R"xml(<busconfig>
  <type>system</type>
  <listen>unix:path=%s</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow send_type="signal"/>
    <allow receive_sender="*"/>
    <allow eavesdrop="true"/>
  </policy>
</busconfig>
)xml",
                                                    path);
    return text;
}

}  // namespace

BusDaemon::BusDaemon(const std::filesystem::path &configuration,
                     const std::filesystem::path &socket) {
    replaceFile(configuration, configurationFor(socket));
    std::filesystem::remove(socket);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
    m_addressOutput = FileDescriptor(ends[0]);
    const FileDescriptor addressInput(ends[1]);
    ChildPlan plan;
    // What the bus has to say belongs in the system's log; the terminal is the command's.
    plan.command = {"dbus-daemon",
                    "--nofork",
                    "--nopidfile",
                    "--syslog-only",
                    "--config-file=" + configuration.string(),
                    "--print-address=" + std::to_string(addressInput.get())};
    plan.keeps = {addressInput.get()};
    plan.deathSignal = SIGKILL;
    plan.isDaemon = true;
    m_pid = startChild(plan);
}

std::string BusDaemon::address() const {
    std::array<char, 4096> line;
    const ssize_t size = read(m_addressOutput.get(), line.data(), line.size());
    if (size <= 1) {
        throw std::runtime_error("the bus did not start");
    }
    return std::string(line.data(), static_cast<std::size_t>(size) - 1);
}
