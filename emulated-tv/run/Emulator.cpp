// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Emulator.h"

#include <glib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "BusConnection.h"
#include "BusDaemon.h"
#include "ChildProcess.h"
#include "Control.h"
#include "EmulatedTv.h"
#include "EmulatorRoot.h"
#include "MainLoop.h"
#include "TvRoot.h"

namespace emulated_tv {

namespace {

using std::chrono::seconds;

constexpr auto busVariable = "DBUS_SYSTEM_BUS_ADDRESS";

std::string shellWord(const std::string &text) {
    g_autofree char *word = g_shell_quote(text.c_str());
    return word;
}

bool isIgnored(int signal) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

// The TV on a bus, announced to clients for the lifetime of this object.
class ServedTv {
 public:
    ServedTv(const std::string &busAddress, const EmulatorRoot &root,
             const std::optional<Scenario> &scenario)
        : m_root(root),
          m_connection(support::connectTo(busAddress)),
          m_tv(busAddress, root.path(), scenario ? scenario->tv() : std::nullopt),
          m_control(m_connection.get(), m_tv) {
        if (scenario) {
            m_player.emplace(*scenario, m_tv);
        }
        root.announce(busAddress);
    }
    ~ServedTv() { m_root.withdraw(); }
    ServedTv(const ServedTv &) = delete;
    ServedTv &operator=(const ServedTv &) = delete;

    bool hasLostBus() const { return g_dbus_connection_is_closed(m_connection.get()) != FALSE; }

    void startScenario() {
        if (m_player) {
            m_player->start();
        }
    }
    void stopScenario() { m_player.reset(); }

 private:
    const EmulatorRoot &m_root;
    const support::Connection m_connection;
    EmulatedTv m_tv;
    const Control m_control;
    std::optional<Player> m_player;
};

class Emulator {
 public:
    explicit Emulator(const EmulatorPlan &plan);
    ~Emulator();
    Emulator(const Emulator &) = delete;
    Emulator &operator=(const Emulator &) = delete;

    int run();

 private:
    int runCommand();
    int waitForSignal();

    void receive(const signalfd_siginfo &signal);
    void reapChildren();
    bool endCommand(const std::vector<int> &signals, std::chrono::seconds limit) const;

