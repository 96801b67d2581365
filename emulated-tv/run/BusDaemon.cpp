// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "BusDaemon.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include "BusPolicy.h"
#include "ChildProcess.h"
#include "SettingsStore.h"

namespace emulated_tv {

namespace {

// A system bus on which everything is allowed but what the policy of a TV denies.
std::string configurationFor(const RootPlaces &places) {
    g_autofree char *path = g_dbus_address_escape_value(places.socket.c_str());
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
  <include>%s</include>
</busconfig>
)xml",
                                                    path, places.busPolicy().c_str());
    return text;
}

// The policy that a TV has, for the user who runs this one.
std::string policyForThisUser() {
    std::string policy = busPolicyTemplate;
    const std::string placeholder = "@SOURCE_API_SERVICE_USER@";
    policy.replace(policy.find(placeholder), placeholder.size(), std::to_string(getuid()));
    return policy;
}

}  // namespace

BusDaemon::BusDaemon(const RootPlaces &places) {
    replaceFile(places.busPolicy(), policyForThisUser());
    replaceFile(places.busConfiguration(), configurationFor(places));
    std::filesystem::remove(places.socket);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
    m_addressOutput = support::FileDescriptor(ends[0]);
    const support::FileDescriptor addressInput(ends[1]);
    ChildPlan plan;
    // What the bus has to say belongs in the system's log; the terminal is the command's.
    plan.command = {"dbus-daemon",
                    "--nofork",
                    "--nopidfile",
                    "--syslog-only",
                    "--config-file=" + places.busConfiguration().string(),
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

}  // namespace emulated_tv
