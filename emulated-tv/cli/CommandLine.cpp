// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "CommandLine.h"

#include <algorithm>
#include <utility>

#include "Subcommands.h"

namespace emulated_tv {

namespace {

// Removes the user's command before CLI11 parses the rest, since its arguments may look like ours.
std::vector<std::string> takeCommand(std::vector<std::string> &arguments) {
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    if (arguments.empty() || arguments.front() != "run" || mark == arguments.end()) {
        return {};
    }
    std::vector<std::string> command(mark + 1, arguments.end());
    arguments.erase(mark, arguments.end());
    return command;
}

void describe(CLI::App &app, Request &request) {
    app.description("An emulated TV: its source service, and the devices plugged into it");
    app.name("tv-emulator");
    app.require_subcommand(1);
    addStartCommands(app, request);
    addRemoteCommands(app, request);
}

}  // namespace

CLI::App *addSubcommand(CLI::App &app, Request &request, const std::string &name,
                        const std::string &description, std::function<int()> action) {
    CLI::App *subcommand = app.add_subcommand(name, description);
    subcommand->callback([&request, action = std::move(action)] { request.action = action; });
    return subcommand;
}

void addRoot(CLI::App *subcommand, Request &request, const std::string &description) {
    subcommand
        ->add_option_function<std::string>(
            "--root", [&request](const std::string &root) { request.root = root; }, description)
        ->type_name("DIR");
}

int runCommandLine(std::vector<std::string> arguments) {
    CLI::App app;
    Request request;
    describe(app, request);
    request.command = takeCommand(arguments);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : wrongUsage;
    }
    return request.action();
}

void showCommandLine(const std::function<void(const CLI::App &)> &reader) {
    CLI::App app;
    Request request;
    describe(app, request);
    reader(app);
}

}  // namespace emulated_tv
