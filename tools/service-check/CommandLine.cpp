// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "CommandLine.h"

#include <CLI/CLI.hpp>

#include "TerminalText.h"

namespace service_check {

namespace {

constexpr int longestTimeout = 600000;

std::string utf8Error(const std::string &given) {
    return support::isUtf8(given) ? "" : "not valid UTF-8";
}

void describe(CLI::App &app) {
    app.name("service-check");
    app.description(
        "Checks whether a TV's source service conforms to what applications require.\n"
        "Calls the source service on the D-Bus system bus as applications do and prints\n"
        "one line for each check: passed, failed or skipped, with what was expected and\n"
        "seen. It renames a source and restores its name; every other value that it sets\n"
        "is the current one.");
    app.footer(
        "Exit codes:\n"
        "  0    every check passed or was skipped\n"
        "  1    a check failed\n"
        "  2    wrong usage\n"
        "  3    there is no bus or no source service on it, or the connection was lost\n"
        "  128+N  interrupted by signal N\n"
        "\n"
        "Environment:\n"
        "  DBUS_SYSTEM_BUS_ADDRESS  address of a bus to use instead of the system bus\n"
        "\n"
        "Examples:\n"
        "  service-check\n"
        "  service-check --shown tuner --source av --device-type 3\n"
        "  service-check --json --restart 'systemctl restart source-service'");
    app.set_version_flag("--version", "service-check " SERVICE_CHECK_VERSION,
                         "Print the version and exit");
}

void addOptions(CLI::App &app, Options &options) {
    static const CLI::Validator utf8(utf8Error, "");
    app.add_flag("--json", options.json, "Print one JSON document at the end instead of text");
    app.add_option("--timeout", options.timeout, "Limit of each wait, in milliseconds")
        ->type_name("MS")
        ->check(CLI::Range(1, longestTimeout))
        ->capture_default_str();
    CLI::Option *source = app.add_option("--source", options.source,
                                         "Unique key of the source that is renamed; default:\n"
                                         "the first one that accepts a new name")
                              ->type_name("KEY")
                              ->check(utf8);
    app.add_option("--device-type", options.deviceType,
                   "Current device type of --source; it is set again,\n"
                   "with the detected name")
        ->type_name("N")
        ->needs(source);
    app.add_option("--shown", options.shown,
                   "Unique key of the source that the TV shows; it is\n"
                   "connected again")
        ->type_name("KEY")
        ->check(utf8);
    app.add_option("--restart", options.restart,
                   "Shell command that restarts the service, for the\n"
                   "checks of a restart")
        ->type_name("COMMAND");
}

}  // namespace

Invocation readCommandLine(int argc, const char *const *argv) {
    CLI::App app;
    Options options;
    describe(app);
    addOptions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &outcome) {
        return {std::nullopt, app.exit(outcome) == 0 ? exitPassed : exitWrongUsage};
    }
    return {options, exitPassed};
}

void showCommandLine(const std::function<void(const CLI::App &)> &reader) {
    CLI::App app;
    Options options;
    describe(app);
    addOptions(app, options);
    reader(app);
}

}  // namespace service_check
