// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// service-check: checks whether a source service conforms to what applications require.
#include <glib-unix.h>

#include <array>
#include <csignal>
#include <iostream>
#include <set>

#include "Check.h"

namespace service_check {

namespace {

struct Interrupted {
    int signal;
};

// Catches termination signals, so that a check can finish and a renamed source gets its name back.
class SignalCatcher {
 public:
    SignalCatcher() {
        for (Signal &signal : m_signals) {
            signal.source = g_unix_signal_add(signal.number, onSignal, &signal);
        }
    }
    ~SignalCatcher() {
        for (const Signal &signal : m_signals) {
            g_source_remove(signal.source);
        }
    }
    SignalCatcher(const SignalCatcher &) = delete;
    SignalCatcher &operator=(const SignalCatcher &) = delete;

    void throwIfInterrupted() const {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        for (const Signal &signal : m_signals) {
            if (signal.wasReceived) {
                throw Interrupted{signal.number};
            }
        }
    }

 private:
    struct Signal {
        int number;
        guint source = 0;
        bool wasReceived = false;
    };
    static gboolean onSignal(gpointer signal) {
        static_cast<Signal *>(signal)->wasReceived = true;
        return G_SOURCE_CONTINUE;
    }

    std::array<Signal, 3> m_signals = {Signal{SIGINT}, Signal{SIGTERM}, Signal{SIGHUP}};
};

// Throws Unreachable or Interrupted; a renamed source has its name back in either case.
void runChecks(const Options &options, Report &report) {
    const SignalCatcher signals;
    ServiceBus bus(options.timeout);
    Session session{bus, options, Json::arrayValue, std::nullopt};
    std::set<std::string> passedIds = {""};
    for (const Check &check : allChecks()) {
        const bool canRun = passedIds.count(check.prerequisite) != 0;
        const Result result = canRun ? check.run(session) : skipped("needs " + check.prerequisite);
        // A daemon that exits may first reply with an error in place of the service, which must
        // not be reported as a failure of the service.
        bus.dispatchPending();
        report.add(check, result);
        if (result.outcome == Outcome::Passed) {
            passedIds.insert(check.id);
        }
        signals.throwIfInterrupted();
    }
}

int fail(const char *reason) {
    std::cerr << "service-check: " << reason << std::endl;
    return exitUnreachable;
}

int run(int argc, const char *const *argv) {
    const Invocation invocation = readCommandLine(argc, argv);
    if (!invocation.options) {
        return invocation.exitCode;
    }
    Report report(std::cout, invocation.options->json);
    try {
        runChecks(*invocation.options, report);
    } catch (const Unreachable &unreachable) {
        return fail(unreachable.what());
    } catch (const Interrupted &interrupted) {
        return 128 + interrupted.signal;
    }
    if (!report.finish()) {
        return fail("cannot write to standard output");
    }
    return report.count(Outcome::Failed) == 0 ? exitPassed : exitFailed;
}

}  // namespace

}  // namespace service_check

int main(int argc, char **argv) {
    return service_check::run(argc, argv);
}
