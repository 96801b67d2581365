// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Promise.h"
#include "Words.h"

namespace {

// The user's command, run beside the check. It may go on when the check ends: it may be the
// service itself.
class RestartCommand {
 public:
    explicit RestartCommand(const std::string &command) {
        // Standard output is the report's.
        const std::string script = "exec >&2\n" + command;
        const char *arguments[] = {"sh", "-c", script.c_str(), nullptr};
        g_autoptr(GError) error = nullptr;
        if (g_spawn_async(nullptr, const_cast<char **>(arguments), nullptr,
                          static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD),
                          nullptr, nullptr, &m_pid, &error) == FALSE) {
            m_failure = error->message;
            return;
        }
        m_watch = g_child_watch_add(m_pid, noteEnd, this);
    }
    ~RestartCommand() {
        if (m_watch != 0) {
            g_source_remove(m_watch);
        }
    }
    RestartCommand(const RestartCommand &) = delete;
    RestartCommand &operator=(const RestartCommand &) = delete;

    // Why it came to nothing; empty when it did not, or not yet.
    const std::string &failure() const { return m_failure; }

 private:
    static void noteEnd(GPid pid, int status, gpointer self) {
        auto *command = static_cast<RestartCommand *>(self);
        g_autoptr(GError) error = nullptr;
        if (g_spawn_check_wait_status(status, &error) == FALSE) {
            command->m_failure = error->message;
        }
        g_spawn_close_pid(pid);
        command->m_watch = 0;
    }

    GPid m_pid = 0;
    guint m_watch = 0;
    std::string m_failure;
};

Finding checkName(Session &session) {
    if (!session.options.restart) {
        return skipped("no command was given with --restart");
    }
    session.bus.catchUp();
    const auto &owners = session.bus.owners();
    const std::size_t before = owners.size();
    const auto isOwnedAgain = [&] { return owners.size() > before && !owners.back().empty(); };
    const RestartCommand command(*session.options.restart);
    session.bus.listenUntil([&] { return isOwnedAgain() || !command.failure().empty(); });
    if (isOwnedAgain()) {
        return kept("another owner");
    }
    const std::string state = owners.size() == before ? "it kept its owner" : "nobody owns it";
    return broken("that the name is lost and owned again",
                  command.failure().empty()
                      ? state + " after " + std::to_string(session.options.timeout) + " ms"
                      : state + "; the command: " + quoted(command.failure()));
}

Finding checkList(Session &session) {
    return findList(session.askForList());
}

Finding checkSignal(Session &session) {
    return findSignal(session, tryRename(session));
}

}  // namespace

Promises restartPromises() {
    return {
        {"restart-name", "A service that is started anew owns the bus name again", "list-answer",
         checkName},
        {"restart-list", "It answers with the list as soon as it owns the name", "restart-name",
         checkList},
        {"restart-signal", "It announces changes again", "restart-list", checkSignal},
    };
}
