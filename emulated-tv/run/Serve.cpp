// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Serve.h"

#include <glib-unix.h>
#include <poll.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <utility>

#include "BusConnection.h"
#include "Control.h"
#include "EmulatedTv.h"
#include "EmulatorRoot.h"
#include "Lifeline.h"
#include "ReadinessEvent.h"

namespace emulated_tv {

namespace {

bool waitForEndOf(pid_t group, std::chrono::seconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (kill(-group, 0) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        // They are no children of this process, which is told nothing of their end.
        constexpr int step = 20;
        poll(nullptr, 0, step);
    }
    return true;
}

void endGroup(pid_t group) {
    for (const int each : {SIGHUP, SIGTERM, SIGCONT}) {
        kill(-group, each);
    }
    if (!waitForEndOf(group, std::chrono::seconds(2))) {
        kill(-group, SIGKILL);
        waitForEndOf(group, std::chrono::seconds(1));
    }
}

// The launcher, as far as the service has to do with it. When it has died by the time this goes,
// its command is ended.
class LauncherWatch {
 public:
    explicit LauncherWatch(int lifeline) : m_lifeline(lifeline) {}
    ~LauncherWatch() {
        pollfd news = {m_lifeline, POLLIN, 0};
        while (!m_hasDied && poll(&news, 1, 0) > 0) {
            hear();
        }
        if (m_hasDied && m_commandGroup > 0) {
            endGroup(m_commandGroup);
        }
    }
    LauncherWatch(const LauncherWatch &) = delete;
    LauncherWatch &operator=(const LauncherWatch &) = delete;

    int lifeline() const { return m_lifeline; }

    // Takes what it says next; false when it has died.
    bool hear() {
        const auto group = readGroup(m_lifeline);
        m_hasDied = !group;
        m_commandGroup = group.value_or(m_commandGroup);
        return !m_hasDied;
    }

 private:
    int m_lifeline;
    pid_t m_commandGroup = 0;
    bool m_hasDied = false;
};

// Waits for the reason to end, answering the bus meanwhile.
class Session {
 public:
    // Without a launcher the bus's going is a reason, too. A launcher's first word after the start
    // says that the command begins, the next that it has ended.
    Session(GDBusConnection *connection, LauncherWatch *launcher, std::function<void()> begin,
            std::function<void()> end)
        : m_loop(g_main_loop_new(nullptr, FALSE)),
          m_launcher(launcher),
          m_begin(std::move(begin)),
          m_end(std::move(end)) {
        for (const int each : {SIGINT, SIGTERM, SIGHUP}) {
            g_unix_signal_add(each, onSignal, this);
        }
        if (launcher != nullptr) {
            // Before everything else: the bus goes soon after the command.
            g_unix_fd_add_full(G_PRIORITY_HIGH, launcher->lifeline(),
                               static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), onLifeline, this,
                               nullptr);
        } else {
            g_signal_connect(connection, "closed", G_CALLBACK(onClosed), this);
        }
    }
    ~Session() { g_main_loop_unref(m_loop); }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // The process's exit code.
    int waitForEnd() {
        g_main_loop_run(m_loop);
        return m_exitCode;
    }

 private:
    void endWith(int exitCode) {
        m_exitCode = exitCode;
        g_main_loop_quit(m_loop);
    }

    static gboolean onSignal(gpointer session) {
        static_cast<Session *>(session)->endWith(EXIT_SUCCESS);
        return G_SOURCE_CONTINUE;
    }

    static gboolean onLifeline(gint, GIOCondition, gpointer data) {
        auto *session = static_cast<Session *>(data);
        if (session->m_launcher->hear()) {
            std::exchange(session->m_begin, session->m_end)();
            return G_SOURCE_CONTINUE;
        }
        session->endWith(EXIT_FAILURE);
        return G_SOURCE_REMOVE;
    }

    static void onClosed(GDBusConnection *, gboolean, GError *, gpointer session) {
        static_cast<Session *>(session)->endWith(EXIT_FAILURE);
    }

    GMainLoop *m_loop;
    LauncherWatch *m_launcher;
    std::function<void()> m_begin;
    std::function<void()> m_end;
    int m_exitCode = EXIT_SUCCESS;
};

// Tells the world that requests are answered, for as long as it lives.
class Presence {
 public:
    Presence(const std::filesystem::path &root, const std::string &busAddress)
        : m_ready(root, "/tmp/source_service_ready"), m_addressFile(busAddressFile(root)) {
        replaceFile(m_addressFile, busAddress);
        m_ready.set();
    }
    ~Presence() {
        std::error_code error;
        std::filesystem::remove(m_addressFile, error);
        try {
            m_ready.clear();
        } catch (const std::runtime_error &) {
            // Nobody can wait for it in a root that has gone.
        }
    }
    Presence(const Presence &) = delete;
    Presence &operator=(const Presence &) = delete;

 private:
    ReadinessEvent m_ready;
    std::filesystem::path m_addressFile;
};

// Serves on the bus until there is a reason to end.
int serveOn(const std::string &busAddress, const std::filesystem::path &root,
            LauncherWatch *launcher, const std::optional<Scenario> &scenario) {
    const support::Connection connection = support::connectTo(busAddress);
    std::optional<Player> player;
    Session session(
        connection.get(), launcher,
        [&player] {
            if (player) {
                player->start();
            }
        },
        [&player] {
            if (player) {
                player->stop();
            }
        });
    EmulatedTv tv(busAddress, root, scenario ? scenario->tv() : std::nullopt);
    if (scenario) {
        player.emplace(*scenario, tv);
    }
    const Control control(connection.get(), tv);
    const Presence presence(root, busAddress);
    if (launcher != nullptr) {
        sayReady(launcher->lifeline());
    }
    return session.waitForEnd();
}

}  // namespace

int serve(const std::filesystem::path &root) {
    std::filesystem::create_directories(root);
    const support::FileDescriptor lock = lockRoot(root);
    return serveOn(support::systemBusAddress(), root, nullptr, std::nullopt);
}

int serveForLauncher(int lifeline, const std::optional<std::filesystem::path> &root,
                     const std::optional<Scenario> &scenario) {
    const EmulatorRoot ownRoot(root);
    LauncherWatch launcher(lifeline);
    sayPlaces(lifeline, ownRoot.places());
    const auto busAddress = readBusAddress(lifeline);
    return busAddress ? serveOn(*busAddress, ownRoot.places().root, &launcher, scenario)
                      : EXIT_FAILURE;
}

}  // namespace emulated_tv
