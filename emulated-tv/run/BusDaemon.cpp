// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "BusDaemon.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <glib-unix.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "BusPolicy.h"
#include "ChildProcess.h"
#include "SettingsStore.h"

namespace emulated_tv {

namespace {

// Everything is allowed unless the policy of a TV denies it.
constexpr auto configurationFormat = R"xml(<busconfig>
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
)xml";

std::string configurationFor(const std::filesystem::path &socket,
                             const std::filesystem::path &policy) {
    g_autofree char *path = g_dbus_address_escape_value(socket.c_str());
    g_autofree char *text = g_markup_printf_escaped(configurationFormat, path, policy.c_str());
    return text;
}

// A TV's policy with the user who runs this process as the service's user.
std::string policyForThisUser() {
    std::string policy = busPolicyTemplate;
    const std::string placeholder = "@SOURCE_API_SERVICE_USER@";
    policy.replace(policy.find(placeholder), placeholder.size(), std::to_string(getuid()));
    return policy;
}

}  // namespace

BusDaemon::BusDaemon(EmulatorRoot &root) {
    replaceFile(root.busPolicy(), policyForThisUser());
    replaceFile(root.busConfiguration(), configurationFor(root.busSocket(), root.busPolicy()));
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
    m_output = support::FileDescriptor(ends[0]);
    const support::FileDescriptor input(ends[1]);
    support::ChildPlan plan;
    // Its log goes to the system's; the terminal is for the command.
    plan.command = {"dbus-daemon",       "--nofork",
                    "--nopidfile",       "--syslog-only",
                    "--print-address=1", "--config-file=" + root.busConfiguration().string()};
    plan.isDaemon = true;
    plan.output = input.get();
    m_pid = support::startChild(plan);
    constexpr auto readable = static_cast<GIOCondition>(G_IO_IN | G_IO_HUP);
    m_source = g_unix_fd_add(m_output.get(), readable, readAddress, this);
}

BusDaemon::~BusDaemon() {
    if (m_source != 0) {
        g_source_remove(m_source);
    }
}

gboolean BusDaemon::readAddress(gint output, GIOCondition, gpointer bus) {
    auto *self = static_cast<BusDaemon *>(bus);
    std::array<char, 4096> line;
    const ssize_t size = read(output, line.data(), line.size());
    if (size > 1) {
        self->m_address.assign(line.data(), static_cast<std::size_t>(size) - 1);
    }
    self->m_source = 0;
    return G_SOURCE_REMOVE;
}

}  // namespace emulated_tv