    const EmulatorPlan &m_plan;
    const support::SignalWatch m_signals;
    EmulatorRoot m_root;
    BusDaemon m_bus;
    std::optional<ServedTv> m_tv;
    // 0 if it does not run.
    pid_t m_command = 0;
    int m_commandStatus = 0;
    bool m_commandIsStopped = false;
    // The signal that ends the emulator, 0 until it arrives.
    int m_endSignal = 0;
};

Emulator::Emulator(const EmulatorPlan &plan)
    : m_plan(plan),
      m_signals({SIGCHLD, SIGCONT, SIGINT, SIGQUIT, SIGTERM, SIGHUP},
                [this](const signalfd_siginfo &signal) { receive(signal); }),
      m_root(plan.root),
      m_bus(m_root.busSocket()) {
    // If it were ignored, the kernel would reap the children.
    std::signal(SIGCHLD, SIG_DFL);
    // A process that outlives its parent becomes a child of this one, which ends and reaps it.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

Emulator::~Emulator() {
    // The TV stays on until the command has ended.
    if (!endCommand({SIGHUP, SIGTERM, SIGCONT}, seconds(2))) {
        endCommand({SIGKILL}, seconds(5));
    }
}

int Emulator::run() {
    m_bus.start();
    support::iterateUntil([this] { return !m_bus.isStarting() || m_endSignal != 0; }, seconds(30));
    if (m_endSignal != 0) {
        return 128 + m_endSignal;
    }
    if (m_bus.address().empty()) {
        throw std::runtime_error("the bus did not start");
    }
    try {
        m_tv.emplace(m_bus.address(), m_root, m_plan.scenario);
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(std::string("the source service did not start: ") + error.what());
    }
    return m_plan.command.empty() ? waitForSignal() : runCommand();
}

int Emulator::runCommand() {
    support::ChildPlan child;
    child.command = m_plan.command;
    child.environment = {{busVariable, m_bus.address()}, {tvRootVariable, m_root.path()}};
    try {
        m_command = support::startChild(child);
    } catch (const std::system_error &error) {
        std::cerr << "tv-emulator: " << error.what() << '\n';
        return error.code() == std::errc::no_such_file_or_directory ? 127 : 126;
    }
    m_tv->startScenario();
    support::iterateUntil([this] { return m_command == 0 || m_endSignal != 0; });
    return m_command == 0 ? support::exitCodeOf(m_commandStatus) : 128 + m_endSignal;
}

int Emulator::waitForSignal() {
    std::cout << "# The TV is on. For another shell:\n"
              << "export " << busVariable << '=' << shellWord(m_bus.address()) << '\n'
              << "export " << tvRootVariable << '=' << shellWord(m_root.path()) << '\n'
              << "# Ctrl-C here, or \"kill " << getpid() << "\" there, turns it off." << std::endl;
    m_tv->startScenario();
    support::iterateUntil([this] { return m_bus.pid() == 0 || m_endSignal != 0; });
    return m_endSignal != 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

void Emulator::receive(const signalfd_siginfo &signal) {
    const int number = static_cast<int>(signal.ssi_signo);
    // The terminal's keys reach the command, too, which decides whether it ends.
    const bool isKey = signal.ssi_code == SI_KERNEL && (number == SIGINT || number == SIGQUIT);
    if (number == SIGCHLD) {
        reapChildren();
    } else if (number == SIGCONT) {
        if (std::exchange(m_commandIsStopped, false) && m_command != 0) {
            kill(m_command, SIGCONT);
        }
    } else if (!(isKey && m_command != 0) && !(number == SIGHUP && isIgnored(SIGHUP))) {
        m_endSignal = number;
    }
}

void Emulator::reapChildren() {
    int status = 0;
    for (pid_t child = 0; (child = waitpid(-1, &status, WNOHANG | WUNTRACED)) > 0;) {
        if (WIFSTOPPED(status)) {
            if (child == m_command && m_endSignal == 0) {
                // The shell that started the emulator sees a stop of the emulator only.
                m_commandIsStopped = true;
                raise(SIGTSTP);
            }
        } else if (child == m_command) {
            m_command = 0;
            m_commandStatus = status;
            m_tv->stopScenario();
        } else if (child == m_bus.pid()) {
            m_bus.noteEnd();
            if (m_tv) {
                std::cerr << "tv-emulator: the bus has ended\n";
            }
        }
    }
}

// Signals everything that the command has started, then what becomes a child of this process
// because its parent has ended; not what a process starts in order to end. Returns false if some
// are left when the limit passes.
bool Emulator::endCommand(const std::vector<int> &signals, seconds limit) const {
    std::set<pid_t> signalled = {m_bus.pid()};
    const auto signalOnce = [&](const std::vector<pid_t> &processes) {
        for (const pid_t process : processes) {
            if (signalled.insert(process).second) {
                for (const int each : signals) {
                    kill(process, each);
                }
            }
        }
    };
    signalOnce(support::descendantsOf(getpid()));
    return support::iterateUntil(
        [&] {
            const std::vector<pid_t> children = support::childrenOf(getpid());
            signalOnce(children);
            return std::all_of(children.begin(), children.end(),
                               [this](pid_t child) { return child == m_bus.pid(); });
        },
        limit);
}

}  // namespace

int runEmulator(const EmulatorPlan &plan) {
    return Emulator(plan).run();
}

int serve(const std::filesystem::path &root) {
    int endSignal = 0;
    const support::SignalWatch signals({SIGINT, SIGTERM, SIGHUP},
                                       [&endSignal](const signalfd_siginfo &signal) {
                                           endSignal = static_cast<int>(signal.ssi_signo);
                                       });
    const EmulatorRoot ownRoot(root);
    const ServedTv tv(support::systemBusAddress(), ownRoot, std::nullopt);
    support::iterateUntil([&] { return endSignal != 0 || tv.hasLostBus(); });
    return endSignal != 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace emulated_tv
