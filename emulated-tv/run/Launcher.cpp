// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Launcher.h"

#include <glib.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include "ChildProcess.h"
#include "Lifeline.h"
#include "TvRoot.h"

namespace emulated_tv {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr auto busVariable = "DBUS_SYSTEM_BUS_ADDRESS";

// Sent to this process while the TV was starting.
struct Interrupted {
    int signal;
};

milliseconds until(Clock::time_point deadline) {
    return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(deadline - Clock::now()));
}

bool asksToEnd(int signal) {
    return signal != SIGCHLD && signal != SIGCONT;
}

int exitCode(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string shellWord(const std::string &text) {
    g_autofree char *word = g_shell_quote(text.c_str());
    return word;
}

// Of the file that was checked, only what was read then counts.
support::FileDescriptor fileWith(const std::string &text) {
    support::FileDescriptor file(memfd_create("scenario", MFD_CLOEXEC));
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t size = write(file.get(), text.data() + written, text.size() - written);
        if (size < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot pass the scenario on");
        }
        written += static_cast<std::size_t>(size);
    }
    return file;
}

}  // namespace

Launcher::Launcher(LaunchPlan plan) : m_plan(std::move(plan)) {
    // What the command leaves behind becomes a child of this process, and ends with it.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

Launcher::~Launcher() {
    m_isEnding = true;
    endCommand();
    endDaemon(m_bus);
    endDaemon(m_service);
    // The service has done so itself, unless it was killed.
    if (m_places) {
        m_places->clear();
    }
}

int Launcher::run() {
    try {
        startService();
        startBus();
        waitForService();
    } catch (const Interrupted &interrupted) {
        return 128 + interrupted.signal;
    }
    return m_plan.command.empty() ? waitForInterrupt() : startCommand();
}

void Launcher::startService() {
    auto [ownEnd, serviceEnd] = makeLifeline();
    m_lifeline = std::move(ownEnd);
    ChildPlan plan;
    plan.command = {std::filesystem::read_symlink("/proc/self/exe").string(), "serve",
                    "--lifeline=" + std::to_string(serviceEnd.get())};
    if (m_plan.root) {
        plan.command.push_back("--root=" + m_plan.root->string());
    }
    plan.keeps = {serviceEnd.get()};
    support::FileDescriptor scenario;
    if (m_plan.scenario) {
        scenario = fileWith(m_plan.scenario->text);
        plan.keeps.push_back(scenario.get());
        plan.command.push_back("--scenario=" + m_plan.scenario->name);
        plan.command.push_back("--scenario-text=" + std::to_string(scenario.get()));
    }
    plan.isDaemon = true;
    m_service = startChild(plan);
    serviceEnd.reset();
    waitFor(m_lifeline.get());
    m_places = readPlaces(m_lifeline.get());
    if (!m_places) {
        throw std::runtime_error("the source service did not start");
    }
}

void Launcher::startBus() {
    m_busDaemon.emplace(*m_places);
    m_bus = m_busDaemon->pid();
    waitFor(m_busDaemon->descriptor());
    m_busAddress = m_busDaemon->address();
    sayBusAddress(m_lifeline.get(), m_busAddress);
}

void Launcher::waitForService() {
    waitFor(m_lifeline.get());
    if (!readReady(m_lifeline.get())) {
        throw std::runtime_error("the source service did not start");
    }
}

int Launcher::startCommand() {
    ChildPlan plan;
    plan.command = m_plan.command;
    plan.environment = {{busVariable, m_busAddress}, {tvRootVariable, m_places->root.string()}};
    plan.deathSignal = SIGHUP;
    plan.terminal = m_terminal.isOurs() ? m_terminal.descriptor() : -1;
    // The command tells for itself, so that there is no moment in which it runs unknown to the one
    // that ends it when this process is killed.
    plan.lastly = [this] { sayGroup(m_lifeline.get(), getpid()); };
    try {
        m_command = startChild(plan);
    } catch (const std::system_error &error) {
        std::cerr << "tv-emulator: " << error.what() << '\n';
        return error.code() == std::errc::no_such_file_or_directory ? 127 : 126;
    }
    const int code = waitForCommand();
    if (plan.terminal >= 0) {
        m_terminal.takeBack();
    }
    return code;
}

int Launcher::waitForCommand() {
    while (m_command != 0) {
        const int signal = m_signals.next();
        if (signal == SIGCHLD) {
            takeChildrenIn();
        } else if (signal == SIGCONT) {
            commandContinues();
        } else {
            return 128 + signal;
        }
    }
    return exitCode(m_commandStatus);
}

int Launcher::waitForInterrupt() {
    std::cout << "# The TV is on. For another shell:\n"
              << "export " << busVariable << '=' << shellWord(m_busAddress) << '\n'
              << "export " << tvRootVariable << '=' << shellWord(m_places->root.string()) << '\n'
              << "# Ctrl-C here, or \"kill " << getpid() << "\" there, turns it off." << std::endl;
    // No group, but the word that begins a scenario.
    sayGroup(m_lifeline.get(), 0);
    while (m_bus != 0 && m_service != 0) {
        const int signal = m_signals.next();
        if (asksToEnd(signal)) {
            return EXIT_SUCCESS;
        }
        takeChildrenIn();
    }
    return EXIT_FAILURE;
}

void Launcher::waitFor(int descriptor) const {
    const Clock::time_point deadline = Clock::now() + seconds(30);
    pollfd either[] = {{descriptor, POLLIN, 0}, {m_signals.descriptor(), POLLIN, 0}};
    while (poll(either, 2, static_cast<int>(until(deadline).count())) > 0) {
        if (either[0].revents != 0) {
            return;
        }
        const int signal = m_signals.next();
        if (asksToEnd(signal)) {
            throw Interrupted{signal};
        }
    }
    throw std::runtime_error("the TV did not start within 30 seconds");
}

void Launcher::takeChildrenIn() {
    int status = 0;
    pid_t child = 0;
    while ((child = waitpid(-1, &status, WNOHANG | WUNTRACED)) > 0) {
        if (WIFSTOPPED(status)) {
            if (child == m_command) {
                commandStopped();
            }
        } else if (child == m_command) {
            m_command = 0;
            m_commandStatus = status;
            sayGroup(m_lifeline.get(), 0);
        } else if (child == m_service || child == m_bus) {
            if (!m_isEnding) {
                std::cerr << "tv-emulator: the " << (child == m_bus ? "bus" : "source service")
                          << " has ended\n";
            }
            (child == m_bus ? m_bus : m_service) = 0;
        }
    }
}

// The shell that this process was started from knows this process only: it is told of the stop by
// the same stop, and continues the command by continuing this process.
void Launcher::commandStopped() {
    m_terminal.takeBack();
    raise(SIGTSTP);
    commandContinues();
}

void Launcher::commandContinues() const {
    if (m_terminal.isOurs()) {
        m_terminal.giveTo(m_command);
    }
    kill(-m_command, SIGCONT);
}

void Launcher::endCommand() {
    for (const auto &[way, limit] :
         {std::pair(SIGTERM, seconds(2)), std::pair(SIGKILL, seconds(5))}) {
        const Clock::time_point deadline = Clock::now() + limit;
        std::set<pid_t> told;
        std::vector<pid_t> children;
        while (!(children = commandChildren()).empty() && Clock::now() < deadline) {
            for (const pid_t child : children) {
                if (told.insert(child).second) {
                    const pid_t target = child == m_command ? -child : child;
                    kill(target, SIGHUP);
                    kill(target, way);
                    kill(target, SIGCONT);
                }
            }
            m_signals.next(until(deadline));
            takeChildrenIn();
        }
    }
}

void Launcher::endDaemon(const pid_t &daemon) {
    for (const auto &[way, limit] :
         {std::pair(SIGTERM, seconds(30)), std::pair(SIGKILL, seconds(5))}) {
        const Clock::time_point deadline = Clock::now() + limit;
        if (daemon != 0) {
            kill(daemon, way);
        }
        while (daemon != 0 && Clock::now() < deadline) {
            m_signals.next(until(deadline));
            takeChildrenIn();
        }
    }
}

std::vector<pid_t> Launcher::commandChildren() const {
    const std::string self = std::to_string(getpid());
    std::ifstream list("/proc/self/task/" + self + "/children");
    std::vector<pid_t> children;
    for (pid_t child = 0; list >> child;) {
        if (child != m_bus && child != m_service) {
            children.push_back(child);
        }
    }
    return children;
}

}  // namespace emulated_tv
