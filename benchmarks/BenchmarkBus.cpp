// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "BenchmarkBus.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include "ChildProcess.h"

namespace bench {

namespace {

std::vector<char *> pointers(std::vector<std::string> &texts) {
    std::vector<char *> result;
    result.reserve(texts.size() + 1);
    for (std::string &text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> daemonCommand() {
    return {DBUS_DAEMON, "--config-file=" BUS_CONFIGURATION, "--nofork", "--print-address"};
}

std::vector<std::string> brokerCommand() {
    return {"/usr/bin/unshare", "--mount",       "--pid",         "--fork",         "--kill-child",
            "--mount-proc",     RUN_DBUS_BROKER, BROKER_PROGRAMS, BUS_CONFIGURATION};
}

}  // namespace

BackgroundProgram::BackgroundProgram(const std::vector<std::string> &command) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
    m_output = support::FileDescriptor(ends[0]);
    support::FileDescriptor writeEnd(ends[1]);
    m_pid = support::startChild({command, {}, false, writeEnd.get()});
    writeEnd.reset();
    char character = 0;
    while (read(m_output.get(), &character, 1) == 1 && character != '\n') {
        m_firstLine += character;
    }
}

BackgroundProgram::~BackgroundProgram() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
}

BenchmarkBus::BenchmarkBus()
    : m_daemon(daemonCommand()),
      m_service((g_setenv("DBUS_SYSTEM_BUS_ADDRESS", m_daemon.firstLine().c_str(), TRUE),
                 std::vector<std::string>{PROGRAMS "/bench-service"})) {
    if (m_service.firstLine() != "ready") {
        throw std::runtime_error("the service did not start");
    }
}

Broker::Broker()
    : m_broker(brokerCommand()),
      m_service(
          {"/usr/bin/env", "DBUS_SYSTEM_BUS_ADDRESS=" + address(), PROGRAMS "/bench-service"}) {
    if (m_service.firstLine() != "ready") {
        throw std::runtime_error("dbus-broker or the service on it did not start");
    }
}

std::string output(const std::vector<std::string> &arguments) {
    std::vector<std::string> texts = arguments;
    char *printed = nullptr;
    int status = 0;
    GError *error = nullptr;
    if (g_spawn_sync(nullptr, pointers(texts).data(), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr,
                     &printed, nullptr, &status, &error) == FALSE ||
        g_spawn_check_wait_status(status, &error) == FALSE) {
        const std::string reason = arguments[0] + ": " + error->message;
        g_error_free(error);
        g_free(printed);
        throw std::runtime_error(reason);
    }
    std::string result = printed;
    g_free(printed);
    return result;
}

}  // namespace bench
