// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <stdexcept>

#include "CommandParts.h"
#include "Launcher.h"
#include "Serve.h"
#include "TvRoot.h"

namespace {

void addRun(CLI::App &app, Request &request) {
    auto *run = addSubcommand(app, request, "run",
                              "Starts an emulated TV and a command that uses it", [&request] {
                                  return Launcher({request.root, request.command}).run();
                              });
    addRoot(run, request,
            "Folder in which the TV keeps its state; made when missing and kept afterwards. "
            "Without it the TV is a new one, and gone at the end");
    run->footer(
        "tv-emulator run [--root DIR] [-- COMMAND ...]\n\n"
        "Makes a private bus and serves the TV's sources on it. COMMAND runs with\n"
        "DBUS_SYSTEM_BUS_ADDRESS and SOURCE_TV_ROOT set, and everything ends with it, whatever it\n"
        "has started included; its exit code becomes that of run. Without COMMAND the two\n"
        "variables are printed for another shell, and the TV stays on until it is interrupted.\n\n"
        "Exit code: that of COMMAND, 128 plus the signal's number when it was killed or run was\n"
        "asked to end, 127 when it was not found, 126 when it cannot be run, 1 when the TV cannot\n"
        "be started, 2 for wrong usage.");
}

int serveAsAsked(const Request &request) {
    if (request.lifeline >= 0) {
        return serveForLauncher(request.lifeline, request.root);
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
    serve->footer(
        "The service alone, in the foreground, on the bus that DBUS_SYSTEM_BUS_ADDRESS names. It\n"
        "ends with exit code 0 when it is interrupted, and with 1 when the bus goes away.");
}

}  // namespace

void addStartCommands(CLI::App &app, Request &request) {
    addRun(app, request);
    addServe(app, request);
}
