// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_LAUNCHER_H
#define EMULATED_TV_LAUNCHER_H

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "BusDaemon.h"
#include "EmulatorRoot.h"
#include "FileDescriptor.h"
#include "SignalInbox.h"
#include "Terminal.h"

namespace emulated_tv {

struct ScenarioFile {
    // For messages.
    std::string name;
    std::string text;
};

struct LaunchPlan {
    // Nothing for a folder that goes with the emulator.
    std::optional<std::filesystem::path> root;
    // Nothing to serve until interrupted.
    std::vector<std::string> command;
    // What happens at the TV, in a scenario that has no mistakes.
    std::optional<ScenarioFile> scenario;
};

// A whole emulated TV: a root, a private bus, the service, and a command that uses them. All of it
// ends when the command does or the launcher is asked to; the service sees to it when the
// launcher is killed, so it comes first and goes last. There can be one in a process, on its main
// thread.
class Launcher {
 public:
    explicit Launcher(LaunchPlan plan);
    ~Launcher();
    Launcher(const Launcher &) = delete;
    Launcher &operator=(const Launcher &) = delete;

    // The command's exit code, or 128 plus the number of the signal that ended it or was sent to
    // this process; 127 or 126 when it cannot be run. Throws std::runtime_error when the TV
    // cannot be started.
    int run();

 private:
    void startService();
    void startBus();
    void waitForService();
    int startCommand();
    int waitForCommand();
    int waitForInterrupt();
    void waitFor(int descriptor) const;

    void takeChildrenIn();
    void commandStopped();
    void commandContinues() const;

    void endCommand();
    void endDaemon(const pid_t &daemon);
    std::vector<pid_t> commandChildren() const;

    const LaunchPlan m_plan;
    const SignalInbox m_signals;
    Terminal m_terminal;
    // Nothing before the service has told.
    std::optional<RootPlaces> m_places;
    std::optional<BusDaemon> m_busDaemon;
    std::string m_busAddress;
    support::FileDescriptor m_lifeline;
    bool m_isEnding = false;
    // Process ids, 0 for none that is alive.
    pid_t m_bus = 0;
    pid_t m_service = 0;
    pid_t m_command = 0;
    int m_commandStatus = 0;
};

}  // namespace emulated_tv

#endif
