// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "BusDaemon.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <glib-unix.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include "BusPolicy.h"
#include "ChildProcess.h"
#include "SettingsStore.h"

namespace emulated_tv {

namespace {

// What the configuration has before a TV's policy: everything is allowed unless that denies it.
constexpr auto beginFormat = R"xml(<busconfig>
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
  </policy>)xml";

// The user who runs this process is the service's user.
std::string configurationFor(const std::filesystem::path &socket) {
    g_autofree char *path = g_dbus_address_escape_value(socket.c_str());
    g_autofree char *begin = g_markup_printf_escaped(beginFormat, path);
    std::string text = busPolicyTemplate;
    const auto replace = [&text](const std::string &placeholder, const std::string &value) {
        text.replace(text.find(placeholder), placeholder.size(), value);
    };
    replace("@SOURCE_API_SERVICE_USER@", std::to_string(getuid()));
    replace("<busconfig>", begin);
    return text;
}

}  // namespace

BusDaemon::BusDaemon(std::filesystem::path socket)
    : m_socket(std::move(socket)), m_configuration(m_socket.string() + ".conf") {}

BusDaemon::~BusDaemon() {
    if (m_source != 0) {
        g_source_remove(m_source);
    }
    if (m_pid != 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    std::error_code error;
    std::filesystem::remove(m_socket, error);
    std::filesystem::remove(m_configuration, error);
}

void BusDaemon::start() {
    replaceFile(m_configuration, configurationFor(m_socket));
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
                    "--print-address=1", "--config-file=" + m_configuration.string()};
    plan.isDaemon = true;
    plan.output = input.get();
    m_pid = support::startChild(plan);
    constexpr auto readable = static_cast<GIOCondition>(G_IO_IN | G_IO_HUP);
    m_source = g_unix_fd_add(m_output.get(), readable, readAddress, this);
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
