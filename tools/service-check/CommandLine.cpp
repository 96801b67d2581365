// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "CommandLine.h"

#include <glib.h>

#include <CLI/CLI.hpp>

namespace {

constexpr int longestTimeout = 600000;

std::string whyNoText(const std::string &given) {
    const bool isText =
        g_utf8_validate(given.data(), static_cast<gssize>(given.size()), nullptr) != FALSE;
    return isText ? "" : "not valid UTF-8";
}

void describe(CLI::App &app) {
    app.name("service-check");
    app.description(
        "Reports whether a TV's source service keeps what applications rely on.\n"
        "Plays an application against the source service on the D-Bus system bus and\n"
        "prints one line for each promise: kept, broken or skipped, with what was\n"
        "expected and seen. It renames a source and gives it its name back, and sets\n"
        "nothing else but what is set already.");
    app.footer(
        "Exit codes:\n"
        "  0    every promise is kept or skipped\n"
        "  1    a promise is broken\n"
        "  2    wrong usage\n"
        "  3    there is no bus, or no source service on it\n"
        "  128 and more: interrupted by the signal of that number less 128\n"
        "\n"
        "Environment:\n"
        "  DBUS_SYSTEM_BUS_ADDRESS  another bus in place of the system bus\n"
        "\n"
        "Examples:\n"
        "  service-check\n"
        "  service-check --shown tuner --source av --device-type 3\n"
        "  service-check --json --restart 'systemctl restart source-service'");
    app.set_version_flag("--version", "service-check " SERVICE_CHECK_VERSION,
                         "Print the version and exit");
}

void addOptions(CLI::App &app, Options &options) {
    static const CLI::Validator utf8(whyNoText, "");
    app.add_flag("--json", options.json,
                 "Print one JSON document at the end, in place of\n"
                 "text for people");
    app.add_option("--timeout", options.timeout, "Limit of each wait, in milliseconds")
        ->type_name("MS")
        ->check(CLI::Range(1, longestTimeout))
        ->capture_default_str();
    CLI::Option *source = app.add_option("--source", options.source,
                                         "Unique key of the source that is renamed; when not\n"
                                         "given, the first one that takes a name")
                              ->type_name("KEY")
                              ->check(utf8);
    app.add_option("--device-type", options.deviceType,
                   "Device type that --source has: it is set again, as\n"
                   "is its detected name")
        ->type_name("N")
        ->needs(source);
    app.add_option("--shown", options.shown,
                   "Unique key of the source that the TV shows: it is\n"
                   "connected again")
        ->type_name("KEY")
        ->check(utf8);
    app.add_option("--restart", options.restart,
                   "Command of the shell that starts the service anew,\n"
                   "to see it come back")
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
        return {std::nullopt, app.exit(outcome) == 0 ? exitKept : exitWrongUsage};
    }
    return {options, exitKept};
}

void showCommandLine(const std::function<void(const CLI::App &)> &reader) {
    CLI::App app;
    Options options;
    describe(app);
    addOptions(app, options);
    reader(app);
}
