// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <iostream>
#include <stdexcept>

#include "Emulator.h"
#include "Scenario.h"
#include "SettingsStore.h"
#include "SourceStore.h"
#include "Subcommands.h"
#include "TvRoot.h"

namespace emulated_tv {

namespace {

// A scenario that has no mistakes as far as they can be told. Throws ScenarioError.
std::optional<Scenario> scenarioOf(const Request &request) {
    if (request.scenario.empty()) {
        return std::nullopt;
    }
    const auto text = readFile(request.scenario);
    if (!text) {
        throw ScenarioError("cannot read " + request.scenario);
    }
    Scenario scenario(request.scenario, *text);
    if (scenario.tv()) {
        scenario.rehearse(*scenario.tv());
    } else if (!request.root) {
        scenario.rehearse(defaultSources());
    }
    return scenario;
}

int runAsAsked(const Request &request) {
    try {
        return runEmulator({request.root, request.command, scenarioOf(request)});
    } catch (const ScenarioError &error) {
        std::cerr << error.what() << '\n';
        return wrongUsage;
    }
}

void addRun(CLI::App &app, Request &request) {
    auto *run =
        addSubcommand(app, request, "run", "Starts an emulated TV and a command that uses it",
                      [&request] { return runAsAsked(request); });
    addRoot(run, request,
            "Folder in which the TV keeps its state; made when missing and kept afterwards. "
            "Without it the TV is a new one, and gone at the end");
    run->add_option("--scenario", request.scenario,
                    "What happens at the TV meanwhile, a JSON file; it may describe the TV, too")
        ->type_name("PATH");
    run->footer(
        "tv-emulator run [--root DIR] [--scenario PATH] [-- COMMAND ...]\n\n"
        "Makes a private bus and serves the TV's sources on it. COMMAND runs with\n"
        "DBUS_SYSTEM_BUS_ADDRESS and SOURCE_TV_ROOT set. When it ends, all that it has started is\n"
        "ended as well, and its exit code becomes that of run. Without COMMAND the two variables\n"
        "are printed for another shell, and the TV stays on until it is interrupted.\n\n"
        "Exit code: that of COMMAND, 128 plus the signal's number when a signal ended it or run,\n"
        "127 when it was not found, 126 when it cannot be run, 1 when the TV cannot be started,\n"
        "2 for wrong usage or a scenario with mistakes.");
}

int serveAsAsked(const Request &request) {
    const auto root = request.root ? request.root : tvRootFromEnvironment();
    if (!root) {
        throw std::runtime_error("name the TV's folder with --root or SOURCE_TV_ROOT");
    }
    return serve(*root);
}

void addServe(CLI::App &app, Request &request) {
    auto *serve = addSubcommand(app, request, "serve", "Serves on the system bus that is there",
                                [&request] { return serveAsAsked(request); });
    addRoot(serve, request, "The TV's folder; SOURCE_TV_ROOT when it is not given");
    serve->footer(
        "The service alone, in the foreground, on the bus that DBUS_SYSTEM_BUS_ADDRESS names. It\n"
        "ends with exit code 0 when it is interrupted, and with 1 when the bus goes away.");
}

}  // namespace

void addStartCommands(CLI::App &app, Request &request) {
    addRun(app, request);
    addServe(app, request);
}

}  // namespace emulated_tv
