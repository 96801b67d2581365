// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Check.h"

#include <glib-unix.h>

#include <array>
#include <csignal>
#include <set>

namespace {

// A signal waits for the end of a promise, so that a source is not left with another name.
class Interruption {
 public:
    Interruption() {
        for (Watched &watched : m_watched) {
            watched.id = g_unix_signal_add(watched.signal, note, &watched);
        }
    }
    ~Interruption() {
        for (const Watched &watched : m_watched) {
            g_source_remove(watched.id);
        }
    }
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;

    void throwIfAny() const {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        for (const Watched &watched : m_watched) {
            if (watched.hasCome) {
                throw Interrupted{watched.signal};
            }
        }
    }

 private:
    struct Watched {
        int signal;
        guint id = 0;
        bool hasCome = false;
    };
    static gboolean note(gpointer watched) {
        static_cast<Watched *>(watched)->hasCome = true;
        return G_SOURCE_CONTINUE;
    }

    std::array<Watched, 3> m_watched = {Watched{SIGINT}, Watched{SIGTERM}, Watched{SIGHUP}};
};

}  // namespace

void checkService(const Options &options, Report &report) {
    const Interruption interruption;
    ServiceBus bus(options.timeout);
    Session session{bus, options, Json::arrayValue, std::nullopt};
    std::set<std::string> kept = {""};
    for (const Promise &promise : allPromises()) {
        const bool canBeSeen = kept.count(promise.needs) != 0;
        const Finding finding =
            canBeSeen ? promise.check(session) : skipped("needs " + promise.needs);
        // A bus that ends can say first, in the service's place, that there is no answer.
        bus.catchUp();
        report.add(promise, finding);
        if (finding.outcome == Outcome::Kept) {
            kept.insert(promise.id);
        }
        interruption.throwIfAny();
    }
}
