// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <iostream>
#include <stdexcept>

#include "Launcher.h"
#include "Scenario.h"
#include "Serve.h"
#include "SettingsStore.h"
#include "SourceStore.h"
#include "Subcommands.h"
#include "TvRoot.h"

namespace emulated_tv {

namespace {

// A scenario that has no mistakes as far as they can be told. Throws ScenarioError.
std::optional<ScenarioFile> scenarioOf(const Request &request) {
    if (request.scenario.empty()) {
        return std::nullopt;
    }
    const auto text = readFile(request.scenario);
    if (!text) {
        throw ScenarioError("cannot read " + request.scenario);
    }
    const Scenario scenario(request.scenario, *text);
    if (scenario.tv()) {
        scenario.rehearse(*scenario.tv());
    } else if (!request.root) {
        scenario.rehearse(defaultSources());
    }
    return ScenarioFile{request.scenario, *text};
}

int runAsAsked(const Request &request) {
    try {
        return Launcher({request.root, request.command, scenarioOf(request)}).run();
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
        "DBUS_SYSTEM_BUS_ADDRESS and SOURCE_TV_ROOT set, and everything ends with it, whatever it\n"
        "has started included; its exit code becomes that of run. Without COMMAND the two\n"
        "variables are printed for another shell, and the TV stays on until it is interrupted.\n\n"
        "Exit code: that of COMMAND, 128 plus the signal's number when it was killed or run was\n"
        "asked to end, 127 when it was not found, 126 when it cannot be run, 1 when the TV cannot\n"
        "be started, 2 for wrong usage or a scenario with mistakes.");
}

int serveAsAsked(const Request &request) {
    if (request.lifeline >= 0) {
        std::optional<Scenario> scenario;
        if (request.scenarioText >= 0) {
            const std::string file = "/proc/self/fd/" + std::to_string(request.scenarioText);
            scenario.emplace(request.scenario, readFile(file).value_or(""));
        }
        return serveForLauncher(request.lifeline, request.root, scenario);
    }
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
    serve->add_option("--lifeline", request.lifeline)->group("");
    serve->add_option("--scenario", request.scenario)->group("");
    serve->add_option("--scenario-text", request.scenarioText)->group("");
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
